// Proves which calls follow links and which take the link itself, and that names of one file are one file. The links
// come from the machine description.
#include "tests/winsim/support.h"

#include <aclapi.h>
#include <shlobj.h>

#include <cstdint>

namespace
{

constexpr char kReadingLinks[] = "Wine 8 opens what a link leads to, whatever the flag says";
constexpr char kFileLinks[] = "Wine 8 does not tell links of files from files";
constexpr char kMissing[] = "Wine 8 misses a file where the link to its folder leads nowhere";

const std::string kTop = "C:\\Linked\\";

DWORD AttributesOf(const std::string& name)
{
    return GetFileAttributesW(Wide(kTop + name).c_str());
}

// Information about an opened file, or the error of opening it in `error`.
struct Told
{
    DWORD error = ERROR_SUCCESS;
    BY_HANDLE_FILE_INFORMATION information{};

    std::uint64_t Index() const { return std::uint64_t{information.nFileIndexHigh} << 32 | information.nFileIndexLow; }
    bool IsLink() const { return (information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0; }
};

Told Open(const std::string& name, DWORD flags = 0, DWORD disposition = OPEN_EXISTING)
{
    Told told;
    const HANDLE file = CreateFileW(Wide(kTop + name).c_str(), FILE_READ_ATTRIBUTES, kShareAll, nullptr, disposition,
                                    FILE_FLAG_BACKUP_SEMANTICS | flags, nullptr);
    if (file == INVALID_HANDLE_VALUE)
    {
        told.error = GetLastError();
        return told;
    }
    EXPECT_TRUE(GetFileInformationByHandle(file, &told.information));
    EXPECT_TRUE(CloseHandle(file));
    return told;
}

Told OpenLink(const std::string& name)
{
    return Open(name, FILE_FLAG_OPEN_REPARSE_POINT);
}

TEST(Links, OnTheWayAreFollowedByEveryCall)
{
    EXPECT_EQ(AttributesOf("folder\\file"), FILE_ATTRIBUTE_ARCHIVE);
    EXPECT_EQ(Open("folder\\file").Index(), Open("target\\file").Index());
    EXPECT_EQ(OpenLink("folder\\file").Index(), Open("target\\file").Index());
    EXPECT_FALSE(OpenLink("folder\\file").IsLink());
}

TEST(Links, AreFollowedWhenOpened)
{
    EXPECT_EQ(Open("folder").Index(), Open("target").Index());
    EXPECT_EQ(Open("folder").information.dwFileAttributes, FILE_ATTRIBUTE_DIRECTORY);
    EXPECT_EQ(Open("filelink").Index(), Open("target\\file").Index());
}

TEST(Links, AreOpenedThemselvesWithTheFlag)
{
    if (IsOnWine())
        GTEST_SKIP() << kReadingLinks;
    EXPECT_TRUE(OpenLink("folder").IsLink());
    EXPECT_TRUE(OpenLink("filelink").IsLink());
    EXPECT_TRUE(OpenLink("nofolder").IsLink());
    EXPECT_NE(OpenLink("folder").Index(), Open("target").Index());
    EXPECT_EQ(OpenLink("one").error, 0u);
    EXPECT_FALSE(OpenLink("target").IsLink());
}

TEST(Links, AttributesAreTheLinksOwn)
{
    EXPECT_EQ(AttributesOf("folder"), FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT);
    if (IsOnWine())
        GTEST_SKIP() << kFileLinks;
    EXPECT_EQ(AttributesOf("filelink"), FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_REPARSE_POINT);
    EXPECT_EQ(AttributesOf("nofolder"), FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT);
}

TEST(Links, ThatLeadNowhereAreMissingFiles)
{
    EXPECT_EQ(Open("nofile").error, 2u);
    EXPECT_EQ(Open("nofolder").error, 2u);
    if (IsOnWine())
        GTEST_SKIP() << kMissing;
    EXPECT_EQ(Open("nofolder\\file").error, 3u);
}

TEST(Links, ThatLeadNowhereHaveTheirTargetMade)
{
    EXPECT_FALSE(Exists(kTop + "tobemade"));
    EXPECT_EQ(Open("maker", 0, OPEN_ALWAYS).error, 0u);
    EXPECT_TRUE(Exists(kTop + "tobemade"));
}

TEST(Links, ThatLeadRoundInACircleCannotBeResolved)
{
    EXPECT_EQ(Open("one").error, 1921u);
    EXPECT_EQ(Open("one\\file").error, 1921u);
}

TEST(Links, KeepTheirNameFromADirectory)
{
    const auto create = [](const std::string& name) {
        return ErrorOf([&] { return CreateDirectoryW(Wide(kTop + name).c_str(), nullptr); });
    };
    EXPECT_EQ(create("folder"), 183);
    EXPECT_EQ(create("nofolder"), 183);
    EXPECT_EQ(SHCreateDirectoryExA(nullptr, (kTop + "folder").c_str(), nullptr), 183);
    EXPECT_FALSE(Exists(kTop + "nothing"));
    if (IsOnWine())
        GTEST_SKIP() << kMissing;
    EXPECT_EQ(SHCreateDirectoryExA(nullptr, (kTop + "nofolder\\below").c_str(), nullptr), 3);
    EXPECT_FALSE(Exists(kTop + "nothing"));
}

TEST(Links, StreamsAndCopiesGoToTheTarget)
{
    MakeFile(kTop + "streamed", "more");
    EXPECT_EQ(Open("stream").information.nFileSizeLow, 4u);

    EXPECT_TRUE(CopyFileW(Wide(kTop + "streamed").c_str(), Wide(kTop + "copied").c_str(), FALSE));
    EXPECT_EQ(Open("copy").information.nFileSizeLow, 4u);
}

TEST(Links, SecurityIsTheTargets)
{
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    PSID owner = nullptr;
    EXPECT_EQ(GetNamedSecurityInfoW(Wide(kTop + "folder").c_str(), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner,
                                    nullptr, nullptr, nullptr, &descriptor),
              0u);
    LocalFree(descriptor);
    EXPECT_EQ(GetNamedSecurityInfoW(Wide(kTop + "nofile").c_str(), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner,
                                    nullptr, nullptr, nullptr, &descriptor),
              2u);
}

TEST(Links, AreDeletedAndMovedThemselves)
{
    if (IsOnWine())
        GTEST_SKIP() << kReadingLinks;
    EXPECT_TRUE(MoveFileExW(Wide(kTop + "gone").c_str(), Wide(kTop + "gone2").c_str(), 0));
    EXPECT_TRUE(OpenLink("gone2").IsLink());
    EXPECT_TRUE(DeleteFileW(Wide(kTop + "gone2").c_str()));
    EXPECT_FALSE(Exists(kTop + "gone2"));
    EXPECT_TRUE(Exists(kTop + "target\\file"));
}

TEST(HardLinks, AreOneFile)
{
    EXPECT_EQ(Open("victim").information.nNumberOfLinks, 2u);
    EXPECT_EQ(Open("name").information.nNumberOfLinks, 2u);
    EXPECT_EQ(Open("name").Index(), Open("victim").Index());
    EXPECT_EQ(Open("name").information.nFileSizeLow, 6u);
    EXPECT_FALSE(OpenLink("name").IsLink());
}

TEST(HardLinks, TheFileStaysUntilItsLastNameIsGone)
{
    EXPECT_EQ(Open("second").information.nNumberOfLinks, 2u);
    EXPECT_TRUE(DeleteFileW(Wide(kTop + "first").c_str()));
    EXPECT_FALSE(Exists(kTop + "first"));
    EXPECT_EQ(Open("second").information.nNumberOfLinks, 1u);
    EXPECT_EQ(Open("second").information.nFileSizeLow, 4u);
    EXPECT_TRUE(DeleteFileW(Wide(kTop + "second").c_str()));
    EXPECT_FALSE(Exists(kTop + "second"));
}

} // namespace
