// Converts text the way Windows does.
#include "winsim/base/text.h"

#include "winsim/base/best_fits.h"

#include <algorithm>
#include <cwctype>
#include <iconv.h>
#include <locale.h>
#include <map>
#include <memory>
#include <stdexcept>
#include <vector>

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

// The length of a UTF-8 sequence with this first byte; 0 if no sequence begins with it.
int SequenceLength(unsigned char first)
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

enum class Surrogates
{
    Kept,
    Replaced
};

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
    const auto length = static_cast<std::size_t>(SequenceLength(first));
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

std::u16string DecodeAllUtf8(std::string_view text, Surrogates surrogates)
{
    std::u16string out;
    out.reserve(text.size());
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
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i)
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

// Converts single characters of a code page to UTF-16 with iconv.
class Decoder
{
public:
    explicit Decoder(unsigned number) : m_iconv(iconv_open("UTF-16LE", ("CP" + std::to_string(number)).c_str()))
    {
        if (m_iconv == reinterpret_cast<iconv_t>(-1))
            throw std::invalid_argument("code page " + std::to_string(number) + " is not known");
    }
    ~Decoder() { iconv_close(m_iconv); }
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;

    // The UTF-16 unit that the bytes stand for; 0 unless it is exactly one.
    char16_t operator()(std::string bytes)
    {
        char16_t units[4] = {};
        char* in = bytes.data();
        std::size_t inLeft = bytes.size();
        char* out = reinterpret_cast<char*>(units);
        std::size_t outLeft = sizeof units;
        iconv(m_iconv, nullptr, nullptr, nullptr, nullptr);
        if (iconv(m_iconv, &in, &inLeft, &out, &outLeft) == static_cast<std::size_t>(-1) || inLeft != 0)
            return 0;
        iconv(m_iconv, nullptr, nullptr, &out, &outLeft);
        return sizeof units - outLeft == 2 ? units[0] : u'\0';
    }

private:
    iconv_t m_iconv;
};

bool HasDoubleBytes(unsigned number)
{
    return number == 932 || number == 936 || number == 949 || number == 950;
}

bool IsAscii(std::string_view utf8)
{
    return std::ranges::all_of(utf8, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

char FoldAscii(char c)
{
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 0x20) : c;
}

} // namespace

std::string Utf8(std::u16string_view text)
{
    return EncodeAllUtf8(text, Surrogates::Kept);
}

std::u16string Utf16(std::string_view text)
{
    return DecodeAllUtf8(text, Surrogates::Kept);
}

const CodePage& CodePage::Get(unsigned number)
{
    static std::map<unsigned, std::unique_ptr<const CodePage>> pages;
    auto& page = pages[number];
    if (!page)
        page.reset(new CodePage(number));
    return *page;
}

CodePage::CodePage(unsigned number)
{
    if (number == 65001)
        m_isUtf8 = true;
    else
        Fill(number);
}

void CodePage::Fill(unsigned number)
{
    Decoder decode{number};
    m_bytes.assign(0x10000, 0);
    for (unsigned byte = 0; byte < 256; ++byte)
        SetSingle(byte, byte < 0x80 ? static_cast<char16_t>(byte) : decode(std::string(1, static_cast<char>(byte))));
    if (HasDoubleBytes(number))
        FillDoubleBytes([&](unsigned char lead, unsigned char trail) {
            return decode({static_cast<char>(lead), static_cast<char>(trail)});
        });
    m_default = number == 932 ? u'\u30FB' : u'?';
    for (const PageRules& rules : AllPageRules())
    {
        if (rules.codePage == number)
            Apply(rules);
    }
    // A byte that still has no character becomes the control character of the same number.
    for (unsigned byte = 0x80; byte < 256; ++byte)
    {
        if (m_single[byte] == 0 && !m_isLeadByte[byte])
            SetSingle(byte, static_cast<char16_t>(byte));
    }
    if (HasDoubleBytes(number))
        return;
    for (char16_t ascii = u'!'; ascii <= u'~'; ++ascii)
    {
        // Windows takes a best fit of "?" for the default character.
        if (ascii != u'?')
            SetFit(static_cast<char16_t>(ascii - u'!' + 0xFF01), ascii);
    }
}

