// Converts text between UTF-16 and the ANSI code pages as Windows does.
#include "winsim/base/best_fits.h"
#include "winsim/base/text.h"
#include "winsim/base/utf8.h"

#include <iconv.h>
#include <map>
#include <memory>
#include <stdexcept>

namespace winsim
{

namespace
{

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

bool IsForPrivateUse(char16_t unit)
{
    return unit >= 0xE000 && unit <= 0xF8FF;
}

bool IsOfDoubleBytes(unsigned number)
{
    return number == 932 || number == 936 || number == 949 || number == 950;
}

} // namespace

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
    if (IsOfDoubleBytes(number))
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
    if (HasDoubleBytes())
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

template <typename DecodeOne>
void CodePage::FillDoubleBytes(DecodeOne decode)
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

std::u16string CodePage::ToUtf16(std::string_view bytes, bool* hasInvalid) const
{
    bool isInvalid = false;
    std::u16string out = m_isUtf8 ? DecodeAllUtf8(bytes, Surrogates::Replaced) : Decode(bytes, isInvalid);
    if (m_isUtf8)
        isInvalid = EncodeAllUtf8(out, Surrogates::Replaced) != bytes;
    if (hasInvalid != nullptr)
        *hasInvalid = isInvalid;
    return out;
}

std::u16string CodePage::Decode(std::string_view bytes, bool& isInvalid) const
{
    std::u16string out = AsciiStart(bytes);
    out.reserve(bytes.size());
    for (std::size_t i = out.size(); i < bytes.size(); ++i)
    {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        if (!m_isLeadByte[byte])
        {
            out += m_single[byte];
            isInvalid = isInvalid || IsForPrivateUse(m_single[byte]);
            continue;
        }
        // A terminator is never the second byte of a character.
        const bool hasTrail = i + 1 < bytes.size() && bytes[i + 1] != '\0';
        const unsigned char trail = hasTrail ? static_cast<unsigned char>(bytes[++i]) : 0;
        const char16_t unit = m_double[static_cast<std::size_t>(byte << 8 | trail)];
        out += unit != 0 ? unit : m_default;
        isInvalid = isInvalid || unit == 0;
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

bool IsCodePage(unsigned number)
{
    try
    {
        CodePage::Get(number);
        return true;
    }
    catch (const std::invalid_argument&)
    {
        return false;
    }
}

} // namespace winsim
