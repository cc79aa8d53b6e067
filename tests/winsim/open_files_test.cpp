// Proves that open handles of files and directories permit and prevent others as Windows documents it, and the
// information that they return.
#include "tests/winsim/support.h"

#include <aclapi.h>

#include <cstdint>

namespace
{

constexpr DWORD kShareData = FILE_SHARE_READ | FILE_SHARE_WRITE;

// A handle that is closed at the end of its scope.
class OpenedFile
{
public:
    OpenedFile(const std::string& path, DWORD access, DWORD share, DWORD disposition = OPEN_EXISTING,
               DWORD flags = FILE_FLAG_BACKUP_SEMANTICS)
    {
        SetLastError(ERROR_SUCCESS);
        m_handle = CreateFileW(Wide(path).c_str(), access, share, nullptr, disposition, flags, nullptr);
        m_error = ErrorOf(m_handle != INVALID_HANDLE_VALUE);
    }
    ~OpenedFile()
    {
        if (m_handle != INVALID_HANDLE_VALUE)
            CloseHandle(m_handle);
    }
    OpenedFile(const OpenedFile&) = delete;
    OpenedFile& operator=(const OpenedFile&) = delete;

    LSTATUS Error() const { return m_error; }
    HANDLE Handle() const { return m_handle; }

    BY_HANDLE_FILE_INFORMATION Information() const
    {
        BY_HANDLE_FILE_INFORMATION information{};
        EXPECT_TRUE(GetFileInformationByHandle(m_handle, &information));
        return information;
    }

private:
    HANDLE m_handle;
    LSTATUS m_error;
};

void MakeDirectory(const std::string& path)
{
    EXPECT_TRUE(CreateDirectoryW(Wide(path).c_str(), nullptr));
}

LSTATUS DeleteError(const std::string& path)
{
    return ErrorOf([&] { return DeleteFileW(Wide(path).c_str()); });
}

LSTATUS MoveError(const std::string& from, const std::string& to)
{
    return ErrorOf([&] { return MoveFileExW(Wide(from).c_str(), Wide(to).c_str(), 0); });
}

LSTATUS CreateDirectoryError(const std::string& path)
{
    return ErrorOf([&] { return CreateDirectoryW(Wide(path).c_str(), nullptr); });
}

std::uint64_t IndexOf(const BY_HANDLE_FILE_INFORMATION& information)
{
    return std::uint64_t{information.nFileIndexHigh} << 32 | information.nFileIndexLow;
}

// ---- Sharing

TEST(Sharing, BothHandlesHaveToAllowTheOther)
{
    const std::string path = TestDirectory() + "\\file";
    MakeFile(path);
    const OpenedFile first(path, GENERIC_READ, FILE_SHARE_READ);
    EXPECT_EQ(OpenedFile(path, GENERIC_READ, FILE_SHARE_READ).Error(), 0);
    EXPECT_EQ(OpenedFile(path, GENERIC_WRITE, kShareAll).Error(), 32);
    EXPECT_EQ(OpenedFile(path, GENERIC_READ, FILE_SHARE_WRITE).Error(), 32);
}

TEST(Sharing, AHandleThatReadsAttributesTakesNoPart)
{
    const std::string path = TestDirectory() + "\\file";
    MakeFile(path);
    {
        const OpenedFile attributes(path, FILE_READ_ATTRIBUTES | READ_CONTROL, 0);
        EXPECT_EQ(OpenedFile(path, GENERIC_READ | GENERIC_WRITE, 0).Error(), 0);
    }
    const OpenedFile alone(path, GENERIC_READ, 0);
    EXPECT_EQ(OpenedFile(path, FILE_READ_ATTRIBUTES, 0).Error(), 0);
    EXPECT_EQ(OpenedFile(path, GENERIC_READ, kShareAll).Error(), 32);
}

TEST(Sharing, AFileStaysWhereItIsWhileAHandleDoesNotShareDeletion)
{
    const std::string top = TestDirectory();
    MakeFile(top + "\\file");
    {
        const OpenedFile held(top + "\\file", GENERIC_READ, kShareData);
        EXPECT_EQ(DeleteError(top + "\\file"), 32);
        EXPECT_EQ(MoveError(top + "\\file", top + "\\other"), 32);
    }
    EXPECT_EQ(MoveError(top + "\\file", top + "\\other"), 0);
    EXPECT_EQ(DeleteError(top + "\\other"), 0);
}

TEST(Sharing, ADirectoryStaysWhereItIsToo)
{
    const std::string top = TestDirectory();
    MakeDirectory(top + "\\folder");
    {
        const OpenedFile held(top + "\\folder", FILE_LIST_DIRECTORY | FILE_TRAVERSE, kShareData);
        EXPECT_EQ(held.Error(), 0);
        EXPECT_EQ(MoveError(top + "\\folder", top + "\\other"), 32);
        MakeFile(top + "\\folder\\file");
    }
    EXPECT_EQ(MoveError(top + "\\folder", top + "\\other"), 0);
}

TEST(Sharing, ADirectoryStaysWhereItIsForAnOpenFileInIt)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine moves it";
    const std::string top = TestDirectory();
    MakeDirectory(top + "\\folder");
    MakeDirectory(top + "\\folder\\deeper");
    const OpenedFile held(top + "\\folder\\deeper", FILE_LIST_DIRECTORY, kShareAll);
    EXPECT_EQ(MoveError(top + "\\folder", top + "\\other"), 5);
}

