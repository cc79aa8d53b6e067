// The story of a run on a terminal.
#pragma once

#include "report/story.h"
#include "report/terminal.h"

#include <string>
#include <utility>
#include <vector>

namespace report
{

// What to know first: the result, what failed first with its meaning, what to do, and what else went wrong. At most
// `mostOthers` other problems are told of.
std::string ShowVerdict(const Style& style, const Story& story, std::size_t mostOthers);

// The facts of the run, each with its label: when, how long, which stack, what the result is inferred from.
std::vector<std::pair<std::string, std::string>> FactsOf(const Story& story);

// The same on the terminal.
std::string ShowFacts(const Style& style, const Story& story);

// The table of steps: result, time, lines.
std::string ShowSteps(const Style& style, const Story& story);

// Every line with its time after the run's beginning; equal lines in a row as one. With meanings, each that says more
// than progress is followed by what it means.
std::string ShowLines(const Style& style, const Story& story, bool withMeanings);

} // namespace report
