// Proves that conversions between code pages and UTF-16 behave as Windows documents them.
#include "tests/winsim/support.h"

#include <cstring>

namespace
{

constexpr UINT kWestern = 1252;
constexpr UINT kJapanese = 932;

// The UTF-16 form of bytes, in the Shown form.
std::string Widened(UINT codePage, const std::string& bytes)
{
    wchar_t wide[64] = {};
    const int length = MultiByteToWideChar(codePage, 0, bytes.data(), static_cast<int>(bytes.size()), wide, 64);
    return Shown(wide, static_cast<std::size_t>(length));
}

// The bytes of UTF-16 text, in the Shown form.
std::string Narrowed(UINT codePage, const wchar_t* text, BOOL* usedDefault = nullptr)
{
    char bytes[64] = {};
    const int size = WideCharToMultiByte(codePage, 0, text, -1, bytes, sizeof bytes, nullptr, usedDefault);
    return size == 0 ? "failed" : Shown(std::string(bytes, static_cast<std::size_t>(size) - 1));
}

TEST(MultiByteToWideChar, CountsTheTerminatorForALengthOfMinusOneOnly)
{
    wchar_t wide[16] = {};
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "abc", -1, wide, 16), 4);
    EXPECT_EQ(Shown(wide, 5), "abc<0000><0000>");
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "xy", 1, wide, 16), 1);
    EXPECT_EQ(Shown(wide, 3), "xbc");
}

TEST(MultiByteToWideChar, ConvertsEmbeddedTerminatorsByLength)
{
    EXPECT_EQ(Widened(kWestern, std::string("a\0b", 3)), "a<0000>b");
}

TEST(MultiByteToWideChar, GivesTheSizeForNoBuffer)
{
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "abc", -1, nullptr, 0), 4);
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "abc", 3, nullptr, 0), 3);
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "", -1, nullptr, 0), 1);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "\xE2\x82\xAC", -1, nullptr, 0), 2);
}