TEST(Sharing, ACopyWritesNoFileThatIsNotSharedForIt)
{
    const std::string top = TestDirectory();
    MakeFile(top + "\\one");
    MakeFile(top + "\\two");
    const OpenedFile held(top + "\\two", GENERIC_READ, FILE_SHARE_READ);
    const auto copyError = [&](const char* from, const char* to) {
        return ErrorOf([&] { return CopyFileW(Wide(top + from).c_str(), Wide(top + to).c_str(), FALSE); });
    };
    EXPECT_EQ(copyError("\\one", "\\two"), 32);
    EXPECT_EQ(copyError("\\two", "\\one"), 0);
}

// ---- Opening directories

TEST(CreateFileW, OpensADirectoryForBackupAlone)
{
    const std::string top = TestDirectory();
    EXPECT_EQ(OpenedFile(top, GENERIC_READ, kShareAll).Error(), 0);
    EXPECT_EQ(OpenedFile(top, GENERIC_READ, kShareAll, OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT).Error(), 5);
    EXPECT_EQ(OpenedFile(top + "\\none", GENERIC_READ, kShareAll).Error(), 2);
    EXPECT_EQ(OpenedFile(top, GENERIC_READ, kShareAll, CREATE_NEW).Error(), 80);
}

TEST(CreateFileW, TellsThatAFileWasThere)
{
    const std::string path = TestDirectory() + "\\file";
    MakeFile(path);
    EXPECT_EQ(OpenedFile(path, GENERIC_READ, kShareAll, CREATE_NEW).Error(), 80);
}

// ---- What a handle tells

TEST(GetFileInformationByHandle, TellsKindSizeAndIdentity)
{
    const std::string top = TestDirectory();
    MakeFile(top + "\\one");
    MakeFile(top + "\\two");
    const OpenedFile directory(top, FILE_READ_ATTRIBUTES, kShareAll);
    const OpenedFile one(top + "\\one", FILE_READ_ATTRIBUTES, kShareAll);
    const OpenedFile again(top + "\\ONE", FILE_READ_ATTRIBUTES, kShareAll);
    const OpenedFile two(top + "\\two", FILE_READ_ATTRIBUTES, kShareAll);
    EXPECT_EQ(directory.Information().dwFileAttributes, FILE_ATTRIBUTE_DIRECTORY);
    EXPECT_EQ(directory.Information().nNumberOfLinks, 1u);
    EXPECT_EQ(one.Information().dwFileAttributes, FILE_ATTRIBUTE_ARCHIVE);
    EXPECT_EQ(one.Information().nNumberOfLinks, 1u);
    EXPECT_EQ(one.Information().nFileSizeLow, 0u);
    EXPECT_EQ(IndexOf(one.Information()), IndexOf(again.Information()));
    EXPECT_NE(IndexOf(one.Information()), IndexOf(two.Information()));
    EXPECT_EQ(one.Information().dwVolumeSerialNumber, directory.Information().dwVolumeSerialNumber);
}

TEST(GetFileInformationByHandle, KnowsAFileUnderItsNewName)
{
    const std::string top = TestDirectory();
    MakeFile(top + "\\one");
    const OpenedFile held(top + "\\one", FILE_READ_ATTRIBUTES, kShareAll);
    EXPECT_EQ(MoveError(top + "\\one", top + "\\two"), 0);
    const OpenedFile moved(top + "\\two", FILE_READ_ATTRIBUTES, kShareAll);
    EXPECT_EQ(IndexOf(held.Information()), IndexOf(moved.Information()));
}

