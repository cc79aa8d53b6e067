// Converts and compares text on the simulated machine. The machine holds UTF-8; the calls take ANSI and UTF-16.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace winsim
{

// UTF-16 to UTF-8. A lone surrogate becomes the three bytes of its code point, so that nothing is lost.
std::string Utf8(std::u16string_view text);

// UTF-8 (with lone surrogates as Utf8 writes them) to UTF-16. Invalid bytes become U+FFFD.
std::u16string Utf16(std::string_view text);

// Whether each surrogate has its other half. Only then does the text have a UTF-8 form that others can read.
bool IsWellFormed(std::u16string_view text);

// Whether this is the number of an ANSI code page that the host can convert.
bool IsCodePage(unsigned number);

struct PageRules;

// Windows' conversions between an ANSI code page and UTF-16.
class CodePage
{
public:
    // The code page with this number, such as 1252 or 932. Throws std::invalid_argument if the host's iconv does not
    // know it.
    static const CodePage& Get(unsigned number);

    // A byte without a character becomes what Windows makes of it: a C1 control, a character for private use, or the
    // page's default character. Such a byte sets *hasInvalid (if given), except for a control.
    std::u16string ToUtf16(std::string_view bytes, bool* hasInvalid = nullptr) const;

    // A character that the page lacks becomes its best fit (in single-byte pages) or else `defaultCharacter`, which
    // sets *usedDefault (if given). A surrogate pair counts as two such characters. UTF-8 lacks only lone surrogates:
    // they become U+FFFD.
    std::string FromUtf16(std::u16string_view text, bool* usedDefault = nullptr,
                          std::string_view defaultCharacter = "?") const;

    // Whether a byte begins a character of two bytes.
    bool IsLeadByte(unsigned char byte) const;
    bool HasDoubleBytes() const { return !m_double.empty(); }

private:
    explicit CodePage(unsigned number);
    void Fill(unsigned number);
    void Apply(const PageRules& rules);
    void SetSingle(unsigned byte, char16_t unit);
    void SetFit(char16_t unit, char16_t fit);
    template <typename DecodeOne>
    void FillDoubleBytes(DecodeOne decode);
    std::u16string Decode(std::string_view bytes, bool& isInvalid) const;

    bool m_isUtf8 = false;
    char16_t m_default = u'?'; // for a second byte that completes no character
    bool m_isLeadByte[256] = {};
    char16_t m_single[256] = {};
    std::u16string m_double; // 256 characters for each lead byte
    std::basic_string<std::uint16_t>
        m_bytes; // for each UTF-16 unit: the byte, or lead byte << 8 | trail byte; 0 for none
};

// The form in which Windows compares names, without regard to case: each UTF-16 unit becomes its simple upper case.
std::string FoldCase(std::string_view utf8);
char16_t FoldCase(char16_t unit); // by the host's tables

// Whether two names are the same to Windows.
bool SameName(std::string_view left, std::string_view right);

// Orders names in containers, which then find a name in any case.
struct NameOrder
{
    bool operator()(std::string_view left, std::string_view right) const { return FoldCase(left) < FoldCase(right); }
};

} // namespace winsim
