// The timeline of a run: its simultaneous events, in lanes.
#pragma once

#include "report/story.h"

#include <optional>
#include <string>
#include <vector>

namespace report
{

// An event with a duration. Times are in milliseconds after the run's beginning.
struct Span
{
    std::int64_t fromMs = 0;
    std::int64_t toMs = 0;
    std::string name;
    Level level = Level::Done;
    bool isWait = false;
    std::optional<std::size_t> line = {}; // the index of the line that reports it
};

struct Lane
{
    std::string name;
    std::vector<Span> spans;
};

// The steps, each service's states, other programs, the lines, and the waits between them.
std::vector<Lane> LanesOf(const Story& story);

} // namespace report
