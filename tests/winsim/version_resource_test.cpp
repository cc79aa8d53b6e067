// Proves that version resources are read as Windows documents it.
#include "tests/winsim/support.h"

#include <shlobj.h>
#include <winver.h>

#include <vector>

namespace
{

std::wstring SystemFile(const wchar_t* name)
{
    return Wide(FolderPath(CSIDL_SYSTEM)) + L"\\" + name;
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
    MakeFile(path);
    DWORD handle = 0;
    EXPECT_EQ(ErrorOf([&] { return GetFileVersionInfoSizeW(Wide(path).c_str(), &handle) != 0; }), 1812);
}

TEST(VersionResource, AMissingFileIsNotFound)
{
    const std::string path = TestDirectory() + "\\none";
    DWORD handle = 0;
    EXPECT_EQ(ErrorOf([&] { return GetFileVersionInfoSizeW(Wide(path).c_str(), &handle) != 0; }), 2);
}

} // namespace
