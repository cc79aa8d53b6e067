// The output of kelo-explain.
#pragma once

#include "report/story.h"
#include "report/terminal.h"
#include "winsim/base/json.h"

#include <string>
#include <vector>

struct ExplainOptions;

// The index of the run to explain: the requested one, or the latest that did not succeed, or the latest. Throws
// std::invalid_argument if there is no such run.
std::size_t ChosenRun(const ExplainOptions& options, const std::vector<report::Story>& stories);

// The explanation for people: one line for every run, then the chosen run; with --all every run, line by line.
std::string ExplainInText(const ExplainOptions& options, const report::Style& style,
                          const std::vector<report::Story>& stories);

// The explanation for a browser (HTML), which opens with the chosen run.
std::string ExplainInPage(const ExplainOptions& options, const std::vector<report::Story>& stories);

// The explanation for programs.
winsim::Json ExplainInJson(const std::vector<report::Story>& stories);