TEST(MultiByteToWideChar, FailsWhenTheBufferIsTooSmall)
{
    wchar_t wide[16] = {};
    EXPECT_EQ(ErrorOf([&] { return MultiByteToWideChar(CP_ACP, 0, "abcdef", -1, wide, 6) != 0; }),
              ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(Shown(wide, 7), "abcdef<0000>");
}

// Arguments of a conversion from text in characters of a type, and its error.
template <typename Character>
struct WrongArguments
{
    UINT codePage;
    DWORD flags;
    const Character* text;
    int length;
    bool hasBuffer;
    int size;
    LSTATUS error;
};

TEST(MultiByteToWideChar, RefusesWrongArguments)
{
    constexpr WrongArguments<char> kCases[] = {
        {CP_ACP, 0, "abc", 0, true, 8, ERROR_INVALID_PARAMETER},
        {CP_ACP, 0, nullptr, 3, true, 8, ERROR_INVALID_PARAMETER},
        {CP_ACP, 0, "abc", -1, true, -1, ERROR_INVALID_PARAMETER},
        {CP_ACP, 0, "abc", -1, false, 8, ERROR_INVALID_PARAMETER},
        {12345, 0, "abc", -1, true, 8, ERROR_INVALID_PARAMETER},
        {CP_ACP, 0x100, "abc", -1, true, 8, ERROR_INVALID_FLAGS},
    };
    for (const auto& [codePage, flags, text, length, hasBuffer, size, error] : kCases)
    {
        wchar_t wide[8] = {};
        SetLastError(0);
        EXPECT_EQ(MultiByteToWideChar(codePage, flags, text, length, hasBuffer ? wide : nullptr, size), 0);
        EXPECT_EQ(ErrorOf(FALSE), error) << codePage << " " << length << " " << size;
    }
}

TEST(MultiByteToWideChar, KnowsTheAnsiPage)
{
    EXPECT_EQ(Widened(CP_ACP, "\x80\x9F\xA0\xE4\xFF"), "<20AC><0178><00A0><00E4><00FF>");
}

TEST(MultiByteToWideChar, TurnsUnassignedBytesIntoControlsOrPrivateCharacters)
{
    EXPECT_EQ(Widened(kWestern, "\x81\x8D\x8F\x90\x9D"), "<0081><008D><008F><0090><009D>");
    EXPECT_EQ(Widened(1253, "\xAA\xD2\xFF"), "<F8F9><F8FA><F8FB>");
    EXPECT_EQ(Widened(1257, "\xA1\xA5"), "<F8FC><F8FD>");
    EXPECT_EQ(Widened(874, "\x81\xDB\xFF"), "<0081><F8C1><F8C8>");
}

TEST(MultiByteToWideChar, KnowsOtherPages)
{
    EXPECT_EQ(Widened(1250, "\x8C\xE8"), "<015A><010D>");
    EXPECT_EQ(Widened(1251, "\xC4\xE0"), "<0414><0430>");
    EXPECT_EQ(Widened(kJapanese, "a\x82\xA0\xB1z"), "a<3042><FF71>z");
    EXPECT_EQ(Widened(936, "\xC4\xE3"), "<4F60>");
    EXPECT_EQ(Widened(949, "\xB0\xA1"), "<AC00>");
    EXPECT_EQ(Widened(950, "\xA4\xA4"), "<4E2D>");
}

TEST(MultiByteToWideChar, ReplacesHalfACharacterOfTwoBytes)
{
    EXPECT_EQ(Widened(kJapanese, "a\x82"), "a<30FB>");
    EXPECT_EQ(Widened(kJapanese, std::string("\x82\0b", 3)), "<30FB><0000>b");
}

TEST(MultiByteToWideChar, ReadsUtf8)
{
    EXPECT_EQ(Widened(CP_UTF8, "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80z"), "a<00E4><20AC><D83D><DE00>z");
}

TEST(MultiByteToWideChar, ReplacesEachPieceThatIsNoUtf8)
{
    constexpr std::pair<const char*, const char*> kCases[] = {
        {"a\x80z", "a<FFFD>z"},
        {"\xC3", "<FFFD>"},
        {"\xC3z", "<FFFD>z"},
        {"\xE2\x82z", "<FFFD>z"},
        {"\xF0\x9F\x98", "<FFFD>"},
        {"\xF0\x9Fzz", "<FFFD>zz"},
        {"\xF0\x9F\x98\xE2\x82\xAC", "<FFFD><20AC>"},
        {"\xED\xA0\x80", "<FFFD><FFFD>"},           // a surrogate
        {"\xC0\x80", "<FFFD><FFFD>"},               // longer than necessary
        {"\xE0\x80\x80", "<FFFD><FFFD>"},           // longer than necessary
        {"\xF4\x90\x80\x80", "<FFFD><FFFD><FFFD>"}, // beyond the last character
        {"\xFF\xFE", "<FFFD><FFFD>"},
        {"\xE2\x28\xA1", "<FFFD>(<FFFD>"},
    };
    for (const auto& [bytes, shown] : kCases)
        EXPECT_EQ(Widened(CP_UTF8, bytes), shown) << Shown(std::string(bytes));
}

TEST(WideCharToMultiByte, CountsTheTerminatorForALengthOfMinusOneOnly)
{
    char bytes[16] = {};
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, L"abc", -1, bytes, 16, nullptr, nullptr), 4);
    EXPECT_STREQ(bytes, "abc");
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, L"xy", 1, bytes, 16, nullptr, nullptr), 1);
    EXPECT_STREQ(bytes, "xbc");
}

TEST(WideCharToMultiByte, GivesTheSizeForNoBuffer)
{
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, L"abc", -1, nullptr, 0, nullptr, nullptr), 4);
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, L"abc", 3, nullptr, 0, nullptr, nullptr), 3);
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, L"\x20AC", -1, nullptr, 0, nullptr, nullptr), 4);
    EXPECT_EQ(WideCharToMultiByte(kJapanese, 0, L"\x3042", -1, nullptr, 0, nullptr, nullptr), 3);
}

TEST(WideCharToMultiByte, FailsWhenTheBufferIsTooSmall)
{
    char bytes[16] = {};
    EXPECT_EQ(ErrorOf([&] { return WideCharToMultiByte(CP_ACP, 0, L"abcdef", -1, bytes, 6, nullptr, nullptr) != 0; }),
              ERROR_INSUFFICIENT_BUFFER);
    EXPECT_STREQ(bytes, "abcdef");
}

TEST(WideCharToMultiByte, RefusesWrongArguments)
{
    constexpr WrongArguments<wchar_t> kCases[] = {
        {CP_ACP, 0, L"abc", 0, true, 8, ERROR_INVALID_PARAMETER},
        {CP_ACP, 0, nullptr, 3, true, 8, ERROR_INVALID_PARAMETER},
        {CP_ACP, 0, L"abc", -1, true, -1, ERROR_INVALID_PARAMETER},
        {CP_ACP, 0, L"abc", -1, false, 8, ERROR_INVALID_PARAMETER},
        {12345, 0, L"abc", -1, true, 8, ERROR_INVALID_PARAMETER},
        {CP_ACP, 0x100000, L"abc", -1, true, 8, ERROR_INVALID_FLAGS},
    };
    for (const auto& [codePage, flags, text, length, hasBuffer, size, error] : kCases)
    {
        char bytes[8] = {};
        SetLastError(0);
        EXPECT_EQ(
            WideCharToMultiByte(codePage, flags, text, length, hasBuffer ? bytes : nullptr, size, nullptr, nullptr), 0);
        EXPECT_EQ(ErrorOf(FALSE), error) << codePage << " " << length << " " << size;
    }
}

