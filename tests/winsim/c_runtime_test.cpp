// Proves that the C runtime's functions on text behave as Windows documents them.
#include "tests/winsim/support.h"

#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <mbstring.h>

namespace
{

constexpr std::size_t kRoom = 32;

// The result of formatting with room for `count` characters, and then the buffer, which was filled with dots before.
std::string Formatted(std::size_t count, const char* format, ...)
{
    char buffer[kRoom];
    std::memset(buffer, '.', sizeof buffer);
    va_list arguments;
    va_start(arguments, format);
    const int result = _vsnprintf(buffer, count, format, arguments);
    va_end(arguments);
    return std::to_string(result) + ":" + std::string(buffer, strnlen(buffer, kRoom));
}

template <typename... Arguments>
std::string InFull(const char* format, Arguments... arguments)
{
    return Formatted(kRoom, format, arguments...);
}

TEST(Vsnprintf, FormatsNumbers)
{
    EXPECT_EQ(InFull("%d", 42), "2:42");
    EXPECT_EQ(InFull("%d %i", -1, INT_MIN), "14:-1 -2147483648");
    EXPECT_EQ(InFull("%u", UINT_MAX), "10:4294967295");
    EXPECT_EQ(InFull("%x %X %o", 0xBEEFu, 0xBEEFu, 8u), "12:beef BEEF 10");
    EXPECT_EQ(InFull("0x%08x", 0xBEEFu), "10:0x0000beef");
    EXPECT_EQ(InFull("[%5d|%-5d|%05d|%+d]", 42, 42, 42, 42), "23:[   42|42   |00042|+42]");
    EXPECT_EQ(InFull("[%*d|%.3d]", 4, 7, 7), "10:[   7|007]");
    EXPECT_EQ(InFull("%ld %lu", 5L, 6UL), "3:5 6");
    EXPECT_EQ(InFull("%I64d %I64x", -5LL, 0x123456789AULL), "13:-5 123456789a");
    EXPECT_EQ(InFull("%lld", LLONG_MAX), "19:9223372036854775807");
    EXPECT_EQ(InFull("%c%c", 'a', 'b'), "2:ab");
    EXPECT_EQ(InFull("100%%"), "4:100%");
}

TEST(Vsnprintf, FormatsText)
{
    EXPECT_EQ(InFull("%s", "text"), "4:text");
    EXPECT_EQ(InFull("[%6s|%-6s|%.2s]", "text", "text", "text"), "18:[  text|text  |te]");
    EXPECT_EQ(InFull("[%6.2s]", "text"), "8:[    te]");
    EXPECT_EQ(InFull("%s|%s", "", static_cast<const char*>(nullptr)), "7:|(null)");
    EXPECT_EQ(InFull("%hs", "text"), "4:text");
}

TEST(Vsnprintf, FormatsUtf16)
{
    EXPECT_EQ(InFull("%S", L"text"), "4:text");
    EXPECT_EQ(InFull("%ls %ws", L"a", L"b"), "3:a b");
    EXPECT_EQ(InFull("[%6S|%-6S|%.2S]", L"text", L"text", L"text"), "18:[  text|text  |te]");
    EXPECT_EQ(InFull("%S", static_cast<const wchar_t*>(nullptr)), "6:(null)");
    EXPECT_EQ(InFull("%S", L"\x00E4"), "1:\xE4");
}

TEST(Vsnprintf, FailsAtUtf16ThatTheLocaleLacks)
{
    EXPECT_EQ(InFull("a %S z", L"\x4E00"), "-1:a ");
    EXPECT_EQ(Formatted(2, "a %S z", L"\x4E00"), "-1:a " + std::string(kRoom - 2, '.'));
    EXPECT_EQ(InFull("[%.2S]", L"bc\x4E00z"), "4:[bc]");
}

TEST(Vsnprintf, WritesUtf16UpToWhatTheLocaleLacks)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine writes all of a text or nothing";
    EXPECT_EQ(InFull("a %S z", L"bc\x4E00z"), "-1:a bc");
    EXPECT_EQ(Formatted(3, "a %S z", L"bc\x4E00z"), "-1:a b" + std::string(kRoom - 3, '.'));
    EXPECT_EQ(InFull("[%6S", L"bc\x4E00z"), "-1:[  bc");
    EXPECT_EQ(InFull("[%-6S", L"bc\x4E00z"), "-1:[bc");
}

TEST(Vsnprintf, EndsATextThatLeavesRoom)
{
    EXPECT_EQ(Formatted(5, "%s", "four"), "4:four");
    EXPECT_EQ(Formatted(5, "%.4s", "fives"), "4:five");
    EXPECT_EQ(Formatted(1, "%s", ""), "0:");
}

