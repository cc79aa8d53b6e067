// Proves that the C runtime's streams behave as Windows documents them.
#include "tests/winsim/support.h"

#include <share.h>

#include <cerrno>
#include <cstdio>

namespace
{

std::FILE* OpenToAppend(const std::string& path)
{
    errno = 0;
    SetLastError(0);
    return _fsopen(path.c_str(), "a", _SH_DENYNO);
}

TEST(Fsopen, MakesAFileAndAppendsToIt)
{
    const std::string path = TestDirectory() + "\\log.txt";
    for (int round = 0; round < 2; ++round)
    {
        std::FILE* file = OpenToAppend(path);
        ASSERT_TRUE(file != nullptr);
        EXPECT_GE(std::fputs("line\n", file), 0);
        EXPECT_GE(std::fputs("", file), 0);
        EXPECT_EQ(std::fflush(file), 0);
        EXPECT_EQ(std::fclose(file), 0);
    }
}

TEST(Fsopen, SharesTheFileWhenAsked)
{
    const std::string path = TestDirectory() + "\\log.txt";
    std::FILE* first = OpenToAppend(path);
    std::FILE* second = OpenToAppend(path);
    ASSERT_TRUE(first != nullptr);
    ASSERT_TRUE(second != nullptr);
    EXPECT_TRUE(first != second);
    EXPECT_GE(std::fputs("one\n", first), 0);
    EXPECT_GE(std::fputs("two\n", second), 0);
    EXPECT_EQ(std::fclose(first), 0);
    EXPECT_EQ(std::fclose(second), 0);
}

TEST(Fsopen, TakesSlashesOfEitherKind)
{
    std::FILE* file = OpenToAppend(TestDirectory() + "/log.txt");
    ASSERT_TRUE(file != nullptr);
    EXPECT_EQ(std::fclose(file), 0);
}

TEST(Fsopen, FailsWithoutTheDirectory)
{
    EXPECT_TRUE(OpenToAppend(TestDirectory() + "\\missing\\log.txt") == nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(errno, ENOENT);
}

TEST(Fsopen, FailsForADirectory)
{
    EXPECT_TRUE(OpenToAppend(TestDirectory()) == nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
    EXPECT_EQ(errno, EACCES);
}

TEST(Fsopen, OpensANameThatIsTakenAsItStands)
{
    const std::string top = TestDirectory();
    std::FILE* file = OpenToAppend(R"(\\?\)" + top + "\\log.txt");
    ASSERT_TRUE(file != nullptr);
    EXPECT_EQ(std::fclose(file), 0);
    EXPECT_NE(GetFileAttributesA((top + "\\log.txt").c_str()), INVALID_FILE_ATTRIBUTES);
}

TEST(Fsopen, OpensANameWithoutADriveOnTheCurrentDrive)
{
    const std::string top = TestDirectory();
    std::FILE* file = OpenToAppend(top.substr(2) + "\\log.txt");
    ASSERT_TRUE(file != nullptr);
    EXPECT_EQ(std::fclose(file), 0);
    EXPECT_NE(GetFileAttributesA((top + "\\log.txt").c_str()), INVALID_FILE_ATTRIBUTES);
}

TEST(Fsopen, ResolvesSteps)
{
    const std::string top = TestDirectory();
    std::FILE* file = OpenToAppend(top + "\\none\\..\\log.txt");
    ASSERT_TRUE(file != nullptr);
    EXPECT_EQ(std::fclose(file), 0);
    EXPECT_NE(GetFileAttributesA((top + "\\log.txt").c_str()), INVALID_FILE_ATTRIBUTES);
}

TEST(Fsopen, FailsForANameThatCannotBe)
{
    EXPECT_TRUE(OpenToAppend("C:\\what?") == nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_NAME));
    EXPECT_EQ(errno, EINVAL);
}

TEST(Fsopen, FailsForNoName)
{
    EXPECT_TRUE(OpenToAppend("") == nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(errno, ENOENT);
}

} // namespace
