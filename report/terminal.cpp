// Fits text to a terminal's width.
#include "report/terminal.h"

#include <fmt/format.h>

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

namespace report
{

namespace
{

constexpr std::size_t kNarrowest = 60;
constexpr std::size_t kWidest = 140;

bool IsContinuation(char c)
{
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

const char* ColourOf(Level level)
{
    switch (level)
    {
    case Level::Done:
        return "\033[32m";
    case Level::Untold:
    case Level::Noise:
        return "\033[90m";
    case Level::Warning:
        return "\033[33m";
    case Level::Missing:
        return "\033[35m";
    default:
        return "\033[1;31m";
    }
}

std::string Between(const Style& style, const char* colour, std::string_view text)
{
    if (!style.hasColour)
        return std::string(text);
    return fmt::format("{}{}\033[0m", colour, text);
}

} // namespace

Style Style::OfStandardOutput()
{
    Style style;
    const char* const noColour = std::getenv("NO_COLOR");
    if (isatty(STDOUT_FILENO) == 0)
        return style;
    style.hasColour = noColour == nullptr || *noColour == '\0';
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0)
        style.width = std::clamp<std::size_t>(size.ws_col, kNarrowest, kWidest);
    return style;
}

std::string Paint(const Style& style, Level level, std::string_view text)
{
    return Between(style, ColourOf(level), text);
}

std::string Bold(const Style& style, std::string_view text)
{
    return Between(style, "\033[1m", text);
}

std::size_t LengthOf(std::string_view text)
{
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) { return !IsContinuation(c); }));
}

std::string Wrap(const Style& style, std::string_view text, std::size_t column, std::size_t indent)
{
    std::string wrapped;
    bool isLineEmpty = true;
    for (std::size_t start = 0; start < text.size();)
    {
        const std::size_t word = std::min(text.find_first_not_of(" \t", start), text.size());
        const std::size_t end = std::min(text.find_first_of(" \t", word), text.size());
        const std::size_t length = (word - start) + LengthOf(text.substr(word, end - word));
        if (!isLineEmpty && column + length > style.width)
        {
            wrapped += "\n" + std::string(indent, ' ');
            column = indent;
            start = word;
        }
        wrapped += std::string(word - start, ' ') + std::string(text.substr(word, end - word));
        column += (word - start) + LengthOf(text.substr(word, end - word));
        isLineEmpty = false;
        start = end;
    }
    return wrapped;
}

std::string Fit(std::string_view text, std::size_t width)
{
    const std::size_t length = LengthOf(text);
    if (length <= width)
        return std::string(text) + std::string(width - length, ' ');
    std::string cut;
    std::size_t taken = 0;
    for (const char c : text)
    {
        if (!IsContinuation(c) && ++taken >= width)
            break;
        cut += c;
    }
    return cut + "~";
}

std::string DurationOf(std::int64_t ms)
{
    if (ms < 60'000)
        return fmt::format("{}.{:03} s", ms / 1000, ms % 1000);
    const std::int64_t minutes = ms / 60'000;
    if (minutes < 60)
        return fmt::format("{} min {} s", minutes, ms / 1000 % 60);
    return fmt::format("{} h {} min", minutes / 60, minutes % 60);
}

std::string Counted(std::size_t count, std::string_view one, std::string_view many)
{
    std::string number = std::to_string(count);
    for (std::size_t i = number.size(); i > 3; i -= 3)
        number.insert(i - 3, ",");
    return fmt::format("{} {}", number, count == 1 ? one : many);
}

} // namespace report
