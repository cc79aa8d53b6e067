// Proves that version resources are read as Windows documents it.
#include "tests/winsim/support.h"

#include <share.h>
#include <shlobj.h>
#include <winver.h>

#include <cstdio>
#include <vector>

namespace
{

std::wstring SystemFile(const wchar_t* name)
{
    wchar_t folder[MAX_PATH] = {};
    EXPECT_EQ(SHGetFolderPathW(nullptr, CSIDL_SYSTEM, nullptr, SHGFP_TYPE_CURRENT, folder), S_OK);
    return std::wstring(folder) + L"\\" + name;
}

std::vector<BYTE> VersionBlockOf(const std::wstring& file)
{
    DWORD handle = 77;
    const DWORD size = GetFileVersionInfoSizeW(file.c_str(), &handle);
    EXPECT_GE(size, 92u);
    EXPECT_EQ(handle, 0u);
    std::vector<BYTE> block(size);
    EXPECT_TRUE(GetFileVersionInfoW(file.c_str(), 0, size, block.data()));
    return block;
}

TEST(VersionResource, IsFoundByANameThatIsTakenAsItStands)
{
    EXPECT_EQ(VersionBlockOf(LR"(\\?\)" + SystemFile(L"kernel32.dll")), VersionBlockOf(SystemFile(L"kernel32.dll")));
}

TEST(VersionResource, TheRootBlockIsTheFixedInformation)
{
    const std::vector<BYTE> block = VersionBlockOf(SystemFile(L"kernel32.dll"));
    void* root = nullptr;
    UINT length = 0;
    ASSERT_TRUE(VerQueryValueW(block.data(), L"\\", &root, &length));
    EXPECT_EQ(length, sizeof(VS_FIXEDFILEINFO));
    const auto* fixed = static_cast<const VS_FIXEDFILEINFO*>(root);
    EXPECT_EQ(fixed->dwSignature, 0xFEEF04BDu);
    EXPECT_GE(fixed->dwFileVersionMS >> 16, 5u);
    EXPECT_TRUE(static_cast<const BYTE*>(root) > block.data());
}

TEST(VersionResource, AnUnknownBlockIsNotFound)
{
    const std::vector<BYTE> block = VersionBlockOf(SystemFile(L"kernel32.dll"));
    void* value = nullptr;
    UINT length = 0;
    EXPECT_FALSE(VerQueryValueW(block.data(), L"\\NoSuchBlock", &value, &length));
}

TEST(VersionResource, AFileWithoutOneHasNoSize)
{
    const std::string path = TestDirectory() + "\\text";
    std::FILE* file = _fsopen(path.c_str(), "a", _SH_DENYNO);
    ASSERT_TRUE(file != nullptr);
    EXPECT_EQ(std::fclose(file), 0);
    DWORD handle = 0;
    SetLastError(ERROR_SUCCESS);
    EXPECT_EQ(GetFileVersionInfoSizeW(std::wstring(path.begin(), path.end()).c_str(), &handle), 0u);
    EXPECT_EQ(GetLastError(), 1812u);
}

TEST(VersionResource, AMissingFileIsNotFound)
{
    const std::string path = TestDirectory() + "\\none";
    DWORD handle = 0;
    SetLastError(ERROR_SUCCESS);
    EXPECT_EQ(GetFileVersionInfoSizeW(std::wstring(path.begin(), path.end()).c_str(), &handle), 0u);
    EXPECT_EQ(GetLastError(), 2u);
}

} // namespace
