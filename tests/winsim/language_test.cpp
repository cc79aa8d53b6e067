// Proves that what is known about a language, and in which language a user reads, behave as Windows documents it.
#include "tests/winsim/support.h"

namespace
{

constexpr LCID Locale(LANGID language)
{
    return MAKELCID(language, SORT_DEFAULT);
}

// What is known, in a buffer of `size` characters; "(error)" and the last error when the call fails.
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

struct LanguageCase
{
    LANGID language;
    const char* name;
    const char* identifier;
};

// Languages with a table of texts, their variants, and others.
constexpr LanguageCase kLanguages[] = {
    {0x0407, "de", "0407"}, {0x0807, "de", "0807"}, {0x0409, "en", "0409"}, {0x0809, "en", "0809"},
    {0x0C0A, "es", "0c0a"}, {0x080A, "es", "080a"}, {0x040C, "fr", "040c"}, {0x0C0C, "fr", "0c0c"},
    {0x0410, "it", "0410"}, {0x0411, "ja", "0411"}, {0x0412, "ko", "0412"}, {0x0413, "nl", "0413"},
    {0x0414, "nb", "0414"}, {0x0814, "nn", "0814"}, {0x0416, "pt", "0416"}, {0x0816, "pt", "0816"},
    {0x0404, "zh", "0404"}, {0x0804, "zh", "0804"}, {0x0C04, "zh", "0c04"}, {0x1004, "zh", "1004"},
    {0x1404, "zh", "1404"}, {0x0401, "ar", "0401"}, {0x0405, "cs", "0405"}, {0x0406, "da", "0406"},
    {0x0408, "el", "0408"}, {0x040B, "fi", "040b"}, {0x040D, "he", "040d"}, {0x040E, "hu", "040e"},
    {0x0415, "pl", "0415"}, {0x0419, "ru", "0419"}, {0x041D, "sv", "041d"}, {0x041F, "tr", "041f"},
};

TEST(GetLocaleInfo, KnowsEachLanguagesNameAndIdentifier)
{
    for (const LanguageCase& c : kLanguages)
    {
        EXPECT_EQ(Known(c.language, LOCALE_SISO639LANGNAME, 3), c.name) << c.language;
        EXPECT_EQ(Known(c.language, LOCALE_ILANGUAGE, 5), c.identifier) << c.language;
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

TEST(GetLocaleInfo, AnUnknownLanguageIsAnError)
{
    EXPECT_EQ(Known(0x0FFF, LOCALE_SISO639LANGNAME, 3), "(error) 87");
}

TEST(GetLocaleInfo, ALanguageWithoutAVariantStandsForItsFirst)
{
    EXPECT_EQ(Known(0x0007, LOCALE_SISO639LANGNAME, 3), "de");
    EXPECT_EQ(Known(0x0014, LOCALE_SISO639LANGNAME, 3), "nb");
}

TEST(UserLanguage, IsKnownAndFoundInTheLibraryToo)
{
    EXPECT_NE(Known(GetUserDefaultLangID(), LOCALE_SISO639LANGNAME, 3).substr(0, 7), "(error)");
    const HMODULE library = LoadLibraryA("kernel32.dll");
    ASSERT_NE(library, nullptr);
    using Function = LANGID(WINAPI*)();
    const auto function =
        reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, "GetThreadUILanguage")));
    ASSERT_NE(function, nullptr);
    EXPECT_EQ(function(), GetThreadUILanguage());
    FreeLibrary(library);
}

} // namespace
