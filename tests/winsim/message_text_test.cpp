// Proves that message texts are expanded, and texts loaded from a library, as Windows documents it.
#include "tests/winsim/support.h"

#include <cstdarg>
#include <string>

namespace
{

// A message with the inserts "10002", "two" and then empty ones.
std::string Expanded(const char* message, DWORD size = 64)
{
    DWORD_PTR inserts[101];
    for (DWORD_PTR& insert : inserts)
        insert = reinterpret_cast<DWORD_PTR>("");
    inserts[0] = reinterpret_cast<DWORD_PTR>("10002");
    inserts[1] = reinterpret_cast<DWORD_PTR>("two");
    char text[128] = "untouched";
    SetLastError(0);
    const DWORD length = FormatMessageA(FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY, message, 0, 0, text,
                                        size, reinterpret_cast<va_list*>(inserts));
    if (length == 0)
        return "(error) " + std::to_string(GetLastError());
    EXPECT_EQ(std::string(text).size(), length);
    return Shown(std::string(text));
}

// The same in a buffer that the call allocates, of at least `size` characters.
std::string ExpandedInItsOwnBuffer(const std::string& message, DWORD size = 0)
{
    DWORD_PTR inserts[101];
    for (DWORD_PTR& insert : inserts)
        insert = reinterpret_cast<DWORD_PTR>("");
    inserts[0] = reinterpret_cast<DWORD_PTR>("10002");
    char* text = nullptr;
    SetLastError(0);
    const DWORD length = FormatMessageA(
        FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY | FORMAT_MESSAGE_ALLOCATE_BUFFER, message.c_str(), 0,
        0, reinterpret_cast<char*>(&text), size, reinterpret_cast<va_list*>(inserts));
    if (length == 0)
        return (text == nullptr ? "(error) " : "(error, and a buffer) ") + std::to_string(GetLastError());
    const std::string expanded = text;
    EXPECT_EQ(expanded.size(), length);
    EXPECT_EQ(LocalFree(text), nullptr);
    return expanded;
}

struct MessageCase
{
    const char* message;
    const char* shown;
};

TEST(FormatMessage, PutsInsertsIntoTheirPlaces)
{
    constexpr MessageCase kCases[] = {
        {"code %1", "code 10002"}, {"%1!s! and %2", "10002 and two"}, {"%2%1%2", "two10002two"}, {"%1a", "10002a"},
        {"%1!8s!|", "   10002|"},  {"%1!-8s!|", "10002   |"},         {"%1!.2s!|", "10|"},       {"%1!s!!", "10002!"},
        {"[%3][%99]", "[][]"},     {"no place", "no place"},
    };
    for (const MessageCase& c : kCases)
        EXPECT_EQ(Expanded(c.message), c.shown);
}

TEST(FormatMessage, AllocatesABufferForATextOfAnyLength)
{
    EXPECT_EQ(ExpandedInItsOwnBuffer("code %1"), "code 10002");
    EXPECT_EQ(ExpandedInItsOwnBuffer("code %1", 64), "code 10002");
    const std::string text(30000, 't');
    EXPECT_EQ(ExpandedInItsOwnBuffer(text + "%1"), text + "10002");
    EXPECT_EQ(ExpandedInItsOwnBuffer("%"), "(error) 87");
}

TEST(FormatMessage, ReadsWhatFollowsAPercentSign)
{
    constexpr MessageCase kCases[] = {
        {"100%% %1", "100% 10002"},
        {"a%nb", "a<0D><0A>b"},
        {"%r|%t|% |%.|%!", "<0D>|<09>| |.|!"},
        {"x%z", "xz"},
        {"a%0b%1", "a"},
    };
    for (const MessageCase& c : kCases)
        EXPECT_EQ(Expanded(c.message), c.shown);
}

TEST(FormatMessage, EndsEveryLineAsWindowsDoes)
{
    for (const char* message : {"a\nb", "a\rb", "a\r\nb", "a%nb"})
        EXPECT_EQ(Expanded(message), "a<0D><0A>b");
    EXPECT_EQ(Expanded("a\n\nb\r\n"), "a<0D><0A><0D><0A>b<0D><0A>");
}

TEST(FormatMessage, RefusesPlacesThatAreNotWellFormed)
{
    for (const char* message : {"%", "a%", "%1%", "%1!", "%1!s"})
        EXPECT_EQ(Expanded(message), "(error) 87") << message;
}

TEST(FormatMessage, FailsWhenTheTextDoesNotFit)
{
    EXPECT_EQ(Expanded("code %1", 11), "code 10002");
    EXPECT_EQ(Expanded("code %1", 10), "(error) 122");
    EXPECT_EQ(Expanded("code %1", 1), "(error) 122");
}

// ---- Texts of a library ----

TEST(LoadString, FindsNothingInAProgramWithoutTexts)
{
    char text[16] = "untouched";
    EXPECT_EQ(LoadStringA(nullptr, 5058, text, sizeof text), 0);
    EXPECT_STREQ(text, "");
}

// The resource libraries lie beside the program.
class ResourceLibrary : public testing::Test
{
protected:
    ResourceLibrary() : m_library(LoadLibraryA("Internationalization_en.dll")) {}
    ~ResourceLibrary() override { FreeLibrary(m_library); }

