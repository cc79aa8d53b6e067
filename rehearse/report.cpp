// Reports a rehearsal to programs and the shell.
#include "rehearse/report.h"

#include "rehearse/exit_status.h"
#include "rehearse/repeated_lines.h"

#include "winsim/toolkit/install_log.h"

#include <fmt/format.h>

namespace
{

using winsim::Change;
using winsim::Json;
using winsim::Machine;
using winsim::Outcome;

const char* EndOf(const Outcome& outcome)
{
    if (outcome.death)
        return "death";
    return outcome.isEndless ? "endless" : "exit";
}

Json RepeatsIn(const FoldedLines& log)
{
    Json repeats = Json::array();
    for (const RepeatedLines& repeat : log.repeats)
        repeats.push_back({{"first", repeat.first},
                           {"length", repeat.length},
                           {"times", repeat.times},
                           {"lastLine", repeat.lastLine}});
    return repeats;
}

Json RepeatsIn(const Outcome& outcome)
{
    Json repeats = Json::array();
    for (const winsim::Repeat& repeat : outcome.repeats)
        repeats.push_back(
            {{"first", repeat.first}, {"length", repeat.length}, {"times", repeat.times}, {"everyMs", repeat.everyMs}});
    return repeats;
}

Json FaultsIn(const Outcome& outcome)
{
    Json faults = Json::array();
    for (std::size_t i = 0; i < outcome.faults.size(); ++i)
        faults.push_back({{"fault", TextOf(outcome.faults[i])}, {"times", outcome.faultsReached[i]}});
    return faults;
}

Json NewEvents(const Machine& before, const Machine& after)
{
    const Json entries = after.events.ToJson();
    Json events = Json::array();
    for (std::size_t i = before.events.entries.size(); i < entries.size(); ++i)
        events.push_back(entries[i]);
    return events;
}

// The text of a log with repeated lines would show the log again, and unfolded: only its size is reported.
Json ChangesIn(const Machine& before, const Machine& after, bool isLogFolded)
{
    Json changes = Json::array();
    for (Change& change : Compare(before, after))
    {
        if (isLogFolded && change.area == "files" && winsim::IsInstallLog(change.item))
        {
            change.after.erase("text");
            change.after["size"] = after.files.Find(change.item)->content.size();
        }
        changes.push_back(ToJson(change));
    }
    return changes;
}

} // namespace

std::optional<std::string> WhyNoResult(const Outcome& outcome)
{
    if (outcome.death)
        return "the program died: " + *outcome.death;
    if (outcome.isEndless)
        return fmt::format("the program would wait for ever; it was ended after {}.{:03} s", outcome.clockMs / 1000,
                           outcome.clockMs % 1000);
    return std::nullopt;
}

Json JsonReport(const Machine& before, const Outcome& outcome)
{
    const std::optional<std::string> whyNoResult = WhyNoResult(outcome);
    const FoldedLines log = Fold(winsim::LogLines(before, outcome.machine));
    Json calls = Json::array();
    for (const winsim::CallRecord& record : outcome.calls)
        calls.push_back(ToJson(record));
    return {{"exitCode", whyNoResult ? Json() : Json(outcome.exitCode)},
            {"end", EndOf(outcome)},
            {"noResult", whyNoResult ? Json(*whyNoResult) : Json()},
            {"log", log.lines},
            {"repeatedLines", RepeatsIn(log)},
            {"stdout", outcome.standardOutput},
            {"events", NewEvents(before, outcome.machine)},
            {"calls", calls},
            {"repeatedCalls", RepeatsIn(outcome)},
            {"faults", FaultsIn(outcome)},
            {"changes", ChangesIn(before, outcome.machine, !log.repeats.empty())},
            {"clockMs", outcome.clockMs},
            {"violations", outcome.violations},
            {"notSimulated", outcome.notSimulated}};
}

int ExitStatusOf(const Outcome& outcome)
{
    if (outcome.death)
        return exit_status::kDeath;
    if (outcome.isEndless)
        return exit_status::kEndless;
    return outcome.exitCode == 0 ? exit_status::kSuccess : exit_status::kFailure;
}

int ExitStatusOf(const Json& seen)
{
    if (seen.at("exitCode").is_null())
        return seen.value("end", "") == "death" ? exit_status::kDeath : exit_status::kEndless;
    return seen["exitCode"] == 0 ? exit_status::kSuccess : exit_status::kFailure;
}
