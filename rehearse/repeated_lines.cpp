// Folds repeated lines.
#include "rehearse/repeated_lines.h"

#include "winsim/process/repeats.h"
#include "winsim/toolkit/install_log.h"

#include <algorithm>

namespace
{

constexpr std::size_t kLongest = 8; // lines

// How many times in a row the `length` messages from `first` on occur.
std::uint64_t TimesOf(const std::vector<std::string>& messages, std::size_t first, std::size_t length)
{
    std::size_t same = first;
    while (same + length < messages.size() && messages[same] == messages[same + length])
        ++same;
    return (same - first) / length + 1;
}

} // namespace

FoldedLines Fold(std::vector<std::string> lines)
{
    std::vector<std::string> messages;
    std::transform(lines.begin(), lines.end(), std::back_inserter(messages), &winsim::MessageOf);
    FoldedLines folded;
    for (std::size_t i = 0; i < lines.size();)
    {
        std::size_t length = 1;
        while (length <= kLongest && TimesOf(messages, i, length) < winsim::RepeatFinder::kLeastTimes)
            ++length;
        if (length > kLongest)
        {
            folded.lines.push_back(std::move(lines[i++]));
            continue;
        }
        const std::uint64_t times = TimesOf(messages, i, length);
        const std::size_t end = i + times * length;
        folded.repeats.push_back({folded.lines.size(), length, times, lines[end - 1]});
        for (std::size_t line = i; line < i + length; ++line)
            folded.lines.push_back(std::move(lines[line]));
        i = end;
    }
    return folded;
}
