// Tells what a rehearsal did.
#include "rehearse/report.h"

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
    return line;
}

std::string DescribeDuration(std::uint64_t ms)
{
    return ms == 0 ? "none" : fmt::format("{}.{:03} s", ms / 1000, ms % 1000);
}

template <typename Item, typename Describe>
void AppendSection(std::string& report, const char* title, const std::vector<Item>& items, Describe describe)
{
    report += fmt::format("\n{}:{}\n", title, items.empty() ? " none" : "");
    for (const Item& item : items)
        report += describe(item) + "\n";
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

std::string DescribeAct(const winsim::TriedAct& tried)
{
    const std::string end = tried.error == 0 ? "done" : fmt::format("refused ({})", tried.error);
    return fmt::format("  after call {}: {}: {}", tried.afterCall, TextOf(tried.act), end);
}

} // namespace

std::string TextReport(const Options& options, const Machine& before, const Outcome& outcome)
{
    std::string report = fmt::format("Machine: {} (Windows {}.{}, {})\n{}\n", before.title, before.windows.major,
                                     before.windows.minor, options.machinePath, DescribeEntry(options, before));

    if (options.trace != Trace::None)
    {
        std::vector<winsim::CallRecord> shown;
        for (const winsim::CallRecord& record : outcome.calls)
        {
            if (options.trace == Trace::All || !record.isHousekeeping)
                shown.push_back(record);
        }
        AppendSection(report, "Calls", shown, &DescribeCall);
    }
    if (!outcome.triedActs.empty())
        AppendSection(report, "Meanwhile", outcome.triedActs, &DescribeAct);
    AppendSection(report, "Log", winsim::LogLines(before, outcome.machine),
                  [](const std::string& line) { return "  " + line; });

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
        AppendSection(report, "Handles and memory treated wrongly", outcome.violations,
                      [](const std::string& text) { return "  " + text; });
    report += fmt::format("\nWaiting: {}{}\n", DescribeDuration(outcome.clockMs),
                          outcome.isEndless ? " (it would wait for ever; ended here)" : "");
    report += fmt::format("Exit code: {}\n", outcome.exitCode);
    return report;
}

Json JsonReport(const Machine& before, const Outcome& outcome)
{
    Json calls = Json::array();
    for (const winsim::CallRecord& record : outcome.calls)
        calls.push_back(ToJson(record));
    Json changes = Json::array();
    for (const Change& change : Compare(before, outcome.machine))
        changes.push_back(ToJson(change));
    Json events = Json::array();
    const auto& entries = outcome.machine.events.ToJson();
    for (std::size_t i = before.events.entries.size(); i < entries.size(); ++i)
        events.push_back(entries[i]);
    return {{"exitCode", outcome.exitCode},
            {"log", winsim::LogLines(before, outcome.machine)},
            {"stdout", outcome.standardOutput},
            {"events", events},
            {"calls", calls},
            {"changes", changes},
            {"clockMs", outcome.clockMs},
            {"endless", outcome.isEndless},
            {"violations", outcome.violations}};
}