TEST(GetFileInformationByHandle, RefusesWhatIsNoFile)
{
    MisusesHandles();
    BY_HANDLE_FILE_INFORMATION information{};
    EXPECT_EQ(ErrorOf([&] { return GetFileInformationByHandle(nullptr, &information); }), 6u);
}

// ---- Making directories

TEST(CreateDirectoryW, MakesOneAndNotItsParents)
{
    const std::string top = TestDirectory();
    EXPECT_EQ(CreateDirectoryError(top + "\\one"), 0);
    EXPECT_EQ(CreateDirectoryError(top + "\\one"), 183);
    EXPECT_EQ(CreateDirectoryError(top + "\\none\\one"), 3);
    MakeFile(top + "\\file");
    EXPECT_EQ(CreateDirectoryError(top + "\\file"), 183);
    EXPECT_EQ(CreateDirectoryError(top + "\\file\\one"), 3);
    EXPECT_EQ(CreateDirectoryError(""), 3);
}

// ---- Deletion with open handles

TEST(Deletion, OfAnOpenFileEndsWithItsLastHandle)
{
    const std::string path = TestDirectory() + "\\file";
    MakeFile(path);
    {
        const OpenedFile first(path, GENERIC_READ, kShareAll);
        const OpenedFile second(path, FILE_READ_ATTRIBUTES, kShareAll);
        EXPECT_EQ(DeleteError(path), 0);
        EXPECT_EQ(first.Information().dwFileAttributes, FILE_ATTRIBUTE_ARCHIVE);
        if (!IsOnWine()) // which finds the file by its host's name
        {
            EXPECT_EQ(OpenedFile(path, GENERIC_READ, kShareAll).Error(), 5);
            EXPECT_EQ(OpenedFile(path, GENERIC_READ, kShareAll, CREATE_NEW).Error(), 5);
            EXPECT_EQ(DeleteError(path), 5);
            EXPECT_EQ(MoveError(path, path + "-moved"), 5);
        }
    }
    EXPECT_EQ(OpenedFile(path, GENERIC_READ, kShareAll).Error(), 2);
    EXPECT_EQ(OpenedFile(path, GENERIC_READ, kShareAll, CREATE_NEW).Error(), 0);
}

TEST(Deletion, IsARightThatHandlesShare)
{
    const std::string path = TestDirectory() + "\\file";
    MakeFile(path);
    const OpenedFile deleting(path, DELETE, kShareAll);
    EXPECT_EQ(deleting.Error(), 0);
    EXPECT_EQ(OpenedFile(path, GENERIC_READ, kShareData).Error(), 32);
    EXPECT_EQ(OpenedFile(path, GENERIC_READ, kShareAll).Error(), 0);
}

TEST(Deletion, OfWhatAMoveReplacesNeedsTheFileClosed)
{
    const std::string top = TestDirectory();
    MakeFile(top + "\\one");
    MakeFile(top + "\\two");
    const auto replace = [&] {
        return ErrorOf([&] {
            return MoveFileExW(Wide(top + "\\one").c_str(), Wide(top + "\\two").c_str(), MOVEFILE_REPLACE_EXISTING);
        });
    };
    {
        const OpenedFile held(top + "\\two", GENERIC_READ, kShareAll);
        EXPECT_EQ(replace(), 5);
    }
    EXPECT_EQ(replace(), 0);
}

// ---- Parameters

TEST(CreateFileW, RefusesWrongParameters)
{
    const std::string path = TestDirectory() + "\\file";
    MakeFile(path);
    EXPECT_EQ(OpenedFile(path, GENERIC_READ, kShareAll, 6).Error(), 87);
    if (IsOnWine())
        GTEST_SKIP() << "Wine accepts them";
    EXPECT_EQ(OpenedFile(path, GENERIC_READ, 0x10).Error(), 87);
    EXPECT_EQ(OpenedFile(path, GENERIC_READ, kShareAll, TRUNCATE_EXISTING).Error(), 87);
}

