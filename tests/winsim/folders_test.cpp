// Proves that the shell's folder calls behave as Windows documents them.
#include "tests/winsim/support.h"

#include <shlobj.h>

namespace
{

int CreateDirectories(const std::string& path)
{
    return SHCreateDirectoryExA(nullptr, path.c_str(), nullptr);
}

TEST(SHGetFolderPathA, GivesTheSamePathAsItsWideTwin)
{
    for (const int folder : {CSIDL_COMMON_APPDATA, CSIDL_WINDOWS, CSIDL_SYSTEM, CSIDL_PROGRAM_FILES})
    {
        char path[MAX_PATH] = {};
        wchar_t wide[MAX_PATH] = {};
        EXPECT_EQ(SHGetFolderPathA(nullptr, folder, nullptr, SHGFP_TYPE_CURRENT, path), S_OK) << folder;
        EXPECT_EQ(SHGetFolderPathW(nullptr, folder, nullptr, SHGFP_TYPE_CURRENT, wide), S_OK) << folder;
        const std::string text = path;
        EXPECT_EQ(text, Shown(wide));
        EXPECT_EQ(text.substr(1, 2), ":\\");
        EXPECT_NE(text.back(), '\\');
    }
}

TEST(SHGetFolderPathA, RefusesAnUnknownFolder)
{
    constexpr int kNoFolder = 0x77;
    char path[MAX_PATH] = "junk";
    wchar_t wide[MAX_PATH] = L"junk";
    EXPECT_EQ(SHGetFolderPathA(nullptr, kNoFolder, nullptr, SHGFP_TYPE_CURRENT, path), E_INVALIDARG);
    EXPECT_STREQ(path, "");
    EXPECT_EQ(SHGetFolderPathW(nullptr, kNoFolder, nullptr, SHGFP_TYPE_CURRENT, wide), E_INVALIDARG);
    EXPECT_EQ(Shown(wide), "");
}

// Moves a folder's directory away, and back at the end of the test.
class GoneFolder
{
public:
    GoneFolder()
    {
        EXPECT_EQ(SHGetFolderPathA(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, m_path), S_OK);
        m_isGone = MoveFileA(m_path, Aside().c_str()) != FALSE;
    }
    ~GoneFolder()
    {
        MoveFileA(m_path, (Aside() + "-made").c_str());
        MoveFileA(Aside().c_str(), m_path);
    }
    GoneFolder(const GoneFolder&) = delete;
    GoneFolder& operator=(const GoneFolder&) = delete;

    const char* Path() const { return m_path; }
    bool IsGone() const { return m_isGone; }

private:
    std::string Aside() const
    {
        return std::string(m_path) + "-" + testing::UnitTest::GetInstance()->current_test_info()->name();
    }

