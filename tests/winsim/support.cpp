// Functions that the conformance tests share.
#include "tests/winsim/support.h"

#include <share.h>
#include <shlobj.h>

#include <cstdio>

namespace
{

std::string NameOfTest()
{
    const testing::TestInfo* test = testing::UnitTest::GetInstance()->current_test_info();
    return std::string(test->test_suite_name()) + "." + test->name();
}

void AppendShown(std::string& shown, unsigned unit, int digits)
{
    if (unit >= 0x20 && unit < 0x7F)
    {
        shown += static_cast<char>(unit);
        return;
    }
    constexpr char kDigits[] = "0123456789ABCDEF";
    shown += '<';
    for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4)
        shown += kDigits[unit >> shift & 0xF];
    shown += '>';
}

} // namespace

void MisusesHandles()
{
    testing::Test::RecordProperty("misuses", "handles");
}

LSTATUS ErrorOf(BOOL succeeded)
{
    return succeeded ? ERROR_SUCCESS : static_cast<LSTATUS>(GetLastError());
}

std::wstring Wide(const std::string& text)
{
    return {text.begin(), text.end()};
}

std::string Shown(const wchar_t* text)
{
    std::size_t length = 0;
    while (text[length] != L'\0')
        ++length;
    return Shown(text, length);
}

std::string Shown(const wchar_t* text, std::size_t length)
{
    std::string shown;
    for (std::size_t i = 0; i < length; ++i)
        AppendShown(shown, text[i], 4);
    return shown;
}

std::string Shown(const std::string& bytes)
{
    std::string shown;
    for (const char c : bytes)
        AppendShown(shown, static_cast<unsigned char>(c), 2);
    return shown;
}

std::string TestKeyName()
{
    return "SOFTWARE\\KeloConformance\\" + NameOfTest();
}

std::string TestDirectory()
{
    const std::string path = FolderPath(CSIDL_COMMON_APPDATA) + "\\KeloConformance\\" + NameOfTest();
    EXPECT_EQ(SHCreateDirectoryExA(nullptr, path.c_str(), nullptr), ERROR_SUCCESS);
    return path;
}

void MakeFile(const std::string& path, const char* text)
{
    std::FILE* file = _fsopen(path.c_str(), "a", _SH_DENYNO);
    ASSERT_TRUE(file != nullptr);
    EXPECT_GE(std::fputs(text, file), 0);
    EXPECT_EQ(std::fclose(file), 0);
}

bool Exists(const std::string& path)
{
    return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::string FolderPath(int csidl)
{
    char path[MAX_PATH] = {};
    EXPECT_EQ(SHGetFolderPathA(nullptr, csidl, nullptr, SHGFP_TYPE_CURRENT, path), S_OK);
    return path;
}
