// The format of a log line: a literal that the compiler checks against the line's arguments.
#pragma once

#include <cstddef>
#include <type_traits>

namespace log_detail
{

constexpr bool IsFlagWidthOrPrecision(char c)
{
    return c == '-' || c == '+' || c == ' ' || c == '#' || c == '.' || (c >= '0' && c <= '9');
}

// The conversion letter of a format's placeholder, counted from 0; a zero when the format has fewer.
constexpr char ConversionOf(const char* format, std::size_t index)
{
    for (; *format != '\0'; ++format)
    {
        if (*format != '%')
            continue;
        ++format;
        if (*format == '%')
            continue;
        while (IsFlagWidthOrPrecision(*format))
            ++format;
        if (*format == '\0' || index == 0)
            return *format;
        --index;
    }
    return '\0';
}

// Whether an argument of the type fits a conversion letter.
template <typename Argument>
constexpr bool Fits(char conversion)
{
    using Type = std::decay_t<Argument>;
    switch (conversion)
    {
    case 's':
        return std::is_convertible_v<Type, const char*>;
    case 'S':
        return std::is_convertible_v<Type, const wchar_t*>;
    case 'd':
    case 'u':
    case 'x':
    case 'X':
        return std::is_integral_v<Type> && sizeof(Type) == 4;
    default:
        return false;
    }
}

} // namespace log_detail

// The format of a log line for arguments of the given types. It is made from a literal only, and does not compile if a
// placeholder (%s ANSI text, %S UTF-16 text, %d %u %x %X 32-bit numbers) does not fit its argument or has none. More
// arguments than placeholders are allowed: some required texts have none.
template <typename... Arguments>
struct LogFormat
{
    consteval LogFormat(const char* format) : text(format) // NOLINT(google-explicit-constructor)
    {
        [[maybe_unused]] std::size_t index = 0;
        const bool fit = ([&] {
            const char conversion = log_detail::ConversionOf(format, index++);
            return conversion == '\0' || log_detail::Fits<Arguments>(conversion);
        }() && ...);
        if (!fit)
            throw "an argument does not fit its placeholder";
        if (log_detail::ConversionOf(format, sizeof...(Arguments)) != '\0')
            throw "a placeholder has no argument";
    }

    const char* text;
};