    char m_path[MAX_PATH] = {};
    bool m_isGone = false;
};

TEST(SHGetFolderPathA, FailsWhenTheDirectoryIsGone)
{
    const GoneFolder folder;
    ASSERT_TRUE(folder.IsGone());
    char path[MAX_PATH] = "junk";
    EXPECT_EQ(SHGetFolderPathA(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, path),
              HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
    EXPECT_STREQ(path, "");
    wchar_t wide[MAX_PATH] = L"junk";
    EXPECT_EQ(SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, wide),
              HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
    EXPECT_FALSE(SHGetSpecialFolderPathW(nullptr, wide, CSIDL_COMMON_APPDATA, FALSE));
    if (IsOnWine())
        GTEST_SKIP() << "Wine gives the path of the missing directory to a wide call";
    EXPECT_EQ(Shown(wide), "");
}

TEST(SHGetFolderPathA, LooksForNoDirectoryWhenItIsNotToOrMakesIt)
{
    const GoneFolder folder;
    ASSERT_TRUE(folder.IsGone());
    const auto get = [&](int flag) {
        char path[MAX_PATH] = "junk";
        EXPECT_EQ(SHGetFolderPathA(nullptr, CSIDL_COMMON_APPDATA | flag, nullptr, SHGFP_TYPE_CURRENT, path), S_OK);
        EXPECT_STREQ(path, folder.Path());
        return GetFileAttributesA(folder.Path()) != INVALID_FILE_ATTRIBUTES;
    };
    EXPECT_FALSE(get(CSIDL_FLAG_DONT_VERIFY));
    EXPECT_TRUE(get(CSIDL_FLAG_CREATE));
}

TEST(SHGetSpecialFolderPathW, MakesADirectoryThatIsGoneWhenAsked)
{
    const GoneFolder folder;
    ASSERT_TRUE(folder.IsGone());
    wchar_t path[MAX_PATH] = {};
    EXPECT_TRUE(SHGetSpecialFolderPathW(nullptr, path, CSIDL_COMMON_APPDATA, TRUE));
    EXPECT_EQ(Shown(path), folder.Path());
    EXPECT_NE(GetFileAttributesA(folder.Path()), INVALID_FILE_ATTRIBUTES);
}

TEST(SHGetSpecialFolderPathW, GivesTheSamePath)
{
    for (const int folder : {CSIDL_COMMON_APPDATA, CSIDL_WINDOWS, CSIDL_SYSTEM, CSIDL_PROGRAM_FILES})
    {
        wchar_t path[MAX_PATH] = {};
        wchar_t special[MAX_PATH] = {};
        EXPECT_EQ(SHGetFolderPathW(nullptr, folder, nullptr, SHGFP_TYPE_CURRENT, path), S_OK) << folder;
        EXPECT_TRUE(SHGetSpecialFolderPathW(nullptr, special, folder, FALSE)) << folder;
        EXPECT_EQ(Shown(path), Shown(special));
    }
}

TEST(GetWindowsDirectoryA, SaysHowLongItIsWhenItDoesNotFit)
{
    char path[MAX_PATH] = {};
    const UINT length = GetWindowsDirectoryA(path, MAX_PATH);
    EXPECT_EQ(length, std::string(path).size());
    EXPECT_EQ(GetWindowsDirectoryA(path, length), length + 1);
    EXPECT_EQ(GetWindowsDirectoryA(path, length + 1), length);
}

TEST(GetSystemDirectory, IsTheSystemFolderInBothForms)
{
    char path[MAX_PATH] = {};
    wchar_t wide[MAX_PATH] = {};
    wchar_t folder[MAX_PATH] = {};
    const UINT length = GetSystemDirectoryA(path, MAX_PATH);
    EXPECT_EQ(length, std::string(path).size());
    EXPECT_EQ(GetSystemDirectoryW(wide, MAX_PATH), length);
    EXPECT_EQ(path, Shown(wide));
    EXPECT_EQ(SHGetFolderPathW(nullptr, CSIDL_SYSTEM, nullptr, SHGFP_TYPE_CURRENT, folder), S_OK);
    EXPECT_EQ(Shown(wide), Shown(folder));
    EXPECT_EQ(GetSystemDirectoryA(path, length), length + 1);
    EXPECT_EQ(GetSystemDirectoryW(wide, length), length + 1);
}

TEST(SHCreateDirectoryExA, MakesAllMissingDirectories)
{
    const std::string top = TestDirectory();
    const std::string path = top + "\\one\\two\\three";
    EXPECT_EQ(CreateDirectories(path), ERROR_SUCCESS);
    EXPECT_EQ(CreateDirectories(path), ERROR_ALREADY_EXISTS);
    EXPECT_EQ(CreateDirectories(top + "\\one\\two"), ERROR_ALREADY_EXISTS);
    MakeFile(path + "\\file");
}

TEST(SHCreateDirectoryExA, TakesATrailingBackslash)
{
    const std::string path = TestDirectory() + "\\one\\two\\";
    EXPECT_EQ(CreateDirectories(path), ERROR_SUCCESS);
    MakeFile(path + "file");
}

TEST(SHCreateDirectoryExA, FailsWhenAFileHasTheName)
{
    const std::string path = TestDirectory() + "\\taken";
    MakeFile(path);
    EXPECT_EQ(CreateDirectories(path), ERROR_ALREADY_EXISTS);
}

TEST(SHCreateDirectoryExA, FailsBelowAFile)
{
    const std::string path = TestDirectory() + "\\taken";
    MakeFile(path);
    EXPECT_EQ(CreateDirectories(path + "\\below"), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(CreateDirectories(path + "\\below\\deeper"), ERROR_PATH_NOT_FOUND);
}

TEST(SHCreateDirectoryExA, TakesANameThatIsTakenAsItStands)
{
    const std::string top = TestDirectory();
    EXPECT_EQ(CreateDirectories(R"(\\?\)" + top + "\\one\\two"), ERROR_SUCCESS);
    MakeFile(top + "\\one\\two\\file");
}

TEST(SHCreateDirectoryExA, MakesADirectoryWithoutADriveOnTheCurrentDrive)
{
    const std::string top = TestDirectory();
    EXPECT_EQ(CreateDirectories(top.substr(2) + "\\one\\two"), ERROR_SUCCESS);
    MakeFile(top + "\\one\\two\\file");
    EXPECT_EQ(CreateDirectories("\\"), ERROR_ALREADY_EXISTS);
}

TEST(SHCreateDirectoryExA, TakesOnlyABackslashForTheRoot)
{
    std::string path = TestDirectory().substr(2) + "\\one";
    path[0] = '/';
    EXPECT_EQ(CreateDirectories(path), ERROR_BAD_PATHNAME);
}

TEST(SHCreateDirectoryExA, NeedsAFullPath)
{
    EXPECT_EQ(CreateDirectories("relative\\directory"), ERROR_BAD_PATHNAME);
    EXPECT_EQ(CreateDirectories("directory"), ERROR_BAD_PATHNAME);
    EXPECT_EQ(CreateDirectories(""), ERROR_BAD_PATHNAME);
}

TEST(SHCreateDirectoryExA, RefusesAPathThatIsTooLong)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine cuts a path that is too long";
    EXPECT_EQ(CreateDirectories(TestDirectory() + "\\" + std::string(300, 'x')), ERROR_FILENAME_EXCED_RANGE);
}

TEST(SHCreateDirectoryExA, NeedsADriveThatIsThere)
{
    EXPECT_EQ(CreateDirectories("Q:\\one\\two"), ERROR_PATH_NOT_FOUND);
}

} // namespace
