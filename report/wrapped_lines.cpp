// Joins what a mail program wrapped.
#include "report/wrapped_lines.h"

#include "catalogue/matcher.h"

#include <utility>

namespace report
{

namespace
{

// A line of the log with the longest header is no more than so many lines of a mail.
constexpr std::size_t kMostParts = 10;

// How many lines from the first one on make a text of the program together; 1 when none do, or the first does alone.
std::size_t CountParts(const catalogue::Matcher& matcher, const std::vector<LogLine>& lines, std::size_t first)
{
    const auto isPart = [&](std::size_t i) { return i < lines.size() && lines[i].isDamaged; };
    if (lines[first].isDamaged || !isPart(first + 1) || matcher.Find(lines[first].message, {}, false))
        return 1;
    std::string whole = lines[first].message;
    for (std::size_t i = first + 1; i < first + kMostParts && isPart(i); ++i)
    {
        whole += " " + lines[i].message;
        if (matcher.Find(whole, {}, false))
            return i - first + 1;
    }
    return 1;
}

} // namespace

std::vector<LogLine> JoinWrapped(std::vector<LogLine> lines)
{
    const catalogue::Matcher matcher;
    std::vector<LogLine> joined;
    for (std::size_t i = 0; i < lines.size();)
    {
        const std::size_t parts = CountParts(matcher, lines, i);
        joined.push_back(std::move(lines[i]));
        for (std::size_t part = 1; part < parts; ++part)
        {
            joined.back().message += " " + lines[i + part].message;
            joined.back().isLastOfFile = lines[i + part].isLastOfFile;
        }
        i += parts;
    }
    return joined;
}

} // namespace report