    std::string Load(UINT id, int size, int* length = nullptr)
    {
        char text[512] = "untouched";
        const int loaded = LoadStringA(m_library, id, text, size);
        if (length != nullptr)
            *length = loaded;
        return text;
    }

private:
    HMODULE m_library;
};

TEST_F(ResourceLibrary, HoldsItsTexts)
{
    int length = 0;
    const std::string text = Load(5058, 512, &length);
    EXPECT_EQ(text.substr(0, 37), "The installation failed with code %1.");
    EXPECT_EQ(static_cast<std::size_t>(length), text.size());
    EXPECT_EQ(Load(5055, 512).substr(0, 46), "The registry key for the settings of the crypt");
}

TEST_F(ResourceLibrary, ATextIsCutToTheBuffer)
{
    int length = 0;
    EXPECT_EQ(Load(5058, 5, &length), "The ");
    EXPECT_EQ(length, 4);
    EXPECT_EQ(Load(5058, 1, &length), "");
    EXPECT_EQ(length, 0);
}

TEST_F(ResourceLibrary, ATextThatIsNotThereIsEmpty)
{
    int length = 1;
    for (const UINT id : {5013u, 5030u, 5059u, 1u, 70000u})
    {
        EXPECT_EQ(Load(id, 512, &length), "") << id;
        EXPECT_EQ(length, 0) << id;
    }
}

// ---- Flags, and other kinds of inserts ----

// A message with some flags and an array of inserts, in which the call may use more than one kind.
std::string Formatted(DWORD flags, const char* message, const DWORD_PTR* inserts)
{
    char text[128] = "untouched";
    SetLastError(0);
    const DWORD length = FormatMessageA(flags | FORMAT_MESSAGE_FROM_STRING, message, 0, 0, text, sizeof text,
                                        reinterpret_cast<va_list*>(const_cast<DWORD_PTR*>(inserts)));
    return length == 0 ? "(error) " + std::to_string(GetLastError()) : Shown(std::string(text, length));
}

TEST(FormatMessage, NeedsNoInsertsForATextWithoutThem)
{
    constexpr DWORD kArray = FORMAT_MESSAGE_ARGUMENT_ARRAY;
    EXPECT_EQ(Formatted(kArray, "100%% of it%nis here", nullptr), "100% of it<0D><0A>is here");
    EXPECT_EQ(Formatted(0, "no place", nullptr), "no place");
    EXPECT_EQ(Formatted(kArray, "code %1", nullptr), "(error) 87");
    EXPECT_EQ(Formatted(0, "code %1", nullptr), "(error) 87");
}

TEST(FormatMessage, PassesInsertsOnWhenToldTo)
{
    constexpr DWORD kIgnored = FORMAT_MESSAGE_IGNORE_INSERTS;
    EXPECT_EQ(Formatted(kIgnored, "a %1 b %12!-10s! c", nullptr), "a %1 b %12!-10s! c");
    EXPECT_EQ(Formatted(kIgnored, "a\nb%0c", nullptr), "a<0D><0A>b");
}

TEST(FormatMessage, BreaksNoLinesWhenTheyHaveNoLimit)
{
    constexpr DWORD kEndless = FORMAT_MESSAGE_MAX_WIDTH_MASK;
    EXPECT_EQ(Formatted(kEndless, "one\r\ntwo\nthree%nfour", nullptr), "one two three<0D><0A>four");
}

TEST(FormatMessage, FormatsNumbersAndCharacters)
{
    const DWORD_PTR inserts[] = {static_cast<DWORD_PTR>(-5), 0xABC, 'x', reinterpret_cast<DWORD_PTR>(L"wide"),
                                 0x123456789};
    constexpr std::pair<const char*, const char*> kCases[] = {
        {"%1!d!|%1!i!|%1!6d!|%1!-6d!|", "-5|-5|    -5|-5    |"},
        {"%2!u!|%2!x!|%2!X!|%2!08x!|%2!o!", "2748|abc|ABC|00000abc|5274"},
        {"%3!c!", "x"},
        {"%4!S!|%4!ls!|%4!ws!", "wide|wide|wide"},
        {"%5!I64x!", "123456789"},
        {"%2!#x!", "0xabc"},
        {"%1!ld!", "-5"},
    };
    for (const auto& [message, shown] : kCases)
        EXPECT_EQ(Formatted(FORMAT_MESSAGE_ARGUMENT_ARRAY, message, inserts), shown) << message;
}

std::string FormattedByArguments(const char* message, ...)
{
    va_list arguments;
    va_start(arguments, message);
    char text[128] = {};
    FormatMessageA(FORMAT_MESSAGE_FROM_STRING, message, 0, 0, text, sizeof text, &arguments);
    va_end(arguments);
    return text;
}

TEST(FormatMessage, TakesArgumentsInAnyOrder)
{
    EXPECT_EQ(FormattedByArguments("%2 %1!d! %2", 7, "seven"), "seven 7 seven");
}

TEST(FormatMessage, HasAWideForm)
{
    const DWORD_PTR inserts[] = {reinterpret_cast<DWORD_PTR>(L"\x20AC"), reinterpret_cast<DWORD_PTR>("narrow")};
    wchar_t text[32] = {};
    const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY, L"%1|%2!S!|%2!hs!",
                                        0, 0, text, 32, reinterpret_cast<va_list*>(const_cast<DWORD_PTR*>(inserts)));
    EXPECT_EQ(length, 15u);
    EXPECT_EQ(Shown(text), "<20AC>|narrow|narrow");
    wchar_t* allocated = nullptr;
    EXPECT_EQ(FormatMessageW(FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ALLOCATE_BUFFER, L"text", 0, 0,
                             reinterpret_cast<wchar_t*>(&allocated), 0, nullptr),
              4u);
    EXPECT_EQ(Shown(allocated), "text");
    EXPECT_TRUE(LocalFree(allocated) == nullptr);
}

TEST(FormatMessage, NeedsASourceAndABuffer)
{
    char text[16] = "untouched";
    SetLastError(0);
    EXPECT_EQ(FormatMessageA(0, "text", 0, 0, text, sizeof text, nullptr), 0u);
    EXPECT_EQ(GetLastError(), 87u);
    EXPECT_STREQ(text, "untouched");
    EXPECT_EQ(FormatMessageA(FORMAT_MESSAGE_FROM_STRING, "text", 0, 0, nullptr, 0, nullptr), 0u);
    EXPECT_EQ(GetLastError(), 122u);
    EXPECT_EQ(
        FormatMessageA(FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ALLOCATE_BUFFER, "text", 0, 0, nullptr, 0, nullptr),
        0u);
    EXPECT_EQ(GetLastError(), 8u);
}

} // namespace
