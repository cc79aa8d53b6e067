// Converts text the way Windows does.
#include "winsim/base/text.h"

#include "winsim/base/utf8.h"

#include <algorithm>
#include <type_traits>
#include <utility>

namespace winsim
{

namespace
{

bool IsHighSurrogate(char32_t c)
{
    return c >= 0xD800 && c < 0xDC00;
}

bool IsLowSurrogate(char32_t c)
{
    return c >= 0xDC00 && c < 0xE000;
}

void AppendUtf8(std::string& out, char32_t c)
{
    if (c < 0x80)
        out += static_cast<char>(c);
    else if (c < 0x800)
    {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
    else if (c < 0x10000)
    {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
    else
    {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

// Whether two bytes begin an invalid sequence: an overlong one, one beyond U+10FFFF or, if surrogates are replaced, a
// surrogate.
bool BeginsNothing(unsigned char first, unsigned char second, Surrogates surrogates)
{
    return (first == 0xE0 && second < 0xA0) || (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F) ||
           (first == 0xED && second > 0x9F && surrogates == Surrogates::Replaced);
}

// The code point at the start of a text, and its length in bytes. Invalid UTF-8 gives U+FFFD for as many bytes as
// Windows replaces with one.
std::pair<char32_t, std::size_t> DecodeUtf8(std::string_view text, Surrogates surrogates)
{
    constexpr char32_t kReplacement = 0xFFFD;
    const auto first = static_cast<unsigned char>(text[0]);
    const auto length = SequenceLength(first);
    if (length == 0)
        return {kReplacement, 1};
    if (length == 1)
        return {first, 1};
    char32_t c = first & (0x7F >> length);
    for (std::size_t i = 1; i < length; ++i)
    {
        const auto next = i < text.size() ? static_cast<unsigned char>(text[i]) : 0;
        if ((next & 0xC0) != 0x80)
            return {kReplacement, i};
        if (i == 1 && BeginsNothing(first, static_cast<unsigned char>(next), surrogates))
            return {kReplacement, 2};
        c = (c << 6) | (next & 0x3F);
    }
    return {c, length};
}

// How many units at the start of a text are ASCII. Most texts are nothing else, and these units are the same in each
// encoding.
template <typename Unit>
std::size_t AsciiLength(std::basic_string_view<Unit> text)
{
    const auto isOther = [](Unit unit) { return static_cast<std::make_unsigned_t<Unit>>(unit) >= 0x80; };
    return static_cast<std::size_t>(std::find_if(text.begin(), text.end(), isOther) - text.begin());
}

bool IsAscii(std::string_view utf8)
{
    return AsciiLength(utf8) == utf8.size();
}

constexpr char FoldAscii(char c)
{
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 0x20) : c;
}

} // namespace

std::size_t SequenceLength(unsigned char first)
{
    if (first < 0x80)
        return 1;
    if (first >= 0xC2 && first < 0xE0)
        return 2;
    if (first >= 0xE0 && first < 0xF0)
        return 3;
    if (first >= 0xF0 && first < 0xF5)
        return 4;
    return 0;
}

std::u16string AsciiStart(std::string_view text)
{
    return {text.begin(), text.begin() + static_cast<std::ptrdiff_t>(AsciiLength(text))};
}

std::u16string DecodeAllUtf8(std::string_view text, Surrogates surrogates)
{
    std::u16string out = AsciiStart(text);
    text.remove_prefix(out.size());
    out.reserve(out.size() + text.size());
    while (!text.empty())
    {
        const auto [c, length] = DecodeUtf8(text, surrogates);
        text.remove_prefix(length);
        if (c < 0x10000)
            out += static_cast<char16_t>(c);
        else
        {
            out += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
            out += static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
        }
    }
    return out;
}

std::string EncodeAllUtf8(std::u16string_view text, Surrogates surrogates)
{
    std::string out(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(AsciiLength(text)));
    out.reserve(text.size());
    for (std::size_t i = out.size(); i < text.size(); ++i)
    {
        char32_t c = text[i];
        if (IsHighSurrogate(c) && i + 1 < text.size() && IsLowSurrogate(text[i + 1]))
            c = 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00u);
        else if (surrogates == Surrogates::Replaced && (IsHighSurrogate(c) || IsLowSurrogate(c)))
            c = 0xFFFD;
        AppendUtf8(out, c);
    }
    return out;
}

std::string Utf8(std::u16string_view text)
{
    return EncodeAllUtf8(text, Surrogates::Kept);
}

std::u16string Utf16(std::string_view text)
{
    return DecodeAllUtf8(text, Surrogates::Kept);
}

bool IsWellFormed(std::u16string_view text)
{
    return DecodeAllUtf8(EncodeAllUtf8(text, Surrogates::Replaced), Surrogates::Replaced) == text;
}

std::string FoldCase(std::string_view utf8)
{
    if (IsAscii(utf8))
    {
        std::string folded(utf8);
        for (char& c : folded)
            c = FoldAscii(c);
        return folded;
    }
    std::u16string units = Utf16(utf8);
    for (char16_t& unit : units)
        unit = FoldCase(unit);
    return Utf8(units);
}

bool SameName(std::string_view left, std::string_view right)
{
    // Names are compared often, and most of them are ASCII.
    if (IsAscii(left) && IsAscii(right))
        return std::ranges::equal(left, right, [](char a, char b) { return FoldAscii(a) == FoldAscii(b); });
    return FoldCase(left) == FoldCase(right);
}

} // namespace winsim
