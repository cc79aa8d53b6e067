// Proves that the C runtime's functions on text behave as Windows documents them.
#include "tests/winsim/support.h"

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <cwchar>

namespace
{

constexpr std::size_t kRoom = 32;

// What formatting left in a buffer of `size`, behind the result.
std::string Formatted(std::size_t size, std::size_t count, const char* format, ...)
{
    char buffer[kRoom];
    std::memset(buffer, '.', sizeof buffer);
    va_list arguments;
    va_start(arguments, format);
    const int result = _vsnprintf_s(buffer, size, count, format, arguments);
    va_end(arguments);
    return std::to_string(result) + ":" + std::string(buffer, strnlen(buffer, kRoom));
}

template <typename... Arguments>
std::string InFull(const char* format, Arguments... arguments)
{
    return Formatted(kRoom, _TRUNCATE, format, arguments...);
}

TEST(VsnprintfS, FormatsNumbers)
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

TEST(VsnprintfS, FormatsText)
{
    EXPECT_EQ(InFull("%s", "text"), "4:text");
    EXPECT_EQ(InFull("[%6s|%-6s|%.2s]", "text", "text", "text"), "18:[  text|text  |te]");
    EXPECT_EQ(InFull("[%6.2s]", "text"), "8:[    te]");
    EXPECT_EQ(InFull("%s|%s", "", static_cast<const char*>(nullptr)), "7:|(null)");
    EXPECT_EQ(InFull("%hs", "text"), "4:text");
}

TEST(VsnprintfS, FormatsUtf16)
{
    EXPECT_EQ(InFull("%S", L"text"), "4:text");
    EXPECT_EQ(InFull("%ls %ws", L"a", L"b"), "3:a b");
    EXPECT_EQ(InFull("[%6S|%-6S|%.2S]", L"text", L"text", L"text"), "18:[  text|text  |te]");
    EXPECT_EQ(InFull("%S", static_cast<const wchar_t*>(nullptr)), "6:(null)");
    EXPECT_EQ(InFull("%S", L"\x00E4"), "1:\xE4");
}

TEST(VsnprintfS, RefusesUtf16ThatTheLocaleLacks)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine leaves the text in front of such a character behind";
    EXPECT_EQ(InFull("a %S z", L"\x4E00"), "-1:");
}

TEST(VsnprintfS, FillsTheBufferExactly)
{
    EXPECT_EQ(Formatted(5, _TRUNCATE, "%s", "four"), "4:four");
    EXPECT_EQ(Formatted(5, 4, "%s", "four"), "4:four");
    EXPECT_EQ(Formatted(1, _TRUNCATE, "%s", ""), "0:");
}

TEST(VsnprintfS, TruncatesWhenAsked)
{
    EXPECT_EQ(Formatted(5, _TRUNCATE, "%s", "fives"), "-1:five");
    EXPECT_EQ(Formatted(5, _TRUNCATE, "%S", L"fives"), "-1:five");
    EXPECT_EQ(Formatted(5, _TRUNCATE, "%d", 1234567), "-1:1234");
    EXPECT_EQ(Formatted(1, _TRUNCATE, "%s", "x"), "-1:");
    EXPECT_EQ(Formatted(16, 4, "%s", "fives"), "-1:five");
    EXPECT_EQ(Formatted(16, 0, "%s", "x"), "-1:");
}

TEST(VsnprintfS, RefusesTextThatIsTooLongForMoreThanTheBuffer)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine cuts the text";
    EXPECT_EQ(Formatted(5, 5, "%s", "fives"), "-1:");
    EXPECT_EQ(Formatted(5, 16, "%s", "fives"), "-1:");
    EXPECT_EQ(Formatted(5, 16, "%s", "four"), "4:four");
}

TEST(StrcpyS, CopiesWhatFits)
{
    char buffer[5] = "....";
    EXPECT_EQ(strcpy_s(buffer, sizeof buffer, "four"), 0);
    EXPECT_STREQ(buffer, "four");
    EXPECT_EQ(strcpy_s(buffer, sizeof buffer, ""), 0);
    EXPECT_STREQ(buffer, "");
}

TEST(StrcpyS, LeavesEmptyTextWhenItRefuses)
{
    char buffer[5] = "....";
    EXPECT_EQ(strcpy_s(buffer, sizeof buffer, "fives"), ERANGE);
    EXPECT_STREQ(buffer, "");
    std::memcpy(buffer, "....", 5);
    EXPECT_EQ(strcpy_s(buffer, sizeof buffer, nullptr), EINVAL);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(strcpy_s(nullptr, 5, "x"), EINVAL);
    EXPECT_EQ(strcpy_s(buffer, 0, "x"), EINVAL);
}

TEST(StrcatS, AppendsWhatFits)
{
    char buffer[6] = "ab";
    EXPECT_EQ(strcat_s(buffer, sizeof buffer, "cde"), 0);
    EXPECT_STREQ(buffer, "abcde");
    EXPECT_EQ(strcat_s(buffer, sizeof buffer, ""), 0);
    EXPECT_STREQ(buffer, "abcde");
}

