// The view of an observed run: a rehearsal, or the real program under Wine.
#pragma once

#include "report/calls.h"
#include "report/story.h"
#include "report/terminal.h"
#include "winsim/machine/machine.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace report
{

// The known facts of a run.
struct WatchedRun
{
    std::string command; // the action with its options, or the export's name
    Story story;         // with the known end
    std::vector<std::pair<std::string, std::string>> firstFacts = {}; // to be shown first, each with its label
    std::vector<std::pair<std::string, std::string>> facts = {};      // more of them
    std::vector<winsim::Change> changes = {};
    std::vector<std::pair<std::string, std::vector<std::string>>> sections = {}; // more facts, each with its title
    std::optional<std::int64_t> waitedMs = {}; // on a clock that advances only during waits
    std::vector<StepFigures> figures = {};     // for each step; empty if the calls are not known
    std::vector<RunCall> calls = {};           // to be shown
};

// The run on a terminal. The first screen shows whether it worked, or else what failed first, how much changed and how
// long it waited. Then come the steps, the changes, and the log. With everything, no value is cut, each line is
// followed by its meaning, and each problem is shown.
std::string ShowRun(const Style& style, const WatchedRun& run, bool withEverything);

} // namespace report
