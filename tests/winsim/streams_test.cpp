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

void ExpectOpens(const std::string& path)
{
    std::FILE* file = OpenToAppend(path);
    ASSERT_TRUE(file != nullptr);
    EXPECT_EQ(std::fclose(file), 0);
}

// The errors of the runtime and of Windows.
void ExpectFails(const std::string& path, int runtimeError, LSTATUS error)
{
    EXPECT_EQ(ErrorOf([&] { return OpenToAppend(path) != nullptr; }), error);
    EXPECT_EQ(errno, runtimeError);
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
    ExpectOpens(TestDirectory() + "/log.txt");
}

TEST(Fsopen, OpensANameThatIsTakenAsItStands)
{
    const std::string top = TestDirectory();
    ExpectOpens(R"(\\?\)" + top + "\\log.txt");
    EXPECT_TRUE(Exists(top + "\\log.txt"));
}

TEST(Fsopen, OpensANameWithoutADriveOnTheCurrentDrive)
{
    const std::string top = TestDirectory();
    ExpectOpens(top.substr(2) + "\\log.txt");
    EXPECT_TRUE(Exists(top + "\\log.txt"));
}

TEST(Fsopen, ResolvesSteps)
{
    const std::string top = TestDirectory();
    ExpectOpens(top + "\\none\\..\\log.txt");
    EXPECT_TRUE(Exists(top + "\\log.txt"));
}

TEST(Fsopen, FailsWithoutTheDirectory)
{
    ExpectFails(TestDirectory() + "\\missing\\log.txt", ENOENT, ERROR_PATH_NOT_FOUND);
}

TEST(Fsopen, FailsForADirectory)
{
    ExpectFails(TestDirectory(), EACCES, ERROR_ACCESS_DENIED);
}

TEST(Fsopen, FailsForANameThatCannotBe)
{
    ExpectFails("C:\\what?", EINVAL, ERROR_INVALID_NAME);
}

TEST(Fsopen, FailsForNoName)
{
    ExpectFails("", ENOENT, ERROR_PATH_NOT_FOUND);
}

} // namespace
