// Splits log lines into their parts: "2013/05/07 14:03:09.042 TZ-4 [3120] message".
#include "report/log_lines.h"

#include "winsim/toolkit/secrets.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <chrono>

namespace report
{

namespace
{

// The maximum length of a line, in its bytes on the machine.
constexpr std::size_t kLongestLine = 510;

// The program writes no longer lines, so no more of a line is shown.
constexpr std::size_t kMostShown = 2000;

constexpr std::int64_t kMsOfDay = 24 * 60 * 60 * 1000;

// Reads a line from its beginning to its end.
class Cursor
{
public:
    explicit Cursor(std::string_view text) : m_rest(text) {}

    bool Take(std::string_view literal)
    {
        if (!m_rest.starts_with(literal))
            return false;
        m_rest.remove_prefix(literal.size());
        return true;
    }

    // A number with `least` to `most` digits.
    std::optional<unsigned long> Number(std::size_t least, std::size_t most)
    {
        std::size_t length = 0;
        while (length < m_rest.size() && length < most && m_rest[length] >= '0' && m_rest[length] <= '9')
            ++length;
        unsigned long number = 0;
        if (length < least || std::from_chars(m_rest.data(), m_rest.data() + length, number).ec != std::errc())
            return std::nullopt;
        m_rest.remove_prefix(length);
        return number;
    }

    std::string_view Rest() const { return m_rest; }

private:
    std::string_view m_rest;
};

struct Header
{
    std::int64_t ms;
    unsigned long thread;
    std::string_view message;
};

std::optional<std::int64_t> Days(unsigned long year, unsigned long month, unsigned long day)
{
    const std::chrono::year_month_day date{std::chrono::year{static_cast<int>(year)},
                                           std::chrono::month{static_cast<unsigned>(month)},
                                           std::chrono::day{static_cast<unsigned>(day)}};
    if (!date.ok())
        return std::nullopt;
    return std::chrono::sys_days{date}.time_since_epoch().count();
}

std::optional<Header> ReadHeader(std::string_view line)
{
    struct Field
    {
        std::size_t digits;
        const char* end;
    };
    constexpr Field kFields[] = {{4, "/"}, {2, "/"}, {2, " "}, {2, ":"}, {2, ":"}, {2, "."}, {3, " TZ"}};
    Cursor cursor{line};
    unsigned long fields[std::size(kFields)] = {};
    for (std::size_t i = 0; i < std::size(kFields); ++i)
    {
        const auto number = cursor.Number(kFields[i].digits, kFields[i].digits);
        if (!number || !cursor.Take(kFields[i].end))
            return std::nullopt;
        fields[i] = *number;
    }
    cursor.Take("-");
    const bool hasZone = cursor.Number(1, 3) && cursor.Take(" [");
    const auto thread = hasZone ? cursor.Number(1, 10) : std::nullopt;
    const auto days = Days(fields[0], fields[1], fields[2]);
    // The message may be empty; its blank may then be lost.
    if (!thread || !days || !cursor.Take("]"))
        return std::nullopt;
    cursor.Take(" ");
    const std::int64_t seconds = static_cast<std::int64_t>((fields[3] * 60 + fields[4]) * 60 + fields[5]);
    return Header{*days * kMsOfDay + seconds * 1000 + static_cast<std::int64_t>(fields[6]), *thread, cursor.Rest()};
}

// The line without the quotation marks of a mail and without indentation.
std::string_view WithoutQuotes(std::string_view line)
{
    line.remove_prefix(std::min(line.find_first_not_of("> \t"), line.size()));
    return line;
}

// The text as it may be shown on a terminal and in a page. No character of a mailed log may control either of them.
std::string Shown(std::string_view message)
{
    std::string shown(message.substr(0, kMostShown));
    while (shown.size() < message.size() && !shown.empty() && (shown.back() & 0xC0) == 0x80)
        shown.pop_back();
    const auto controls = [](char c) { return (static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7F; };
    std::replace_if(shown.begin(), shown.end(), controls, ' ');
    return winsim::HideSecrets(shown);
}

LogLine ReadLine(std::string_view text, std::size_t number)
{
    LogLine line;
    line.number = number;
    line.mayBeCut = text.size() >= kLongestLine;
    text = WithoutQuotes(text);
    if (const auto header = ReadHeader(text))
    {
        line.ms = line.last = header->ms;
        line.thread = header->thread;
        line.message = Shown(header->message);
    }
    else
    {
        line.isDamaged = true;
        line.message = Shown(text);
    }
    return line;
}

bool IsEmpty(std::string_view text)
{
    return text.find_first_not_of(std::string_view(" \t\r\0", 4)) == std::string_view::npos;
}

} // namespace

std::vector<LogLine> ReadLogLines(std::string_view text)
{
    std::vector<LogLine> lines;
    std::size_t number = 0;
    for (std::size_t start = 0; start < text.size();)
    {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        std::string_view line = text.substr(start, end - start);
        start = end + 1;
        ++number;
        // A machine that lost power leaves zeros in place of a line.
        while (!line.empty() && (line.front() == '\0' || line.front() == '\r'))
            line.remove_prefix(1);
        while (!line.empty() && (line.back() == '\0' || line.back() == '\r'))
            line.remove_suffix(1);
        if (!IsEmpty(line))
        {
            lines.push_back(ReadLine(line, number));
            lines.back().isLastOfFile = end == text.size();
        }
    }
    return lines;
}

std::string TimeOf(std::int64_t ms)
{
    const std::int64_t ofDay = ((ms % kMsOfDay) + kMsOfDay) % kMsOfDay;
    return fmt::format("{:02}:{:02}:{:02}.{:03}", ofDay / 3600000, ofDay / 60000 % 60, ofDay / 1000 % 60, ofDay % 1000);
}

std::string DateAndTimeOf(std::int64_t ms)
{
    const std::chrono::year_month_day date{
        std::chrono::sys_days{std::chrono::days{(ms - ((ms % kMsOfDay) + kMsOfDay) % kMsOfDay) / kMsOfDay}}};
    return fmt::format("{:04}-{:02}-{:02} {}", static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                       static_cast<unsigned>(date.day()), TimeOf(ms));
}

} // namespace report
