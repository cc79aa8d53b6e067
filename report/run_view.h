// The view of a run that somebody watched: a rehearsal, or the real program under Wine.
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

// What is known of a run.
struct WatchedRun
{
    std::string command; // the action with its options, or the export's name
    Story story;         // told with the known end
    std::vector<std::pair<std::string, std::string>> firstFacts = {}; // to know first, each with its label
    std::vector<std::pair<std::string, std::string>> facts = {};      // more of them
    std::vector<winsim::Change> changes = {};
    std::vector<std::pair<std::string, std::vector<std::string>>> sections = {}; // more of them, each with its title
    std::optional<std::int64_t> waitedMs = {}; // on a clock that stands still but for waits
    std::vector<StepFigures> figures = {};     // of each step; none when the calls are not known
    std::vector<RunCall> calls = {};           // to be shown
};

// The run on a terminal. The first screen tells whether it worked, if not what failed first, how much changed and how
// long it waited; then come the steps, what changed, and the log. With everything, no value is cut, each line is
// followed by its meaning, and each problem is told.
std::string ShowRun(const Style& style, const WatchedRun& run, bool withEverything);

} // namespace report
