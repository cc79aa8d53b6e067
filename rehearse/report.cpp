// Tells what a rehearsal did.
#include "rehearse/report.h"

#include "rehearse/exit_status.h"
#include "rehearse/repeated_lines.h"

#include "winsim/core/install_log.h"

#include <fmt/format.h>

namespace
{

using winsim::Change;
using winsim::Json;
using winsim::Machine;
using winsim::Outcome;

// One item of a change in a few words: a long text is only counted.
std::string Brief(const Json& value)
{
    if (value.is_object() && value.contains("text") && value["text"].get<std::string>().size() > 60)
    {
        Json brief = value;
        brief["text"] = fmt::format("({} characters)", value["text"].get<std::string>().size());
        return Brief(brief);
    }
    if (value.is_object() && value.empty())
        return {};
    return value.is_string() ? value.get<std::string>() : value.dump();
}

// The members in which two objects differ.
Json OnlyDifferent(const Json& value, const Json& other)
{
    if (!value.is_object() || !other.is_object())
        return value;
    Json different = Json::object();
    for (const auto& [name, member] : value.items())
    {
        if (!other.contains(name) || other[name] != member)
            different[name] = member;
    }
    return different;
}

std::string DescribeChange(const Change& change)
{
    std::string line = fmt::format("  {:<8} {}", change.kind, change.item);
    if (change.area == "files" && winsim::IsInstallLog(change.item))
        return line + "  (the log above)";
    if (change.kind == "changed")
        return fmt::format("{}  {} -> {}", line, Brief(OnlyDifferent(change.before, change.after)),
                           Brief(OnlyDifferent(change.after, change.before)));
    const std::string brief = Brief(change.kind == "added" ? change.after : change.before);
    return brief.empty() ? line : line + "  " + brief;
}

std::string DescribeCall(const winsim::CallRecord& record)
{
    std::string line = fmt::format("  {:>7} ms  {}(", record.clockMs, record.name);
    const char* separator = "";
    for (const auto& [name, value] : record.in.items())
    {
        line += fmt::format("{}{}={}", separator, name, value.dump());
        separator = ", ";
    }
    line += fmt::format(") -> {}", record.result.dump());
    if (!record.out.empty())
        line += fmt::format(" {}", record.out.dump());
    if (record.error != 0)
        line += fmt::format("  error {}", record.error);
    if (record.isFault)
        line += "  (fault)";
    return line;
}

// The calls to show. Those that repeat stand below a line of their own, further to the right.
std::vector<std::string> DescribeCalls(const Options& options, const Outcome& outcome)
{
    std::vector<std::string> lines;
    const auto describe = [&](std::size_t first, std::size_t end, const char* indentation) {
        for (std::size_t i = first; i < end; ++i)
        {
            if (options.trace == Trace::All || !outcome.calls[i].isHousekeeping)
                lines.push_back(indentation + DescribeCall(outcome.calls[i]));
        }
    };
    std::size_t next = 0;
    for (const winsim::Repeat& repeat : outcome.repeats)
    {
        describe(next, repeat.first, "");
        next = repeat.first + repeat.length;
        lines.push_back(fmt::format("  {} times, every {} ms:", repeat.times, repeat.everyMs));
        describe(repeat.first, next, "  ");
    }
    describe(next, outcome.calls.size(), "");
    return lines;
}

std::vector<std::string> DescribeLog(const FoldedLines& log)
{
    std::vector<std::string> lines;
    auto repeat = log.repeats.begin();
    for (std::size_t i = 0; i < log.lines.size(); ++i)
    {
        lines.push_back("  " + log.lines[i]);
        if (repeat == log.repeats.end() || i + 1 < repeat->first + repeat->length)
            continue;
        const std::string above = repeat->length == 1 ? "line" : fmt::format("{} lines", repeat->length);
        lines.push_back(fmt::format("  (the {} above {} times more, to the last line {})", above, repeat->times - 1,
                                    repeat->lastLine));
        ++repeat;
    }
    return lines;
}

// How often a fault came about, or that it did not.
std::string DescribeFault(const winsim::Fault& fault, unsigned reached, const Outcome& outcome)
{
    const auto counted = outcome.callCounts.find(fault.call);
    const unsigned calls = counted == outcome.callCounts.end() ? 0 : counted->second;
    const std::string made = fmt::format("of {} call{} of {}", calls, calls == 1 ? "" : "s", fault.call);
    return fmt::format("Fault: {}: {} {}\n", TextOf(fault), reached == 0 ? "NOT REACHED," : std::to_string(reached),
                       made);
}

std::string DescribeDuration(std::uint64_t ms)
{
    return ms == 0 ? "none" : fmt::format("{}.{:03} s", ms / 1000, ms % 1000);
}

// Why a run has no result; nothing when it has one.
std::optional<std::string> WhyNoResult(const Outcome& outcome)
{
    if (outcome.death)
        return "the program died: " + *outcome.death;
    if (outcome.isEndless)
        return fmt::format("the program would wait for ever; it was ended after {}.{:03} s", outcome.clockMs / 1000,
                           outcome.clockMs % 1000);
    return std::nullopt;
}

const char* EndOf(const Outcome& outcome)
{
    if (outcome.death)
        return "death";
    return outcome.isEndless ? "endless" : "exit";
}

void AppendSection(std::string& report, const char* title, const std::vector<std::string>& lines)
{
    report += fmt::format("\n{}:{}\n", title, lines.empty() ? " none" : "");
    for (const std::string& line : lines)
        report += line + "\n";
}

std::vector<std::string> Indented(std::vector<std::string> lines)
{
    for (std::string& line : lines)
        line.insert(0, "  ");
    return lines;
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

Json FaultsIn(const Options& options, const Outcome& outcome)
{
    Json faults = Json::array();
    for (std::size_t i = 0; i < options.faults.size(); ++i)
        faults.push_back({{"fault", TextOf(options.faults[i])}, {"times", outcome.faultsReached[i]}});
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

// A log whose lines repeat would be told a second time, and whole: its size has to do then.
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

// How the program is entered.
std::string DescribeEntry(const Options& options, const Machine& machine)
{
    if (!options.exportName.empty())
        return "Export: " + options.exportName;
    std::vector<std::string> words{machine.process.path};
    words.insert(words.end(), options.arguments.begin(), options.arguments.end());
    return "Command: " + winsim::JoinCommandLine(words);
}

std::vector<std::string> DescribeActs(const std::vector<winsim::TriedAct>& acts)
{
    std::vector<std::string> lines;
    for (const winsim::TriedAct& tried : acts)
    {
        const std::string end = tried.error == 0 ? "done" : fmt::format("refused ({})", tried.error);
        lines.push_back(fmt::format("  after call {}: {}: {}", tried.afterCall, TextOf(tried.act), end));
    }
    return lines;
}

} // namespace

std::string TextReport(const Options& options, const Machine& before, const Outcome& outcome)
{
    const std::optional<std::string> whyNoResult = WhyNoResult(outcome);
    std::string report = whyNoResult ? fmt::format("No result: {}\n", *whyNoResult) : "";
    report += fmt::format("Machine: {} (Windows {}.{}, {})\n{}\n", before.title, before.windows.major,
                          before.windows.minor, options.machinePath, DescribeEntry(options, before));
    for (std::size_t i = 0; i < options.faults.size(); ++i)
        report += DescribeFault(options.faults[i], outcome.faultsReached[i], outcome);

    if (options.trace != Trace::None)
        AppendSection(report, "Calls", DescribeCalls(options, outcome));
    if (!outcome.triedActs.empty())
        AppendSection(report, "Meanwhile", DescribeActs(outcome.triedActs));
    AppendSection(report, "Log", DescribeLog(Fold(winsim::LogLines(before, outcome.machine))));

    const std::vector<Change> changes = Compare(before, outcome.machine);
    report += fmt::format("\nChanged on the machine:{}\n", changes.empty() ? " nothing" : "");
    std::string area;
    for (const Change& change : changes)
    {
        if (change.area != area)
            report += fmt::format(" {}\n", area = change.area);
        report += DescribeChange(change) + "\n";
    }

    if (!outcome.violations.empty())
        AppendSection(report, "Handles and memory treated wrongly", Indented(outcome.violations));
    report += fmt::format("\nWaiting: {}\n", DescribeDuration(outcome.clockMs));
    if (!whyNoResult)
        report += fmt::format("Exit code: {}\n", outcome.exitCode);
    return report;
}

Json JsonReport(const Options& options, const Machine& before, const Outcome& outcome)
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
            {"faults", FaultsIn(options, outcome)},
            {"changes", ChangesIn(before, outcome.machine, !log.repeats.empty())},
            {"clockMs", outcome.clockMs},
            {"violations", outcome.violations}};
}

int ExitStatusOf(const Outcome& outcome)
{
    if (outcome.death)
        return exit_status::kDeath;
    if (outcome.isEndless)
        return exit_status::kEndless;
    return outcome.exitCode == 0 ? exit_status::kSuccess : exit_status::kFailure;
}
