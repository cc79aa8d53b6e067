// FormatMessage: message texts with inserts.
#include "winsim/api/local_memory.h"
#include "winsim/base/text.h"
#include "winsim/process/gate.h"
#include "winsim/process/simulation.h"

#include "winbase.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

using winsim::Call;
using winsim::Simulation;

namespace
{

// The values of the inserts, numbered from 1: in an array, or the arguments of a function.
class Inserts
{
public:
    Inserts(DWORD flags, va_list* values) : m_isArray((flags & FORMAT_MESSAGE_ARGUMENT_ARRAY) != 0), m_values(values) {}

    bool AreGiven() const { return m_values != nullptr; }
    DWORD_PTR Value(std::size_t number)
    {
        if (m_isArray)
            return reinterpret_cast<const DWORD_PTR*>(m_values)[number - 1];
        while (m_taken.size() < number)
            m_taken.push_back(va_arg(*m_values, DWORD_PTR));
        return m_taken[number - 1];
    }

private:
    bool m_isArray;
    va_list* m_values;
    std::vector<DWORD_PTR> m_taken; // from the arguments
};

bool TakeOne(std::u16string_view& text, char16_t c)
{
    if (!text.starts_with(c))
        return false;
    text.remove_prefix(1);
    return true;
}

std::optional<std::size_t> TakeNumber(std::u16string_view& text)
{
    std::optional<std::size_t> number;
    for (; !text.empty() && text.front() >= u'0' && text.front() <= u'9'; text.remove_prefix(1))
        number = number.value_or(0) * 10 + static_cast<std::size_t>(text.front() - u'0');
    return number;
}

// The format of an insert, such as "s", "-10s", "08X" or "I64d".
struct InsertFormat
{
    std::string flags;
    std::optional<std::size_t> width;
    std::optional<std::size_t> precision;
    std::string size;
    char16_t conversion = 0; // 0: the format is not known

    // Puts a text into the field.
    std::u16string Fill(std::u16string text) const
    {
        text.resize(std::min(text.size(), precision.value_or(text.size())));
        if (text.size() >= width.value_or(0))
            return text;
        const bool isLeft = flags.find('-') != std::string::npos;
        const bool isZeroed = !isLeft && flags.find('0') != std::string::npos;
        const std::u16string filler(*width - text.size(), isZeroed ? u'0' : u' ');
        return isLeft ? text + filler : filler + text;
    }
};

constexpr std::u16string_view kFlags = u"-0+# ";
constexpr std::string_view kSizes[] = {"h", "ll", "l", "w", "I64", "I32"};
constexpr std::u16string_view kNumbers = u"diuoxX";
constexpr std::u16string_view kTexts = u"sScC";

InsertFormat FormatOf(std::u16string_view text)
{
    InsertFormat format;
    while (!text.empty() && kFlags.find(text.front()) != std::u16string_view::npos)
    {
        format.flags += static_cast<char>(text.front());
        text.remove_prefix(1);
    }
    format.width = TakeNumber(text);
    if (TakeOne(text, u'.'))
        format.precision = TakeNumber(text).value_or(0);
    const auto isNext = [&](std::string_view size) { return text.starts_with(winsim::Utf16(size)); };
    if (const auto size = std::ranges::find_if(kSizes, isNext); size != std::end(kSizes))
    {
        format.size = *size;
        text.remove_prefix(size->size());
    }
    const bool isKnown = text.size() == 1 && (kNumbers.find(text.front()) != std::u16string_view::npos ||
                                              kTexts.find(text.front()) != std::u16string_view::npos);
    format.conversion = isKnown ? text.front() : u'\0';
    return format;
}

// Whether a text is UTF-16; the letter of the conversion in capitals means the other kind of text than the message's.
bool IsWide(const InsertFormat& format, bool isMessageWide)
{
    if (!format.size.empty())
        return format.size != "h";
    const bool isCapital = format.conversion == u'S' || format.conversion == u'C';
    return isMessageWide != isCapital;
}

std::u16string TextOf(const InsertFormat& format, DWORD_PTR value, bool isWide)
{
    const Simulation& simulation = Simulation::Current();
    const bool isOne = format.conversion == u'c' || format.conversion == u'C';
    if (isOne && isWide)
        return {static_cast<char16_t>(value)};
    if (isOne)
        return winsim::Utf16(simulation.FromAnsi(std::string(1, static_cast<char>(value))));
    // NOLINTNEXTLINE(performance-no-int-to-ptr): an insert is a number or a pointer
    const auto* text = reinterpret_cast<const void*>(value);
    if (text == nullptr)
        return u"(null)";
    return isWide ? std::u16string(static_cast<const char16_t*>(text))
                  : winsim::Utf16(simulation.FromAnsi(static_cast<const char*>(text)));
}

std::u16string NumberOf(const InsertFormat& format, DWORD_PTR value)
{
    const bool isLong = format.size == "I64" || format.size == "ll";
    std::string pattern = "%" + format.flags + (format.width ? std::to_string(*format.width) : "") +
                          (format.precision ? "." + std::to_string(*format.precision) : "") + (isLong ? "ll" : "") +
                          static_cast<char>(format.conversion);
    const auto print = [&](auto number) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
        std::string text(static_cast<std::size_t>(std::snprintf(nullptr, 0, pattern.c_str(), number)), '\0');
        std::snprintf(text.data(), text.size() + 1, pattern.c_str(), number);
#pragma GCC diagnostic pop
        return winsim::Utf16(text);
    };
    return isLong ? print(static_cast<long long>(value)) : print(static_cast<int>(value));
}

