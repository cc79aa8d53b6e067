// Functions that the conformance tests share.
#include "tests/winsim/support.h"

#include <shlobj.h>

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
    char programData[MAX_PATH] = {};
    SHGetFolderPathA(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, programData);
    const std::string path = std::string(programData) + "\\KeloConformance\\" + NameOfTest();
    EXPECT_EQ(SHCreateDirectoryExA(nullptr, path.c_str(), nullptr), ERROR_SUCCESS);
    return path;
}