TEST(Vsnprintf, FillsItsRoomToTheLastCharacterWithoutAnEnd)
{
    EXPECT_EQ(Formatted(4, "%s", "four"), "4:four" + std::string(kRoom - 4, '.'));
    EXPECT_EQ(Formatted(4, "%S", L"four"), "4:four" + std::string(kRoom - 4, '.'));
    EXPECT_EQ(Formatted(0, "%s", ""), "0:" + std::string(kRoom, '.'));
}

TEST(Vsnprintf, CutsALongerTextWithoutAnEnd)
{
    EXPECT_EQ(Formatted(4, "%s", "fives"), "-1:five" + std::string(kRoom - 4, '.'));
    EXPECT_EQ(Formatted(4, "%S", L"fives"), "-1:five" + std::string(kRoom - 4, '.'));
    EXPECT_EQ(Formatted(4, "%d", 1234567), "-1:1234" + std::string(kRoom - 4, '.'));
    EXPECT_EQ(Formatted(0, "%s", "x"), "-1:" + std::string(kRoom, '.'));
}

// The direction of a comparison.
int Sign(int value)
{
    return value == 0 ? 0 : (value < 0 ? -1 : 1);
}

TEST(Stricmp, FoldsTheCaseOfAsciiOnly)
{
    EXPECT_EQ(_stricmp("Kelo", "kELO"), 0);
    EXPECT_EQ(_stricmp("", ""), 0);
    EXPECT_EQ(Sign(_stricmp("a", "B")), -1);
    EXPECT_EQ(Sign(_stricmp("B", "a")), 1);
    EXPECT_EQ(Sign(_stricmp("ab", "a")), 1);
    EXPECT_EQ(Sign(_stricmp("_", "A")), -1); // letters are compared as small ones
    EXPECT_NE(_stricmp("\xE4", "\xC4"), 0);
}

TEST(Stricmp, ComparesUnsignedBytes)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine compares signed bytes";
    EXPECT_EQ(Sign(_stricmp("\xE4", "a")), 1);
}

TEST(Wcsicmp, FoldsTheCaseOfAsciiOnly)
{
    EXPECT_EQ(_wcsicmp(L"Kelo", L"kELO"), 0);
    EXPECT_EQ(Sign(_wcsicmp(L"a", L"B")), -1);
    EXPECT_EQ(Sign(_wcsicmp(L"ab", L"a")), 1);
    EXPECT_EQ(Sign(_wcsicmp(L"_", L"A")), -1);
    EXPECT_EQ(Sign(_wcsicmp(L"\x4E00", L"a")), 1);
}

TEST(Wcsicmp, TellsLettersBeyondAsciiApart)
{
    EXPECT_NE(_wcsicmp(L"\x00E4", L"\x00C4"), 0);
    EXPECT_NE(_wcsicmp(L"\x0434", L"\x0414"), 0);
}

TEST(Wcsnicmp, ComparesTheBeginningsAlone)
{
    EXPECT_EQ(_wcsnicmp(L"/Setup", L"/SETUPS", 6), 0);
    EXPECT_EQ(Sign(_wcsnicmp(L"/Setup", L"/SETUPS", 7)), -1);
    EXPECT_EQ(_wcsnicmp(L"a", L"b", 0), 0);
    EXPECT_NE(_wcsnicmp(L"\x00E4", L"\x00C4", 1), 0);
}

int CompareBytes(const char* left, const char* right)
{
    return _mbsicmp(reinterpret_cast<const unsigned char*>(left), reinterpret_cast<const unsigned char*>(right));
}

// In a code page without characters of two bytes, such as 1252.
TEST(Mbsicmp, FoldsTheCaseOfAsciiOnly)
{
    EXPECT_EQ(CompareBytes("Kelo.EXE", "kELO.exe"), 0);
    EXPECT_EQ(Sign(CompareBytes("a", "B")), -1);
    EXPECT_EQ(Sign(CompareBytes("ab", "a")), 1);
    EXPECT_NE(CompareBytes("\xE4.exe", "\xC4.exe"), 0);
}

TEST(WideText, IsComparedAndMeasuredInUnitsOf16Bits)
{
    EXPECT_EQ(std::wcslen(L"\xD83D\xDE00"), 2u);
    EXPECT_EQ(std::wcscmp(L"a", L"a"), 0);
    EXPECT_EQ(Sign(std::wcscmp(L"a", L"b")), -1);
    EXPECT_EQ(Sign(std::wcscmp(L"ab", L"a")), 1);
    EXPECT_EQ(std::wmemcmp(L"a\0b", L"a\0b", 3), 0);
    EXPECT_EQ(Shown(std::wmemchr(L"abc", L'b', 3)), "bc");
    EXPECT_TRUE(std::wmemchr(L"abc", L'x', 3) == nullptr);
}

} // namespace