constexpr std::u16string_view kLineBreak = u"\r\n";

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

// Replaces the inserts and the escape sequences of a message.
class Expansion
{
public:
    Expansion(const Call& call, DWORD flags, va_list* inserts, bool isWide)
        : m_call(call), m_flags(flags), m_inserts(flags, inserts), m_isWide(isWide)
    {}

    const std::u16string& Text() const { return m_text; }

    // Returns a Win32 error.
    DWORD Run(std::u16string_view message)
    {
        while (!message.empty())
        {
            const char16_t c = message.front();
            message.remove_prefix(1);
            if (c == u'\r' || c == u'\n')
                AddLineBreak(c, message);
            else if (c != u'%')
                m_text += c;
            else if (message.starts_with(u'0'))
                return ERROR_SUCCESS;
            else if (const DWORD error = AddSequence(message); error != ERROR_SUCCESS)
                return error;
        }
        return ERROR_SUCCESS;
    }

private:
    // Every kind of line break in the message becomes Windows' line break or, if lines have no limit, a blank.
    void AddLineBreak(char16_t first, std::u16string_view& message)
    {
        if (first == u'\r')
            TakeOne(message, u'\n');
        const bool isEndless = (m_flags & FORMAT_MESSAGE_MAX_WIDTH_MASK) == FORMAT_MESSAGE_MAX_WIDTH_MASK;
        m_text += isEndless ? u" " : kLineBreak;
    }

    // Adds what a percent sign and the beginning of the message stand for.
    DWORD AddSequence(std::u16string_view& message)
    {
        if (message.empty())
            return ERROR_INVALID_PARAMETER;
        if (message.front() < u'1' || message.front() > u'9')
        {
            m_text += Escaped(message.front());
            message.remove_prefix(1);
            return ERROR_SUCCESS;
        }
        if ((m_flags & FORMAT_MESSAGE_IGNORE_INSERTS) == 0)
            return AddInsert(message);
        m_text += u'%';
        return ERROR_SUCCESS;
    }

    // Adds an insert such as "1" or "12!-10s!", and removes it from the message.
    DWORD AddInsert(std::u16string_view& message)
    {
        std::u16string_view digits = message.substr(0, 2);
        const std::size_t length = digits.size();
        const std::size_t number = TakeNumber(digits).value_or(0);
        message.remove_prefix(length - digits.size());
        std::u16string_view text = u"s";
        if (TakeOne(message, u'!'))
        {
            const std::size_t end = message.find(u'!');
            if (end == std::u16string_view::npos)
                return ERROR_INVALID_PARAMETER;
            text = message.substr(0, end);
            message.remove_prefix(end + 1);
        }
        if (!m_inserts.AreGiven())
            return ERROR_INVALID_PARAMETER;
        const InsertFormat format = FormatOf(text);
        if (format.conversion == 0)
            return m_call.NotSimulated("the insert's format \"" + winsim::Utf8(text) + "\"");
        const DWORD_PTR value = m_inserts.Value(number);
        if (kNumbers.find(format.conversion) != std::u16string_view::npos)
            m_text += NumberOf(format, value);
        else
            m_text += format.Fill(TextOf(format, value, IsWide(format, m_isWide)));
        return ERROR_SUCCESS;
    }

