// The C runtime's own functions that deal with text alone: formatting, bounded copies, comparing, taking paths apart.
#include "winsim/core/simulation.h"
#include "winsim/core/text.h"

#include "mbstring.h"
#include "msvcrt.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace
{

// One placeholder of a format: "%", flags, width, precision and length as they stand, and the conversion letter.
struct Placeholder
{
    std::string text; // with widths and precisions given as "*" filled in
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

// UTF-16 in the "C" locale that a program starts in: only the first 256 characters can be written.
std::optional<std::string> InCLocale(const char16_t* wide)
{
    std::string narrow;
    for (; *wide != u'\0'; ++wide)
    {
        if (*wide > 0xFF)
            return std::nullopt;
        narrow += static_cast<char>(*wide);
    }
    return narrow;
}

// Formats by the rules of Windows' runtime, where %S in narrow text stands for UTF-16 text. Nothing when a character
// cannot be written.
std::optional<std::string> Format(const char* format, va_list arguments)
{
    va_list left;
    va_copy(left, arguments);
    std::optional<std::string> text = "";
    while (*format != '\0' && text)
    {
        if (*format != '%')
        {
            *text += *format++;
            continue;
        }
        ++format;
        const Placeholder placeholder = ReadPlaceholder(format, left);
        const std::string plain = placeholder.text + placeholder.conversion;
        const bool isLong = placeholder.length == "ll" || placeholder.length == "I64";
        switch (placeholder.conversion)
        {
        case '%':
            *text += '%';
            break;
        case 's':
            if (placeholder.length != "l" && placeholder.length != "w")
            {
                const char* narrow = va_arg(left, const char*);
                *text += FormatOne(plain, narrow != nullptr ? narrow : "(null)");
                break;
            }
            [[fallthrough]];
        case 'S': {
            const char16_t* wide = va_arg(left, const char16_t*);
            const auto narrow = InCLocale(wide != nullptr ? wide : u"(null)");
            if (!narrow)
                text.reset();
            else
                *text += FormatOne(placeholder.text + "s", narrow->c_str());
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
                *text += FormatOne(placeholder.text + "ll" + placeholder.conversion, va_arg(left, long long));
            else
                *text += FormatOne(plain, va_arg(left, int));
            break;
        default:
            text.reset();
            break;
        }
    }
    va_end(left);
    return text;
}

// Whether a format means the same to the host's runtime as to Windows': no UTF-16 text, no lengths, no precision.
bool IsCommonFormat(const char* format)
{
    while ((format = std::strchr(format, '%')) != nullptr)
    {
        ++format;
        if (*format != '%')
            format += std::strspn(format, "-+ #0123456789*");
        if (*format == '\0' || std::strchr("%diuxXocs", *format) == nullptr)
            return false;
        ++format;
    }
    return true;
}

// What the bounded functions leave behind when they refuse: an empty text.
template <typename Unit>
errno_t Refuse(Unit* destination, std::size_t size, errno_t error)
{
    if (destination != nullptr && size != 0)
        destination[0] = Unit{};
    return error;
}

// Whether a part of a path is wanted properly: a buffer with its size, or neither.
bool IsPart(const WCHAR* buffer, std::size_t size)
{
    return (buffer == nullptr) == (size == 0);
}

bool PutInto(WCHAR* buffer, std::size_t size, std::u16string_view text)
{
    if (buffer == nullptr)
        return true;
    if (text.size() >= size)
        return false;
    *std::copy(text.begin(), text.end(), buffer) = u'\0';
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

int _vsnprintf_s(char* buffer, std::size_t sizeOfBuffer, std::size_t count, const char* format, va_list arguments)
{
    if (buffer == nullptr || sizeOfBuffer == 0 || format == nullptr)
        return -1;
    const bool mayCut = count < sizeOfBuffer || count == _TRUNCATE;
    const std::size_t most = std::min(sizeOfBuffer - 1, count);
    if (mayCut && IsCommonFormat(format))
    {
        const int whole = std::vsnprintf(buffer, most + 1, format, arguments);
        return whole >= 0 && static_cast<std::size_t>(whole) <= most ? whole : -1;
    }
    const auto text = Format(format, arguments);
    if (!text)
    {
        Refuse(buffer, sizeOfBuffer, EILSEQ);
        return -1;
    }
    // Text that is longer than the buffer is cut only when the caller expects it.
    if (text->size() >= sizeOfBuffer && !mayCut)
    {
        Refuse(buffer, sizeOfBuffer, ERANGE);
        return -1;
    }
    const std::size_t length = std::min(text->size(), most);
    std::memcpy(buffer, text->data(), length);
    buffer[length] = '\0';
    return length == text->size() ? static_cast<int>(length) : -1;
}

errno_t strcpy_s(char* destination, std::size_t size, const char* source)
{
    if (destination == nullptr || size == 0)
        return EINVAL;
    if (source == nullptr)
        return Refuse(destination, size, EINVAL);
    const std::size_t length = std::strlen(source);
    if (length >= size)
        return Refuse(destination, size, ERANGE);
    std::memcpy(destination, source, length + 1);
    return 0;
}

errno_t strcat_s(char* destination, std::size_t size, const char* source)
{
    if (destination == nullptr || size == 0)
        return EINVAL;
    const std::size_t used = strnlen(destination, size);
    if (used == size || source == nullptr)
        return Refuse(destination, size, EINVAL);
    const std::size_t length = std::strlen(source);
    if (used + length >= size)
        return Refuse(destination, size, ERANGE);
    std::memcpy(destination + used, source, length + 1);
    return 0;
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

// Compares in the ANSI code page, where letters of either case are the same.
int _mbsicmp(const unsigned char* left, const unsigned char* right)
{
    const auto fold = [](const unsigned char* text) {
        return winsim::FoldCase(winsim::Simulation::Current().FromAnsi(reinterpret_cast<const char*>(text)));
    };
    return fold(left).compare(fold(right));
}

errno_t _wsplitpath_s(const WCHAR* path, WCHAR* drive, std::size_t driveSize, WCHAR* directory,
                      std::size_t directorySize, WCHAR* name, std::size_t nameSize, WCHAR* extension,
                      std::size_t extensionSize)
{
    const auto refuse = [&](errno_t error) {
        Refuse(drive, driveSize, error);
        Refuse(directory, directorySize, error);
        Refuse(name, nameSize, error);
        return Refuse(extension, extensionSize, error);
    };
    if (path == nullptr || !IsPart(drive, driveSize) || !IsPart(directory, directorySize) || !IsPart(name, nameSize) ||
        !IsPart(extension, extensionSize))
        return refuse(EINVAL);
    std::u16string_view rest = path;
    const std::size_t driveLength = rest.size() >= 2 && rest[1] == u':' ? 2 : 0;
    const std::u16string_view drivePart = rest.substr(0, driveLength);
    rest.remove_prefix(driveLength);
    const std::size_t slash = rest.find_last_of(u"\\/");
    const std::size_t directoryLength = slash == std::u16string_view::npos ? 0 : slash + 1;
    const std::u16string_view directoryPart = rest.substr(0, directoryLength);
    rest.remove_prefix(directoryLength);
    const std::size_t nameLength = std::min(rest.rfind(u'.'), rest.size());
    const bool fit = PutInto(drive, driveSize, drivePart) && PutInto(directory, directorySize, directoryPart) &&
                     PutInto(name, nameSize, rest.substr(0, nameLength)) &&
                     PutInto(extension, extensionSize, rest.substr(nameLength));
    return fit ? 0 : refuse(ERANGE);
}

errno_t _wmakepath_s(WCHAR* path, std::size_t size, const WCHAR* drive, const WCHAR* directory, const WCHAR* name,
                     const WCHAR* extension)
{
    if (path == nullptr || size == 0)
        return EINVAL;
    std::u16string whole;
    if (drive != nullptr && *drive != u'\0')
        whole = {*drive, u':'};
    if (directory != nullptr && *directory != u'\0')
    {
        whole += directory;
        if (whole.back() != u'\\' && whole.back() != u'/')
            whole += u'\\';
    }
    if (name != nullptr)
        whole += name;
    if (extension != nullptr && *extension != u'\0')
    {
        if (*extension != u'.')
            whole += u'.';
        whole += extension;
    }
    return PutInto(path, size, whole) ? 0 : Refuse(path, size, ERANGE);
}
