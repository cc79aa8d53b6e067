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

// The first failure with its meaning, what to do, and the other problems; nothing without problems. Shows at most
// `mostOthers` other problems, and names `moreOption` for the rest.
std::string ShowProblems(const Style& style, const Story& story, std::size_t mostOthers, const char* moreOption);

// The first things to know: the headline and the problems.
std::string ShowVerdict(const Style& style, const Story& story, std::size_t mostOthers);

// A labelled paragraph, indented by two; nothing for an empty text.
std::string ShowFact(const Style& style, const std::string& label, const std::string& text);

// The facts of the run, each with its label: when, how long, which stack, what the result is inferred from.
std::vector<std::pair<std::string, std::string>> FactsOf(const Story& story);

// These facts on the terminal.
std::string ShowFacts(const Style& style, const Story& story);

// The time from a step's first line to the line after its last one, in milliseconds.
std::int64_t TimeOf(const Story& story, const StoryStep& step);

// The table of steps: result, time, lines. With figures for each step, it shows the calls instead of the lines.
std::string ShowSteps(const Style& style, const Story& story, const std::vector<StepFigures>& figures = {});

// Every line with its time after the run's beginning; equal lines in a row are shown as one. With meanings, each line
// is followed by its meaning. Calls are shown at their places between the lines.
std::string ShowLines(const Style& style, const Story& story, bool withMeanings,
                      const std::vector<RunCall>& calls = {});

} // namespace report