TEST(StrcatS, LeavesEmptyTextWhenItRefuses)
{
    char buffer[6] = "ab";
    EXPECT_EQ(strcat_s(buffer, sizeof buffer, "cdef"), ERANGE);
    EXPECT_STREQ(buffer, "");
    std::memcpy(buffer, "ab", 3);
    EXPECT_EQ(strcat_s(buffer, sizeof buffer, nullptr), EINVAL);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(strcat_s(nullptr, 6, "x"), EINVAL);
    EXPECT_EQ(strcat_s(buffer, 0, "x"), EINVAL);
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

// A path's parts with bars between them, or the error.
std::string Split(const wchar_t* path)
{
    wchar_t drive[8], directory[32], name[32], extension[16];
    const int error = _wsplitpath_s(path, drive, 8, directory, 32, name, 32, extension, 16);
    if (error != 0)
        return std::to_string(error);
    return Shown(drive) + "|" + Shown(directory) + "|" + Shown(name) + "|" + Shown(extension);
}

TEST(WsplitpathS, TakesAPathApart)
{
    struct Case
    {
        const wchar_t* path;
        const char* parts;
    };
    constexpr Case kCases[] = {
        {L"C:\\dir\\sub\\name.ext", "C:|\\dir\\sub\\|name|.ext"},
        {L"C:name.ext", "C:||name|.ext"},
        {L"\\\\server\\share\\name.ext", "|\\\\server\\share\\|name|.ext"},
        {L"dir/sub/name", "|dir/sub/|name|"},
        {L"name.one.two", "||name.one|.two"},
        {L"C:\\a.b\\name", "C:|\\a.b\\|name|"},
        {L"C:\\dir\\", "C:|\\dir\\||"},
        {L"C:\\dir\\.ext", "C:|\\dir\\||.ext"},
        {L"name.", "||name|."},
        {L"", "|||"},
    };
    for (const Case& c : kCases)
        EXPECT_EQ(Split(c.path), c.parts) << Shown(c.path);
}

TEST(WsplitpathS, SkipsPartsThatNobodyWants)
{
    wchar_t name[8] = L"";
    EXPECT_EQ(_wsplitpath_s(L"C:\\dir\\name.ext", nullptr, 0, nullptr, 0, name, 8, nullptr, 0), 0);
    EXPECT_EQ(Shown(name), "name");
}

TEST(WsplitpathS, EmptiesEveryPartWhenOneIsTooLong)
{
    wchar_t drive[8] = L"..", directory[8] = L"..", name[4] = L"..", extension[8] = L"..";
    EXPECT_EQ(_wsplitpath_s(L"C:\\dir\\name.ext", drive, 8, directory, 8, name, 4, extension, 8), ERANGE);
    EXPECT_EQ(Shown(drive) + Shown(directory) + Shown(name) + Shown(extension), "");
}

TEST(WsplitpathS, RefusesAPathOrRoomThatIsMissing)
{
    wchar_t name[8] = L"..";
    EXPECT_EQ(_wsplitpath_s(nullptr, nullptr, 0, nullptr, 0, name, 8, nullptr, 0), EINVAL);
    EXPECT_EQ(_wsplitpath_s(L"name", nullptr, 0, nullptr, 0, name, 0, nullptr, 0), EINVAL);
    EXPECT_EQ(_wsplitpath_s(L"name", nullptr, 0, nullptr, 0, nullptr, 8, nullptr, 0), EINVAL);
}

// A path made of parts, or the error.
std::string Made(const wchar_t* drive, const wchar_t* directory, const wchar_t* name, const wchar_t* extension)
{
    wchar_t path[32] = L"..";
    const int error = _wmakepath_s(path, 32, drive, directory, name, extension);
    return error != 0 ? std::to_string(error) + ":" + Shown(path) : Shown(path);
}

TEST(WmakepathS, PutsAPathTogether)
{
    EXPECT_EQ(Made(L"C:", L"\\dir\\", L"name", L".ext"), "C:\\dir\\name.ext");
    EXPECT_EQ(Made(L"C", L"\\dir", L"name", L"ext"), "C:\\dir\\name.ext");
    EXPECT_EQ(Made(L"C:", L"dir/", L"name", L""), "C:dir/name");
    EXPECT_EQ(Made(nullptr, nullptr, L"name", nullptr), "name");
    EXPECT_EQ(Made(L"", L"", L"", L""), "");
    EXPECT_EQ(Made(L"C:", nullptr, nullptr, L"x"), "C:.x");
}

TEST(WmakepathS, LeavesEmptyTextWhenItIsTooLong)
{
    EXPECT_EQ(Made(L"C:", L"\\directory\\directory\\directory\\", L"name", L".ext"), std::to_string(ERANGE) + ":");
    wchar_t path[16] = L"..";
    EXPECT_EQ(_wmakepath_s(path, 15, L"C:", L"\\dir\\", L"name", L".ext"), ERANGE);
    EXPECT_EQ(Shown(path), "");
    EXPECT_EQ(_wmakepath_s(path, 16, L"C:", L"\\dir\\", L"name", L".ext"), 0);
}

TEST(WmakepathS, RefusesNoRoom)
{
    wchar_t path[4] = L"..";
    EXPECT_EQ(_wmakepath_s(nullptr, 4, nullptr, nullptr, L"name", nullptr), EINVAL);
    EXPECT_EQ(_wmakepath_s(path, 0, nullptr, nullptr, L"name", nullptr), EINVAL);
}

} // namespace
