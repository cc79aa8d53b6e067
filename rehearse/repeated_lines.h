// Finds the lines that an endless wait writes into the log again and again.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// The `length` lines from `first` on stand for `times` repetitions of the same messages.
struct RepeatedLines
{
    std::size_t first = 0;
    std::size_t length = 0;
    std::uint64_t times = 0;
    std::string lastLine; // the very last line, with its time
};

struct FoldedLines
{
    std::vector<std::string> lines;
    std::vector<RepeatedLines> repeats; // in the order of the lines
};

// The lines of an install log. Lines that repeat as often as repeated calls (winsim/process/repeats.h) are kept only
// once.
FoldedLines Fold(std::vector<std::string> lines);
