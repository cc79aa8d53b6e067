// Functions of Windows' C runtime that only format or compare text.
#include "winsim/base/text.h"
#include "winsim/process/simulation.h"

#include "mbstring.h"
#include "msvcrt.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <string>
#include <string_view>

namespace
{

// One placeholder of a format: "%", flags, width, precision, length and conversion letter.
struct Placeholder
{
    std::string text; // without length and conversion; a width or precision of "*" is filled in
    std::string length;
    char conversion = '\0';
};

Placeholder ReadPlaceholder(const char*& format, va_list& arguments)
{
    Placeholder placeholder;
    placeholder.text = "%";
    for (; *format != '\0' && std::strchr("-+ #0123456789.*", *format) != nullptr; ++format)
    {
        if (*format == '*')
            placeholder.text += std::to_string(va_arg(arguments, int));
        else
            placeholder.text += *format;
    }
    while (*format != '\0' && std::strchr("hlLwI64", *format) != nullptr)
        placeholder.length += *format++;
    placeholder.conversion = *format;
    if (*format != '\0')
        ++format;
    return placeholder;
}

template <typename Value>
std::string FormatOne(const std::string& format, Value value)
{
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    const int size = std::snprintf(nullptr, 0, format.c_str(), value);
    std::string text(static_cast<std::size_t>(size) + 1, '\0');
    std::snprintf(text.data(), text.size(), format.c_str(), value);
#pragma GCC diagnostic pop
    text.pop_back();
    return text;
}

struct Formatted
{
    std::string text;
    bool isWhole = true; // false: the text ends before a character that cannot be written
};

// Formats UTF-16 text in the "C" locale, in which a program starts and which has only the first 256 characters.
// `placeholder` has no conversion letter: "%-8.3".
Formatted FormatInCLocale(const std::string& placeholder, std::u16string_view wide)
{
    // Every unit takes one column, even if it cannot be written.
    std::string text = FormatOne(placeholder + "s", std::string(wide.size(), 'x').c_str());
    const std::size_t begin = std::min(text.find('x'), text.size());
    const std::size_t length = static_cast<std::size_t>(std::count(text.begin(), text.end(), 'x'));
    for (std::size_t i = 0; i < length; ++i)
    {
        if (wide[i] > 0xFF)
            return {text.substr(0, begin + i), false};
        text[begin + i] = static_cast<char>(wide[i]);
    }
    return {text, true};
}

// Formats by the rules of Windows' runtime, where %S in a narrow format means UTF-16 text.
Formatted Format(const char* format, va_list arguments)
{
    va_list left;
    va_copy(left, arguments);
    Formatted formatted;
    std::string& text = formatted.text;
    while (*format != '\0' && formatted.isWhole)
    {
        if (*format != '%')
        {
            text += *format++;
            continue;
        }
        ++format;
        const Placeholder placeholder = ReadPlaceholder(format, left);
        const std::string plain = placeholder.text + placeholder.conversion;
        const bool isLong = placeholder.length == "ll" || placeholder.length == "I64";
        switch (placeholder.conversion)
        {
        case '%':
            text += '%';
            break;
        case 's':
            if (placeholder.length != "l" && placeholder.length != "w")
            {
                const char* narrow = va_arg(left, const char*);
                text += FormatOne(plain, narrow != nullptr ? narrow : "(null)");
                break;
            }
            [[fallthrough]];
        case 'S': {
            const char16_t* wide = va_arg(left, const char16_t*);
            const Formatted narrow = FormatInCLocale(placeholder.text, wide != nullptr ? wide : u"(null)");
            text += narrow.text;
            formatted.isWhole = narrow.isWhole;
            break;
        }
        case 'd':
        case 'i':
        case 'u':
        case 'x':
        case 'X':
        case 'o':
        case 'c':
            if (isLong)
                text += FormatOne(placeholder.text + "ll" + placeholder.conversion, va_arg(left, long long));
            else
                text += FormatOne(plain, va_arg(left, int));
            break;
        default:
            formatted.isWhole = false;
            break;
        }
    }
    va_end(left);
    return formatted;
}

// For each character, whether it is one of `characters`.
constexpr std::array<bool, 256> Members(std::string_view characters)
{
    std::array<bool, 256> members{};
    for (const char c : characters)
        members[static_cast<unsigned char>(c)] = true;
    return members;
}

constexpr std::string_view kCommonFlagsAndWidths = "-+ #0123456789*";
constexpr std::string_view kCommonConversions = "%diuxXocs";

// Whether a format means the same in the host's runtime as in Windows': no UTF-16 text, no length, no precision. The
// formats of log lines usually do, and the host's runtime is faster.
bool IsCommonFormat(const char* format)
{
    static constexpr auto kIsFlagOrWidth = Members(kCommonFlagsAndWidths);
    static constexpr auto kIsConversion = Members(kCommonConversions);
    for (; *format != '\0'; ++format)
    {
        if (*format != '%')
            continue;
        ++format;
        while (kIsFlagOrWidth[static_cast<unsigned char>(*format)])
            ++format;
        if (!kIsConversion[static_cast<unsigned char>(*format)])
            return false;
    }
    return true;
}

char16_t LowerAscii(char16_t c)
{
    return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + 0x20) : c;
}

