// Finding the lines that a wait without an end writes into the log again and again.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// The lines from `first` on, `length` of them, stand for `times` times as many: the same messages in a row.
struct RepeatedLines
{
    std::size_t first = 0;
    std::size_t length = 0;
    std::uint64_t times = 0;
    std::string lastLine; // the last of all, with its time
};

struct FoldedLines
{
    std::vector<std::string> lines;
    std::vector<RepeatedLines> repeats; // in the order of the lines
};

// The lines of an install log with those that repeat as often as repeated calls (winsim/process/repeats.h) left out but
// for their first time.
FoldedLines Fold(std::vector<std::string> lines);
