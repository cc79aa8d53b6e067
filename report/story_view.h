// The story of a run on a terminal.
#pragma once

#include "report/calls.h"
#include "report/story.h"
#include "report/terminal.h"

#include <string>
#include <utility>
#include <vector>

namespace report
{

// The result, in the colour of its level.
std::string ShowHeadline(const Style& style, const Story& story);

// What failed first with its meaning, what to do, and what else went wrong; nothing without problems. At most
// `mostOthers` other problems are told of, and `moreOption` is named for the rest.
std::string ShowProblems(const Style& style, const Story& story, std::size_t mostOthers, const char* moreOption);

// What to know first: both.
std::string ShowVerdict(const Style& style, const Story& story, std::size_t mostOthers);

// A labelled paragraph, indented by two. Nothing for an empty text.
std::string ShowFact(const Style& style, const std::string& label, const std::string& text);

// The facts of the run, each with its label: when, how long, which stack, what the result is inferred from.
std::vector<std::pair<std::string, std::string>> FactsOf(const Story& story);

// The same on the terminal.
std::string ShowFacts(const Style& style, const Story& story);

// The time from a step's first line to what follows its last one, in milliseconds.
std::int64_t TimeOf(const Story& story, const StoryStep& step);

// The table of steps: result, time, lines. With the figures of each step, those of its calls in place of the lines.
std::string ShowSteps(const Style& style, const Story& story, const std::vector<StepFigures>& figures = {});

// Every line with its time after the run's beginning; equal lines in a row as one. With meanings, each is followed by
// what it means. Calls stand at their places between the lines.
std::string ShowLines(const Style& style, const Story& story, bool withMeanings,
                      const std::vector<RunCall>& calls = {});

} // namespace report