TEST(WideCharToMultiByte, KnowsTheAnsiPage)
{
    BOOL usedDefault = TRUE;
    EXPECT_EQ(Narrowed(CP_ACP, L"a\x20AC\x0178\x00E4\x0081?", &usedDefault), "a<80><9F><E4><81>?");
    EXPECT_FALSE(usedDefault);
}

TEST(WideCharToMultiByte, PutsAQuestionMarkForWhatThePageLacks)
{
    BOOL usedDefault = FALSE;
    EXPECT_EQ(Narrowed(kWestern, L"a\x4E00z", &usedDefault), "a?z");
    EXPECT_TRUE(usedDefault);
    EXPECT_EQ(Narrowed(kJapanese, L"a\x0E01z", &usedDefault), "a?z");
}

TEST(WideCharToMultiByte, PutsAQuestionMarkForEachHalfOfASurrogatePair)
{
    EXPECT_EQ(Narrowed(kWestern, L"a\xD83D\xDE00z"), "a??z");
    EXPECT_EQ(Narrowed(kWestern, L"a\xD83Dz"), "a?z");
    EXPECT_EQ(Narrowed(kJapanese, L"a\xD83D\xDE00z"), "a??z");
}

TEST(WideCharToMultiByte, PutsTheDefaultCharacterOfTheCaller)
{
    char bytes[16] = {};
    BOOL usedDefault = FALSE;
    EXPECT_EQ(WideCharToMultiByte(kWestern, 0, L"a\x4E00z", -1, bytes, 16, "!", &usedDefault), 4);
    EXPECT_STREQ(bytes, "a!z");
    EXPECT_TRUE(usedDefault);
}

TEST(WideCharToMultiByte, PutsTheBestFitWithoutCallingItADefault)
{
    struct Case
    {
        UINT codePage;
        const wchar_t* text;
        const char* shown;
    };
    constexpr Case kCases[] = {
        {CP_ACP, L"\x0100\x0101\x0141\x01CE", "AaLa"},   // letters with other marks
        {kWestern, L"\xFF21\xFF5E\x3000", "A~ "},        // full width
        {kWestern, L"\x2032\x2212\x2044\x2215", "'-//"}, // punctuation
        {kWestern, L"\x03B1\x0393\x221E\x2264", "aG8="}, // Greek and mathematics
        {kWestern, L"\x2500\x2502\x256C", "-<A6>+"},     // lines
        {kWestern, L"\x0110\x0111", "<D0>d"},            // each page in its own way
        {1251, L"\x00E4\x0110\x2190", "aD<"},
        {1250, L"\x00E5\x2190\x00D8", "a<8B>O"},
        {1253, L"\x00E4\x2665", "a<A6>"},
        {874, L"\xFF21\x2665", "A<03>"},
    };
    for (std::size_t i = 0; i < std::size(kCases); ++i)
    {
        BOOL usedDefault = TRUE;
        EXPECT_EQ(Narrowed(kCases[i].codePage, kCases[i].text, &usedDefault), kCases[i].shown) << i;
        EXPECT_FALSE(usedDefault) << i;
    }
}

TEST(WideCharToMultiByte, WritesUtf8WithAReplacementForLoneSurrogates)
{
    EXPECT_EQ(Narrowed(CP_UTF8, L"a\x00E4\x20AC\xD83D\xDE00z"), "a<C3><A4><E2><82><AC><F0><9F><98><80>z");
    EXPECT_EQ(Narrowed(CP_UTF8, L"\xD83D"), "<EF><BF><BD>");
    EXPECT_EQ(Narrowed(CP_UTF8, L"\xDE00\xD83Dz"), "<EF><BF><BD><EF><BF><BD>z");
}

TEST(WideCharToMultiByte, HasNoDefaultCharacterForUtf8)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine takes a default character for UTF-8 and ignores it";
    char bytes[16] = {};
    BOOL usedDefault = FALSE;
    EXPECT_EQ(ErrorOf([&] { return WideCharToMultiByte(CP_UTF8, 0, L"a", -1, bytes, 16, nullptr, &usedDefault) != 0; }),
              ERROR_INVALID_PARAMETER);
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, L"a", -1, bytes, 16, "?", nullptr), 0);
}

// ---- Flags ----

