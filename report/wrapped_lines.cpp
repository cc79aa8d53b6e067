// Joins lines that a mail program wrapped.
#include "report/wrapped_lines.h"

#include "catalogue/matcher.h"

#include <utility>

namespace report
{

namespace
{

// A log line with the longest header fits into this many lines of a mail.
constexpr std::size_t kMostParts = 10;

// How many lines, from the first one on, form a text of the program together; 1 if none do, or if the first one does
// alone.
std::size_t CountParts(const catalogue::Matcher& matcher, const std::vector<LogLine>& lines, std::size_t first)
{
    // An empty line is a text, too; but its message may also have been too long for the mail's line.
    const auto isText = [&](const std::string& message) {
        return !message.empty() && matcher.Find(message, {}, false).has_value();
    };
    const auto isPart = [&](std::size_t i) { return i < lines.size() && lines[i].isDamaged; };
    if (lines[first].isDamaged || !isPart(first + 1) || isText(lines[first].message))
        return 1;
    std::string whole = lines[first].message;
    for (std::size_t i = first + 1; i < first + kMostParts && isPart(i); ++i)
    {
        whole += (whole.empty() ? "" : " ") + lines[i].message;
        if (isText(whole))
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
            joined.back().message += (joined.back().message.empty() ? "" : " ") + lines[i + part].message;
            joined.back().isLastOfFile = lines[i + part].isLastOfFile;
        }
        i += parts;
    }
    return joined;
}

} // namespace report