TEST(CreateFileW, ReplacesAHiddenFileByAHiddenOneOnly)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine replaces it";
    const std::string path = TestDirectory() + "\\file";
    EXPECT_EQ(OpenedFile(path, GENERIC_WRITE, 0, CREATE_NEW, FILE_ATTRIBUTE_HIDDEN).Error(), 0);
    EXPECT_EQ(OpenedFile(path, GENERIC_WRITE, 0, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL).Error(), 5);
    EXPECT_EQ(OpenedFile(path, GENERIC_WRITE, 0, CREATE_ALWAYS, FILE_ATTRIBUTE_HIDDEN).Error(), 0);
}

TEST(CreateFileW, OpensWithAllRightsThatThereAre)
{
    const std::string path = TestDirectory() + "\\file";
    MakeFile(path);
    const OpenedFile most(path, MAXIMUM_ALLOWED, kShareAll);
    EXPECT_EQ(most.Error(), 0);
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    PSID owner = nullptr;
    EXPECT_EQ(GetSecurityInfo(most.Handle(), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner, nullptr, nullptr,
                              nullptr, &descriptor),
              0u);
    EXPECT_TRUE(LocalFree(descriptor) == nullptr);
}

TEST(MoveFileEx, MovesNoDirectoryIntoItself)
{
    const std::string top = TestDirectory();
    MakeDirectory(top + "\\one");
    EXPECT_NE(MoveError(top + "\\one", top + "\\one\\two"), 0u);
    EXPECT_TRUE(GetFileAttributesW(Wide(top + "\\one").c_str()) == FILE_ATTRIBUTE_DIRECTORY);
}

// GetFinalPathNameByHandleW, which Windows has since 6.0.
class FinalPath : public testing::Test
{
protected:
    void SetUp() override
    {
        if (m_function == nullptr)
            GTEST_SKIP() << "Windows has the function since 6.0";
    }
    void TearDown() override { EXPECT_TRUE(FreeLibrary(m_library)); }

    // The result and, if it fits into a buffer of that many characters, the path.
    std::string Of(const OpenedFile& file, DWORD room = 512) const
    {
        std::wstring path(512, L'.');
        const DWORD length = m_function(file.Handle(), path.data(), room, 0);
        return std::to_string(length) + (length < room ? " " + Shown(path.c_str()) : "");
    }

private:
    using Function = DWORD(WINAPI*)(HANDLE, LPWSTR, DWORD, DWORD);

    const HMODULE m_library = LoadLibraryA("kernel32.dll");
    const Function m_function =
        reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(m_library, "GetFinalPathNameByHandleW")));
};

TEST_F(FinalPath, IsSpeltLikeTheFileOrTellsTheRoomThatItNeeds)
{
    const std::string folder = TestDirectory();
    const std::string path = folder + "\\File";
    MakeFile(path);
    const OpenedFile file(folder + "\\fILE", FILE_READ_ATTRIBUTES, kShareAll);
    const std::string size = std::to_string(path.size() + 4);
    EXPECT_EQ(Of(file), size + " \\\\?\\" + path);
    EXPECT_EQ(Of(file, static_cast<DWORD>(path.size() + 5)), size + " \\\\?\\" + path);
    EXPECT_EQ(Of(file, static_cast<DWORD>(path.size() + 4)), std::to_string(path.size() + 5));
}

TEST_F(FinalPath, FollowsAMove)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine keeps the name that a file was opened by";
    const std::string folder = TestDirectory();
    MakeFile(folder + "\\old");
    const OpenedFile file(folder + "\\old", FILE_READ_ATTRIBUTES, kShareAll);
    ASSERT_TRUE(MoveFileA((folder + "\\old").c_str(), (folder + "\\newer").c_str()));
    const std::string path = "\\\\?\\" + folder + "\\newer";
    EXPECT_EQ(Of(file), std::to_string(path.size()) + " " + path);
}

TEST_F(FinalPath, OfADrivesRootEndsWithABackslash)
{
    EXPECT_EQ(Of(OpenedFile("C:\\", FILE_READ_ATTRIBUTES, kShareAll)), "7 \\\\?\\C:\\");
}

TEST(GetFileInformationByHandle, FaultsWithoutAPlaceForIt)
{
    const std::string top = TestDirectory();
    const OpenedFile directory(top, FILE_READ_ATTRIBUTES, kShareAll);
    EXPECT_TRUE(Faults([&] { GetFileInformationByHandle(directory.Handle(), nullptr); }));
}

} // namespace