DWORD WidenError(UINT codePage, DWORD flags, const std::string& bytes)
{
    wchar_t wide[64] = {};
    SetLastError(0);
    const int length = MultiByteToWideChar(codePage, flags, bytes.data(), static_cast<int>(bytes.size()), wide, 64);
    return length == 0 ? GetLastError() : 0;
}

DWORD NarrowError(UINT codePage, DWORD flags, const wchar_t* text)
{
    char bytes[64] = {};
    SetLastError(0);
    const int size = WideCharToMultiByte(codePage, flags, text, -1, bytes, sizeof bytes, nullptr, nullptr);
    return size == 0 ? GetLastError() : 0;
}

TEST(MultiByteToWideChar, RefusesInvalidCharactersWhenAskedTo)
{
    constexpr DWORD kStrict = MB_ERR_INVALID_CHARS;
    EXPECT_EQ(WidenError(CP_UTF8, kStrict, "a\xC3\xA4\xE2\x82\xAC\xEF\xBF\xBD"), 0u);
    for (const char* bytes : {"\x80", "a\xC3", "\xED\xA0\x80", "\xC0\x80"})
        EXPECT_EQ(WidenError(CP_UTF8, kStrict, bytes), 1113u) << Shown(std::string(bytes));
    EXPECT_EQ(WidenError(kWestern, kStrict, "a\x80\xE4"), 0u);
    EXPECT_EQ(WidenError(1253, kStrict, "a\xAA"), 1113u);
    EXPECT_EQ(WidenError(kJapanese, kStrict, "a\x82\xA0"), 0u);
    EXPECT_EQ(WidenError(kJapanese, kStrict, "a\x82"), 1113u);
    EXPECT_EQ(WidenError(kWestern, MB_PRECOMPOSED | kStrict, "a"), 0u);
}

TEST(MultiByteToWideChar, KnowsFewerFlagsForUtf8)
{
    EXPECT_EQ(WidenError(kWestern, MB_PRECOMPOSED, "a"), 0u);
    EXPECT_EQ(WidenError(kWestern, 0x10, "a"), 1004u);
    EXPECT_EQ(WidenError(CP_UTF8, 0x10, "a"), 1004u);
    if (IsOnWine())
        GTEST_SKIP() << "Wine ignores what it does not support";
    EXPECT_EQ(WidenError(kWestern, MB_PRECOMPOSED | MB_COMPOSITE, "a"), 1004u);
    EXPECT_EQ(WidenError(CP_UTF8, MB_PRECOMPOSED, "a"), 1004u);
}

TEST(MultiByteToWideChar, ConvertsIntoAnotherBuffer)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine converts a text in its place";
    wchar_t text[8] = L"abc";
    SetLastError(0);
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, reinterpret_cast<const char*>(text), 2, text, 8), 0);
    EXPECT_EQ(GetLastError(), 87u);
}

TEST(WideCharToMultiByte, RefusesInvalidCharactersWhenAskedTo)
{
    EXPECT_EQ(NarrowError(CP_UTF8, WC_ERR_INVALID_CHARS, L"a\x00E4\xD83D\xDE00"), 0u);
    EXPECT_EQ(NarrowError(CP_UTF8, WC_ERR_INVALID_CHARS, L"a\xD83D"), 1113u);
    if (IsOnWine())
        GTEST_SKIP() << "Wine knows every flag for every page";
    EXPECT_EQ(NarrowError(CP_UTF8, WC_NO_BEST_FIT_CHARS, L"a"), 1004u);
    EXPECT_EQ(NarrowError(kWestern, WC_ERR_INVALID_CHARS, L"a"), 1004u);
}

TEST(WideCharToMultiByte, PutsNoBestFitWhenAskedTo)
{
    char bytes[16] = {};
    BOOL usedDefault = FALSE;
    EXPECT_EQ(WideCharToMultiByte(kWestern, WC_NO_BEST_FIT_CHARS, L"a\x00E4\x0100\xFF21z", -1, bytes, 16, nullptr,
                                  &usedDefault),
              6);
    EXPECT_EQ(Shown(std::string(bytes)), "a<E4>\?\?z");
    EXPECT_TRUE(usedDefault);
    EXPECT_EQ(WideCharToMultiByte(kJapanese, WC_NO_BEST_FIT_CHARS, L"\x3042", -1, bytes, 16, nullptr, &usedDefault), 3);
    EXPECT_FALSE(usedDefault);
}

TEST(CodePages, OfTheThreadAreThoseOfTheSystem)
{
    EXPECT_EQ(Widened(CP_THREAD_ACP, "\x80\xE4"), Widened(CP_ACP, "\x80\xE4"));
}

} // namespace
