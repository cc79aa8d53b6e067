// Proves that information about a language and the language of the user interface behave as Windows documents them.
#include "tests/winsim/support.h"
#include "winsim/machine/language_table.h"

#include <cstdio>
#include <set>

namespace
{

constexpr LCID Locale(LANGID language)
{
    return MAKELCID(language, SORT_DEFAULT);
}

// The information, read into a buffer of `size` characters; "(error)" and the last error if the call fails.
std::string Known(LANGID language, LCTYPE kind, int size)
{
    char text[16] = {};
    SetLastError(0);
    const int length = GetLocaleInfoA(Locale(language), kind, text, size);
    if (length == 0)
        return "(error) " + std::to_string(GetLastError());
    EXPECT_EQ(text[length - 1], '\0');
    return text;
}

std::string Identifier(LANGID language)
{
    char text[5];
    std::snprintf(text, sizeof text, "%04x", language);
    return text;
}

TEST(GetLocaleInfo, KnowsEachLanguagesNameAndIdentifier)
{
    for (const winsim::Language& language : winsim::kLanguages)
    {
        EXPECT_EQ(Known(language.id, LOCALE_SISO639LANGNAME, 4), language.isoName) << Identifier(language.id);
        EXPECT_EQ(Known(language.id, LOCALE_ILANGUAGE, 5), Identifier(language.variant)) << Identifier(language.id);
    }
}

TEST(GetLocaleInfo, KnowsNoOtherLanguage)
{
    std::set<unsigned> known;
    for (const winsim::Language& language : winsim::kLanguages)
        known.insert(language.id);
    // Placeholders for the user's language or the system's.
    for (const unsigned id : {0x0000, 0x0400, 0x0800, 0x0C00, 0x1000, 0x1400})
        known.insert(id);
    for (unsigned id = 0; id <= 0xFFFF; ++id)
    {
        if (known.contains(id))
            continue;
        EXPECT_EQ(GetLocaleInfoA(Locale(static_cast<LANGID>(id)), LOCALE_ILANGUAGE, nullptr, 0), 0) << id;
        ASSERT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER}) << id;
    }
}

TEST(GetLocaleInfo, ThreeLettersDoNotFitWhereTwoAreExpected)
{
    for (const LANGID language : {0x0464, 0x0457})
    {
        EXPECT_EQ(Known(static_cast<LANGID>(language), LOCALE_SISO639LANGNAME, 3), "(error) 122");
        EXPECT_EQ(Known(static_cast<LANGID>(language), LOCALE_SISO639LANGNAME, 4).size(), 3u);
    }
}

TEST(GetLocaleInfo, ABufferThatIsTooSmallIsAnError)
{
    EXPECT_EQ(Known(0x0407, LOCALE_SISO639LANGNAME, 2), "(error) 122");
    EXPECT_EQ(Known(0x0407, LOCALE_ILANGUAGE, 4), "(error) 122");
    EXPECT_EQ(GetLocaleInfoA(Locale(0x0407), LOCALE_ILANGUAGE, nullptr, 0), 5);
}

TEST(GetLocaleInfo, TheUsersOverridesAndTheCodePageChangeNothing)
{
    for (const LCTYPE flags : {LCTYPE{LOCALE_NOUSEROVERRIDE}, LCTYPE{LOCALE_USE_CP_ACP}})
    {
        EXPECT_EQ(Known(0x0407, LOCALE_SISO639LANGNAME | flags, 3), "de");
        EXPECT_EQ(Known(0x0407, LOCALE_ILANGUAGE | flags, 5), "0407");
    }
}

TEST(GetLocaleInfo, NeedsAPlaceForItsSize)
{
    char text[8] = {};
    SetLastError(0);
    EXPECT_EQ(GetLocaleInfoA(Locale(0x0407), LOCALE_ILANGUAGE, nullptr, 5), 0);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    SetLastError(0);
    EXPECT_EQ(GetLocaleInfoA(Locale(0x0407), LOCALE_ILANGUAGE, text, -1), 0);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
}

TEST(UserLanguage, IsKnown)
{
    EXPECT_NE(Known(GetUserDefaultLangID(), LOCALE_SISO639LANGNAME, 3).substr(0, 7), "(error)");
}

TEST(ThreadLanguage, IsKnownToTheLibraryThatHasIt)
{
    const HMODULE library = LoadLibraryA("kernel32.dll");
    ASSERT_NE(library, nullptr);
    using Function = LANGID(WINAPI*)();
    const auto function =
        reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, "GetThreadUILanguage")));
    if (function != nullptr) // Windows has it since 6.0
    {
        EXPECT_NE(Known(function(), LOCALE_SISO639LANGNAME, 3).substr(0, 7), "(error)");
    }
    FreeLibrary(library);
}

} // namespace
