// Reads the lines of an install log.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace report
{

// A line of the log, or several equal ones in a row.
struct LogLine
{
    std::size_t number = 0;                // the line number in the file, from 1; of the first of them
    std::optional<std::int64_t> ms = {};   // since 1970 (UTC); nothing for a line without a readable header
    std::optional<std::int64_t> last = {}; // the time of the last of the equal lines
    unsigned long thread = 0;
    std::string message = {};  // UTF-8, without control characters but tabs
    bool mayBeCut = false;     // it has the maximum length of a line
    bool isDamaged = false;    // its header cannot be read
    bool isLastOfFile = false; // no line end follows it
    std::size_t count = 1;     // the number of equal lines
};

// The lines of a log's text (UTF-8). Passwords are replaced by stars and control characters except tabs by blanks, and
// empty lines are left out. Takes time in proportion to the text's length.
std::vector<LogLine> ReadLogLines(std::string_view text);

// The time of day with milliseconds, "14:03:09.042"; and the same with the date before it.
std::string TimeOf(std::int64_t ms);
std::string DateAndTimeOf(std::int64_t ms);

} // namespace report