    const Call& m_call;
    DWORD m_flags;
    Inserts m_inserts;
    bool m_isWide;
    std::u16string m_text;
};

std::u16string Utf16Of(const char* ansi)
{
    return winsim::Utf16(Simulation::Current().FromAnsi(ansi));
}

std::u16string Utf16Of(const char16_t* wide)
{
    return wide;
}

std::string TextFor(const char*, const std::u16string& text)
{
    return Simulation::Current().ToAnsi(winsim::Utf8(text));
}

std::u16string TextFor(const char16_t*, const std::u16string& text)
{
    return text;
}

// The error of flags and of what they need; only messages from a string are simulated.
DWORD FlagsError(const Call& call, DWORD flags, const void* source, const void* buffer)
{
    const DWORD width = flags & FORMAT_MESSAGE_MAX_WIDTH_MASK;
    if ((flags & (FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_FROM_HMODULE)) != 0)
        return call.NotSimulated("the messages of Windows and of libraries");
    if (width != 0 && width != FORMAT_MESSAGE_MAX_WIDTH_MASK)
        return call.NotSimulated("lines of a limited width");
    if ((flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) != 0 && buffer == nullptr)
        return ERROR_NOT_ENOUGH_MEMORY;
    const bool hasSource = (flags & FORMAT_MESSAGE_FROM_STRING) != 0 && source != nullptr;
    return hasSource ? ERROR_SUCCESS : ERROR_INVALID_PARAMETER;
}

// Stores the expanded message in the caller's buffer of `size` characters, or in one that it allocates.
template <typename Character>
DWORD Format(Call call, DWORD flags, LPCVOID source, DWORD id, DWORD language, Character* buffer, DWORD size,
             va_list* inserts)
{
    const auto* message = (flags & FORMAT_MESSAGE_FROM_STRING) != 0 ? static_cast<const Character*>(source) : nullptr;
    call.In("dwFlags", flags).In("lpSource", message).In("dwMessageId", id);
    call.In("dwLanguageId", language).In("nSize", size);
    return call.ResultOf(DWORD{0}, [&] {
        const bool isAllocating = (flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) != 0;
        if (const DWORD error = FlagsError(call, flags, message, buffer); error != ERROR_SUCCESS)
            return call.Fail(DWORD{0}, error);
        if (isAllocating)
            *reinterpret_cast<Character**>(buffer) = nullptr;
        Expansion expansion{call, flags, inserts, sizeof(Character) == sizeof(WCHAR)};
        if (const DWORD error = expansion.Run(Utf16Of(message)); error != ERROR_SUCCESS)
            return call.Fail(DWORD{0}, error);
        const auto text = TextFor(message, expansion.Text());
        if (text.empty())
            return call.Done(DWORD{0});
        if (isAllocating)
        {
            const std::size_t room = std::max<std::size_t>(size, text.size() + 1) * sizeof(Character);
            auto* const block =
                static_cast<Character*>(Simulation::Current().handles.Allocate<winsim::LocalBlock>(room));
            *reinterpret_cast<Character**>(buffer) = block;
            buffer = block;
        }
        else if (text.size() >= size)
            return call.Fail(DWORD{0}, ERROR_INSUFFICIENT_BUFFER);
        call.Needs(buffer);
        std::copy_n(text.c_str(), text.size() + 1, buffer);
        call.Out("lpBuffer", static_cast<const Character*>(buffer));
        return call.Done(static_cast<DWORD>(text.size()));
    });
}

} // namespace

DWORD WINAPI FormatMessageA(DWORD dwFlags, LPCVOID lpSource, DWORD dwMessageId, DWORD dwLanguageId, LPSTR lpBuffer,
                            DWORD nSize, va_list* Arguments)
{
    return Format(Call{__func__}, dwFlags, lpSource, dwMessageId, dwLanguageId, lpBuffer, nSize, Arguments);
}

DWORD WINAPI FormatMessageW(DWORD dwFlags, LPCVOID lpSource, DWORD dwMessageId, DWORD dwLanguageId, LPWSTR lpBuffer,
                            DWORD nSize, va_list* Arguments)
{
    return Format(Call{__func__}, dwFlags, lpSource, dwMessageId, dwLanguageId, lpBuffer, nSize, Arguments);
}
