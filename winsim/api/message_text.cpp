// FormatMessage: message texts with inserts.
#include "winsim/api/local_memory.h"
#include "winsim/base/text.h"
#include "winsim/process/gate.h"
#include "winsim/process/simulation.h"

#include "winbase.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

using winsim::Call;
using winsim::Simulation;

namespace
{

// The values of the inserts, numbered from 1.
class Inserts
{
public:
    explicit Inserts(va_list* array) : m_values(reinterpret_cast<const DWORD_PTR*>(array)) {}

    DWORD_PTR Value(std::size_t number) const { return m_values[number - 1]; }
    std::u16string Text(std::size_t number) const
    {
        const auto* ansi = reinterpret_cast<const char*>(Value(number));
        return ansi == nullptr ? u"(null)" : winsim::Utf16(Simulation::Current().FromAnsi(ansi));
    }

private:
    const DWORD_PTR* m_values;
};

// The field of an insert: width, "-" for left alignment, and precision after a period.
struct Field
{
    bool isLeft = false;
    bool isZeroed = false;
    std::size_t width = 0;
    std::size_t precision = std::u16string::npos;

    std::u16string Fill(std::u16string text) const
    {
        if (text.size() >= width)
            return text;
        const std::u16string filler(width - text.size(), isZeroed && !isLeft ? u'0' : u' ');
        return isLeft ? text + filler : filler + text;
    }
};

std::size_t TakeNumber(std::u16string_view& text)
{
    std::size_t number = 0;
    for (; !text.empty() && text.front() >= u'0' && text.front() <= u'9'; text.remove_prefix(1))
        number = number * 10 + static_cast<std::size_t>(text.front() - u'0');
    return number;
}

bool TakeOne(std::u16string_view& text, char16_t c)
{
    if (!text.starts_with(c))
        return false;
    text.remove_prefix(1);
    return true;
}

// Formats an insert. `format` is the text between the exclamation marks, such as "s", "-10s", "d" or "08X".
std::u16string FormatInsert(std::u16string_view format, const Inserts& inserts, std::size_t number)
{
    Field field;
    field.isLeft = TakeOne(format, u'-');
    field.isZeroed = TakeOne(format, u'0');
    field.width = TakeNumber(format);
    if (TakeOne(format, u'.'))
        field.precision = TakeNumber(format);
    const auto narrow = [&](const char* pattern, auto value) {
        return field.Fill(winsim::Utf16(fmt::format(fmt::runtime(pattern), value)));
    };
    if (format == u"d" || format == u"i")
        return narrow("{}", static_cast<std::int32_t>(inserts.Value(number)));
    if (format == u"u")
        return narrow("{}", static_cast<std::uint32_t>(inserts.Value(number)));
    if (format == u"x")
        return narrow("{:x}", static_cast<std::uint32_t>(inserts.Value(number)));
    if (format == u"X")
        return narrow("{:X}", static_cast<std::uint32_t>(inserts.Value(number)));
    if (format == u"s")
        return field.Fill(inserts.Text(number).substr(0, field.precision));
    return std::u16string(format);
}

constexpr std::u16string_view kLineBreak = u"\r\n";

// Removes an insert such as "1" or "12!-10s!" from the message and returns its text; none if its format does not end.
std::optional<std::u16string> TakeInsert(std::u16string_view& message, const Inserts& inserts)
{
    std::u16string_view digits = message.substr(0, 2);
    const std::size_t length = digits.size();
    const std::size_t number = TakeNumber(digits);
    message.remove_prefix(length - digits.size());
    if (!TakeOne(message, u'!'))
        return inserts.Text(number);
    const std::size_t end = message.find(u'!');
    if (end == std::u16string_view::npos)
        return std::nullopt;
    const std::u16string_view format = message.substr(0, end);
    message.remove_prefix(end + 1);
    return FormatInsert(format, inserts, number);
}

// The text of an escape sequence: a percent sign and this letter.
std::u16string Escaped(char16_t letter)
{
    switch (letter)
    {
    case u'n':
        return std::u16string(kLineBreak);
    case u'r':
        return u"\r";
    case u't':
        return u"\t";
    default:
        return {letter};
    }
}

// The text of a message; none if an insert is malformed.
std::optional<std::u16string> Expand(std::u16string_view message, const Inserts& inserts)
{
    std::u16string text;
    while (!message.empty())
    {
        const char16_t c = message.front();
        message.remove_prefix(1);
        if (c == u'\r' || c == u'\n')
        {
            // Every kind of line break in the message becomes Windows' line break.
            if (c == u'\r')
                TakeOne(message, u'\n');
            text += kLineBreak;
            continue;
        }
        if (c != u'%')
        {
            text += c;
            continue;
        }
        if (message.empty())
            return std::nullopt;
        const char16_t letter = message.front();
        if (letter == u'0')
            return text;
        if (letter >= u'1' && letter <= u'9')
        {
            const auto insert = TakeInsert(message, inserts);
            if (!insert)
                return std::nullopt;
            text += *insert;
            continue;
        }
        text += Escaped(letter);
        message.remove_prefix(1);
    }
    return text;
}

} // namespace

DWORD WINAPI FormatMessageA(DWORD dwFlags, LPCVOID lpSource, DWORD dwMessageId, DWORD dwLanguageId, LPSTR lpBuffer,
                            DWORD nSize, va_list* Arguments)
{
    Call call{"FormatMessageA"};
    const auto* message = static_cast<const char*>(lpSource);
    call.In("dwFlags", dwFlags).In("lpSource", message).In("dwMessageId", dwMessageId);
    call.In("dwLanguageId", dwLanguageId).In("nSize", nSize);
    return call.ResultOf(DWORD{0}, [&] {
        // Only messages from a string, with an array of inserts, are supported; the buffer may be the caller's or
        // allocated.
        const bool isAllocating = (dwFlags & FORMAT_MESSAGE_ALLOCATE_BUFFER) != 0;
        if ((dwFlags & ~FORMAT_MESSAGE_ALLOCATE_BUFFER) !=
                (FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY) ||
            message == nullptr || Arguments == nullptr || lpBuffer == nullptr)
            return call.Fail(DWORD{0}, ERROR_INVALID_PARAMETER);
        if (isAllocating)
            *reinterpret_cast<LPSTR*>(lpBuffer) = nullptr;

        Simulation& simulation = Simulation::Current();
        const auto text = Expand(winsim::Utf16(simulation.FromAnsi(message)), Inserts{Arguments});
        if (!text)
            return call.Fail(DWORD{0}, ERROR_INVALID_PARAMETER);
        const std::string ansi = simulation.ToAnsi(winsim::Utf8(*text));
        if (ansi.empty())
            return call.Done(DWORD{0});
        if (isAllocating)
        {
            const std::size_t size = std::max<std::size_t>(nSize, ansi.size() + 1);
            auto* const block = static_cast<LPSTR>(simulation.handles.Allocate<winsim::LocalBlock>(size));
            *reinterpret_cast<LPSTR*>(lpBuffer) = block;
            lpBuffer = block;
        }
        else if (ansi.size() >= nSize)
            return call.Fail(DWORD{0}, ERROR_INSUFFICIENT_BUFFER);
        std::memcpy(lpBuffer, ansi.c_str(), ansi.size() + 1);
        call.Out("lpBuffer", static_cast<const char*>(lpBuffer));
        return call.Done(static_cast<DWORD>(ansi.size()));
    });
}