void CodePage::Apply(const PageRules& rules)
{
    for (std::size_t i = 0; i < rules.bytes.size(); i += 2)
        SetSingle(rules.bytes[i], rules.bytes[i + 1]);
    for (std::size_t i = 0; i < rules.fits.size(); i += 2)
        SetFit(rules.fits[i], rules.fits[i + 1]);
}

void CodePage::SetSingle(unsigned byte, char16_t unit)
{
    m_single[byte] = unit;
    if (unit != 0)
        m_bytes[unit] = static_cast<std::uint16_t>(byte);
}

void CodePage::SetFit(char16_t unit, char16_t fit)
{
    if (m_bytes[unit] == 0)
        m_bytes[unit] = m_bytes[fit];
}

template <typename Decode>
void CodePage::FillDoubleBytes(Decode decode)
{
    m_double.assign(0x10000, u'\0');
    for (unsigned lead = 0x81; lead < 0xFF; ++lead)
    {
        if (m_single[lead] != 0)
            continue;
        for (unsigned trail = 0x40; trail < 0xFF; ++trail)
        {
            const char16_t unit = decode(static_cast<unsigned char>(lead), static_cast<unsigned char>(trail));
            if (unit == 0)
                continue;
            const auto code = static_cast<std::uint16_t>(lead << 8 | trail);
            m_isLeadByte[lead] = true;
            m_double[code] = unit;
            if (m_bytes[unit] == 0)
                m_bytes[unit] = code;
        }
    }
}

bool CodePage::IsLeadByte(unsigned char byte) const
{
    return m_isLeadByte[byte];
}

std::u16string CodePage::ToUtf16(std::string_view bytes) const
{
    if (m_isUtf8)
        return DecodeAllUtf8(bytes, Surrogates::Replaced);
    std::u16string out;
    out.reserve(bytes.size());
    for (std::size_t i = 0; i < bytes.size(); ++i)
    {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        if (!m_isLeadByte[byte])
        {
            out += m_single[byte];
            continue;
        }
        // A terminator is never the second byte of a character.
        const bool hasTrail = i + 1 < bytes.size() && bytes[i + 1] != '\0';
        const unsigned char trail = hasTrail ? static_cast<unsigned char>(bytes[++i]) : 0;
        const char16_t unit = m_double[static_cast<std::size_t>(byte << 8 | trail)];
        out += unit != 0 ? unit : m_default;
    }
    return out;
}

std::string CodePage::FromUtf16(std::u16string_view text, bool* usedDefault, std::string_view defaultCharacter) const
{
    if (m_isUtf8)
        return EncodeAllUtf8(text, Surrogates::Replaced);
    std::string out;
    out.reserve(text.size());
    for (const char16_t unit : text)
    {
        const std::uint16_t code = m_bytes[unit];
        if (code == 0 && unit != 0)
        {
            out += defaultCharacter;
            if (usedDefault != nullptr)
                *usedDefault = true;
            continue;
        }
        if (code > 0xFF)
            out += static_cast<char>(code >> 8);
        out += static_cast<char>(code & 0xFF);
    }
    return out;
}

char16_t FoldCase(char16_t unit)
{
    if (unit < 0x80)
        return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - 0x20) : unit;
    static const locale_t unicode = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    const auto upper = static_cast<char32_t>(towupper_l(unit, unicode));
    // A letter whose upper case belongs to another letter, such as the dotless i, is not folded.
    const bool leadsBack = static_cast<char32_t>(towlower_l(static_cast<wint_t>(upper), unicode)) == unit;
    return upper < 0x10000 && leadsBack ? static_cast<char16_t>(upper) : unit;
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
        return std::ranges::equal(left, right, {}, &FoldAscii, &FoldAscii);
    return FoldCase(left) == FoldCase(right);
}

} // namespace winsim