template <typename Unit>
int CompareIgnoringAsciiCase(const Unit* left, const Unit* right)
{
    using Unsigned = std::make_unsigned_t<std::conditional_t<std::is_same_v<Unit, char>, char, std::uint16_t>>;
    for (;; ++left, ++right)
    {
        const int difference = static_cast<int>(LowerAscii(static_cast<Unsigned>(*left))) -
                               static_cast<int>(LowerAscii(static_cast<Unsigned>(*right)));
        if (difference != 0 || *left == Unit{})
            return difference;
    }
}

} // namespace

int _vsnprintf(char* buffer, std::size_t count, const char* format, va_list arguments)
{
    if (buffer == nullptr || format == nullptr)
        return -1;
    if (IsCommonFormat(format))
    {
        va_list again;
        va_copy(again, arguments);
        const int whole = std::vsnprintf(buffer, count, format, again);
        va_end(again);
        if (whole >= 0 && static_cast<std::size_t>(whole) < count)
            return whole;
    }
    const Formatted formatted = Format(format, arguments);
    const std::size_t length = std::min(formatted.text.size(), count);
    std::memcpy(buffer, formatted.text.data(), length);
    // Text that fills the buffer has no terminator.
    if (length < count)
        buffer[length] = '\0';
    return formatted.isWhole && length == formatted.text.size() ? static_cast<int>(length) : -1;
}

int _stricmp(const char* left, const char* right)
{
    return CompareIgnoringAsciiCase(left, right);
}

int _wcsicmp(const WCHAR* left, const WCHAR* right)
{
    return CompareIgnoringAsciiCase(left, right);
}

int _wcsnicmp(const WCHAR* left, const WCHAR* right, std::size_t count)
{
    const auto first = [&](const WCHAR* text) { return std::u16string(text, std::find(text, text + count, u'\0')); };
    return CompareIgnoringAsciiCase(first(left).c_str(), first(right).c_str());
}

// Compares in the ANSI code page, without regard to case. In a page without characters of two bytes, the runtime leaves
// this to _stricmp, which knows the letters of ASCII only.
int _mbsicmp(const unsigned char* left, const unsigned char* right)
{
    if (!winsim::CodePage::Get(winsim::Simulation::Current().machine.windows.codePage).HasDoubleBytes())
        return CompareIgnoringAsciiCase(reinterpret_cast<const char*>(left), reinterpret_cast<const char*>(right));
    const auto fold = [](const unsigned char* text) {
        return winsim::FoldCase(winsim::Simulation::Current().FromAnsi(reinterpret_cast<const char*>(text)));
    };
    return fold(left).compare(fold(right));
}
