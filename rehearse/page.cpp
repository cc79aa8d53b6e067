// Links a rehearsal's calls with the lines of its log.
#include "rehearse/page.h"

#include "report/page.h"
#include "winsim/core/fault_table.h"
#include "winsim/core/install_log.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

namespace
{

using report::PageCall;
using report::Story;
using winsim::CallRecord;
using winsim::Json;

// What the log itself calls for each line.
constexpr std::string_view kLogCalls[] = {"GetSystemTime", "GetTimeZoneInformation", "GetCurrentThreadId", "fputs",
                                          "fflush"};

bool IsLogCall(const CallRecord& record)
{
    return std::find(std::begin(kLogCalls), std::end(kLogCalls), record.name) != std::end(kLogCalls);
}

std::string FullTextOf(const CallRecord& record)
{
    std::string text = record.name + record.in.dump() + " -> " + record.result.dump();
    return record.out.empty() ? text : text + " " + record.out.dump();
}

// Whether a call failed, by its result: the last error may be one from before.
bool HasFailed(const CallRecord& record)
{
    const bool isOfRuntime =
        record.name.front() == '_' || std::islower(static_cast<unsigned char>(record.name.front())) != 0;
    if (record.error == 0 || isOfRuntime || winsim::CannotFail(record.name) || winsim::IsLibraryFunction(record.name))
        return false;
    const Json& result = record.result;
    return result.is_null() || (result.is_boolean() && !result.get<bool>()) ||
           (result.is_number() && (result.get<std::int64_t>() <= 0 || result.get<std::int64_t>() == record.error));
}

PageCall CallOf(const CallRecord& record, std::uint64_t beginMs)
{
    PageCall call;
    call.ms = static_cast<std::int64_t>(record.clockMs - std::min(beginMs, record.clockMs));
    call.isFailure = HasFailed(record);
    const std::string error = call.isFailure ? fmt::format("  error {}", record.error) : "";
    call.text = record.name + error;
    call.full = FullTextOf(record) + error;
    return call;
}

// The index in a story, where equal lines in a row are one, of each line of the log.
std::vector<std::size_t> IndicesIn(const Story& story)
{
    std::vector<std::size_t> indices;
    for (std::size_t i = 0; i < story.lines.size(); ++i)
        indices.insert(indices.end(), story.lines[i].count, i);
    return indices;
}

// How often each recorded call was made: those that repeat are recorded once.
std::vector<std::uint64_t> TimesOf(const winsim::Outcome& outcome)
{
    std::vector<std::uint64_t> times(outcome.calls.size(), 1);
    for (const winsim::Repeat& repeat : outcome.repeats)
    {
        for (std::size_t i = repeat.first; i < std::min(repeat.first + repeat.length, times.size()); ++i)
            times[i] = repeat.times;
    }
    return times;
}

// The same call among the latest ones, which a wait repeats in turn after one log line; null for none.
PageCall* FindSame(std::vector<PageCall>& calls, const PageCall& call)
{
    constexpr std::size_t kLatest = 4;
    for (std::size_t i = calls.size(); i > 0 && calls.size() - i < kLatest; --i)
    {
        if (calls[i - 1].line == call.line && calls[i - 1].full == call.full)
            return &calls[i - 1];
    }
    return nullptr;
}

// The calls but for those of the log and of text and memory, each with the line before it.
std::vector<PageCall> CallsOf(const winsim::Outcome& outcome, const Story& story)
{
    const std::vector<std::size_t> indices = IndicesIn(story);
    const auto first = std::find_if(outcome.calls.begin(), outcome.calls.end(),
                                    [](const CallRecord& record) { return record.name == "fputs"; });
    const std::uint64_t beginMs = first != outcome.calls.end() ? first->clockMs : 0;
    std::vector<PageCall> calls;
    const std::vector<std::uint64_t> times = TimesOf(outcome);
    std::size_t written = 0;
    for (std::size_t i = 0; i < outcome.calls.size(); ++i)
    {
        const CallRecord& record = outcome.calls[i];
        if (record.name == "fputs" && record.result.is_number() && record.result.get<int>() >= 0)
            written += times[i];
        if (record.isHousekeeping || IsLogCall(record))
            continue;
        PageCall call = CallOf(record, beginMs);
        if (written > 0 && !indices.empty())
            call.line = indices[std::min(written, indices.size()) - 1];
        call.count = times[i];
        if (PageCall* const same = FindSame(calls, call))
            same->count += call.count;
        else
            calls.push_back(std::move(call));
    }
    return calls;
}

} // namespace

std::string PageReport(const Options& options, const winsim::Machine& before, const winsim::Outcome& outcome)
{
    std::string log;
    for (const std::string& line : winsim::LogLines(before, outcome.machine))
        log += line + "\n";
    const Story story = report::Tell(report::ReadLogLines(log));
    report::PageRun run{.story = &story, .command = options.exportName};
    for (const std::string& argument : options.arguments)
        run.command += (run.command.empty() ? "" : " ") + argument;
    run.command += fmt::format(" on {}: exit code {}", options.machinePath, outcome.exitCode);
    run.calls = CallsOf(outcome, story);
    for (const winsim::Change& change : Compare(before, outcome.machine))
        run.changes.push_back({change.kind, change.area, change.item});
    return report::Page("Rehearsal: " + before.title, {run}, 0);
}
