// What kelo-explain prints.
#pragma once

#include "report/story.h"
#include "report/terminal.h"
#include "winsim/base/json.h"

#include <string>
#include <vector>

struct ExplainOptions;

// The index of the run to tell of: the one that was asked for, or the latest that did not succeed, or the latest.
// Throws std::invalid_argument when there is no such run.
std::size_t ChosenRun(const ExplainOptions& options, const std::vector<report::Story>& stories);

// The explanation for people: every run in a line, then the chosen one; with --all each of them, line by line.
std::string ExplainInText(const ExplainOptions& options, const report::Style& style,
                          const std::vector<report::Story>& stories);

// The explanation for a browser (HTML), which opens with the same run.
std::string ExplainInPage(const ExplainOptions& options, const std::vector<report::Story>& stories);

// The explanation for programs.
winsim::Json ExplainInJson(const std::vector<report::Story>& stories);
