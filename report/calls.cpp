// Relates a rehearsal's calls to the lines of its log and to its steps.
#include "report/calls.h"

#include "report/begun_steps.h"
#include "winsim/base/error_names.h"
#include "winsim/machine/fault_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

namespace report
{

namespace
{

using winsim::CallRecord;
using winsim::Json;
using winsim::Outcome;

// The calls that the log makes for each line.
constexpr std::string_view kLogCalls[] = {"GetSystemTime", "GetTimeZoneInformation", "GetCurrentThreadId", "fputs",
                                          "fflush"};

// How INVALID_HANDLE_VALUE is recorded: it has the value of the process's own handle.
constexpr char kInvalidHandle[] = "process#current";

bool IsLogCall(const CallRecord& record)
{
    return std::find(std::begin(kLogCalls), std::end(kLogCalls), record.name) != std::end(kLogCalls);
}

// Whether the call at this index is to be shown. The logs are opened before the program's entry.
bool IsChosen(const Outcome& outcome, std::size_t index, CallChoice choice)
{
    const CallRecord& record = outcome.calls[index];
    if (choice == CallChoice::All || record.isFault)
        return true;
    return !record.isHousekeeping && !IsLogCall(record) && (choice == CallChoice::Own || index >= outcome.bodyBegin);
}

bool IsLineWritten(const CallRecord& record)
{
    return record.name == "fputs" && record.result.is_number() && record.result.get<int>() >= 0;
}

bool HasThrown(const CallRecord& record)
{
    return record.out.contains("exception") && record.out["exception"].is_string();
}

// Whether a call failed, judged by its result: the last error may be an older one.
bool HasFailed(const CallRecord& record)
{
    if (HasThrown(record))
        return true;
    const bool isOfRuntime =
        record.name.front() == '_' || std::islower(static_cast<unsigned char>(record.name.front())) != 0;
    if (record.error == 0 || isOfRuntime || winsim::CannotFail(record.name) || winsim::IsLibraryFunction(record.name))
        return false;
    const Json& result = record.result;
    return result.is_null() || result == kInvalidHandle || (result.is_boolean() && !result.get<bool>()) ||
           (result.is_number() && (result.get<std::int64_t>() <= 0 || result.get<std::int64_t>() == record.error));
}

catalogue::Number ErrorOf(const CallRecord& record)
{
    return catalogue::Explain(record.error, MeaningOfErrors(record.name));
}

// "error 5 ERROR_ACCESS_DENIED", or the exception that the call threw.
std::string NamedError(const CallRecord& record)
{
    if (HasThrown(record))
        return record.out["exception"].get<std::string>();
    const std::string number =
        record.error >= 0x80000000 ? fmt::format("0x{:08X}", record.error) : std::to_string(record.error);
    const std::string name = ErrorOf(record).name;
    return "error " + number + (name.empty() ? "" : " " + name);
}

std::string FullTextOf(const CallRecord& record)
{
    std::string text = record.name + record.in.dump() + " -> " + record.result.dump();
    return record.out.empty() ? text : text + " " + record.out.dump();
}

// A value with blanks after its commas, so that it can continue on a new line.
std::string Spaced(const Json& value)
{
    if (!value.is_structured())
        return value.dump(-1, ' ', false, Json::error_handler_t::replace);
    std::string text;
    for (const auto& [name, member] : value.items())
        text += (text.empty() ? "" : ", ") + (value.is_object() ? name + "=" : "") + Spaced(member);
    return value.is_object() ? "{" + text + "}" : "[" + text + "]";
}

std::string ShownTextOf(const CallRecord& record, bool isFailure)
{
    std::string text = record.name + "(";
    for (const auto& [name, value] : record.in.items())
        text += fmt::format("{}{}={}", text.ends_with('(') ? "" : ", ", name, Spaced(value));
    text += ") -> " + (isFailure && record.result == kInvalidHandle ? "INVALID_HANDLE_VALUE" : Spaced(record.result));
    if (!record.out.empty())
        text += " " + Spaced(record.out);
    if ((isFailure || record.isFault) && !HasThrown(record) && record.error != 0)
        text += "  " + NamedError(record);
    return record.isFault ? text + "  (fault)" : text;
}

RunCall CallOf(const CallRecord& record, std::uint64_t beginMs)
{
    RunCall call;
    call.ms = static_cast<std::int64_t>(record.clockMs - std::min(beginMs, record.clockMs));
    call.isFailure = HasFailed(record);
    call.isFault = record.isFault;
    const std::string error = call.isFailure ? fmt::format("  error {}", record.error) : "";
    call.text = record.name + error;
    call.full = FullTextOf(record) + error;
    call.shown = ShownTextOf(record, call.isFailure);
    return call;
}

// For each line of the log, its index in a story, where equal lines in a row are one.
std::vector<std::size_t> IndicesIn(const Story& story)
{
    std::vector<std::size_t> indices;
    for (std::size_t i = 0; i < story.lines.size(); ++i)
        indices.insert(indices.end(), story.lines[i].count, i);
    return indices;
}

// How often each recorded call was made: calls that repeat are recorded once.
std::vector<std::uint64_t> TimesOf(const Outcome& outcome)
{
    std::vector<std::uint64_t> times(outcome.calls.size(), 1);
    for (const winsim::Repeat& repeat : outcome.repeats)
    {
        for (std::size_t i = repeat.first; i < std::min(repeat.first + repeat.length, times.size()); ++i)
            times[i] = repeat.times;
    }
    return times;
}

// An equal call among the latest ones, which a wait repeats in turn after one log line; null if there is none.
RunCall* FindSame(std::vector<RunCall>& calls, const RunCall& call)
{
    constexpr std::size_t kLatest = 4;
    for (std::size_t i = calls.size(); i > 0 && calls.size() - i < kLatest; --i)
    {
        const RunCall& other = calls[i - 1];
        if (other.line == call.line && other.isBeforeLog == call.isBeforeLog && other.full == call.full)
            return &calls[i - 1];
    }
    return nullptr;
}

// The place of a recorded call in the story.
struct Place
{
    std::size_t line = 0;
    bool isBeforeLog = true;
    std::size_t step = 0;
    std::uint64_t times = 1;
};

// The index of the step's latest part without lines, or else of any part of it.
std::optional<std::size_t> IndexOf(const Story& story, const catalogue::Step* step)
{
    for (std::size_t i = 0; i < story.steps.size(); ++i)
    {
        if (story.steps[i].step == step)
            return i;
    }
    return std::nullopt;
}

// The place of each call. Its step is the step of the line before it, or a step that begins with a call.
std::vector<Place> PlacesOf(const Outcome& outcome, const Story& story)
{
    const std::vector<std::size_t> indices = IndicesIn(story);
    const std::vector<std::uint64_t> times = TimesOf(outcome);
    const std::vector<BegunStep> begun =
        story.action ? StepsBegunIn(catalogue::StepsOf(*story.action), outcome) : std::vector<BegunStep>{};
    auto next = begun.begin();
    std::size_t written = 0;
    Place place;
    std::vector<Place> places;
    for (std::size_t i = 0; i < outcome.calls.size(); ++i)
    {
        for (; next != begun.end() && next->record <= i; ++next)
            place.step = IndexOf(story, next->step).value_or(place.step);
        if (IsLineWritten(outcome.calls[i]))
        {
            written += times[i];
            place.isBeforeLog = indices.empty();
            place.line = indices.empty() ? 0 : indices[std::min(written, indices.size()) - 1];
            place.step = indices.empty() ? 0 : story.lines[place.line].step;
        }
        place.times = times[i];
        places.push_back(place);
    }
    return places;
}

// The time at which the first line should have been written.
std::uint64_t BeginOf(const Outcome& outcome)
{
    const auto first = std::find_if(outcome.calls.begin(), outcome.calls.end(),
                                    [](const CallRecord& record) { return record.name == "fputs"; });
    return first != outcome.calls.end() ? first->clockMs : 0;
}

} // namespace

catalogue::Meaning MeaningOfErrors(const std::string& call)
{
    switch (winsim::ErrorKindOf(call))
    {
    case winsim::ErrorKind::NtStatus:
        return catalogue::Meaning::NtStatus;
    case winsim::ErrorKind::SmartCard:
        return catalogue::Meaning::SCard;
    default:
        return catalogue::Meaning::Win32;
    }
}

std::vector<RunCall> CallsOf(const Outcome& outcome, const Story& story, CallChoice choice)
{
    const std::vector<Place> places = PlacesOf(outcome, story);
    const std::uint64_t beginMs = BeginOf(outcome);
    std::vector<RunCall> calls;
    for (std::size_t i = 0; i < outcome.calls.size(); ++i)
    {
        if (!IsChosen(outcome, i, choice))
            continue;
        RunCall call = CallOf(outcome.calls[i], beginMs);
        call.line = places[i].line;
        call.step = places[i].step;
        call.isBeforeLog = places[i].isBeforeLog;
        call.count = places[i].times;
        if (RunCall* const same = FindSame(calls, call))
            same->count += call.count;
        else
            calls.push_back(std::move(call));
    }
    return calls;
}

std::string DescribeFailure(const CallRecord& record)
{
    const std::string meaning = HasThrown(record) ? "" : ErrorOf(record).meaning;
    return record.name + ": " + NamedError(record) + (meaning.empty() ? "" : ": " + meaning);
}

std::vector<StepFigures> FiguresOf(const Outcome& outcome, const Story& story)
{
    const std::vector<Place> places = PlacesOf(outcome, story);
    std::vector<StepFigures> figures(std::max<std::size_t>(story.steps.size(), 1));
    for (std::size_t i = 0; i < outcome.calls.size(); ++i)
    {
        const CallRecord& record = outcome.calls[i];
        StepFigures& step = figures[places[i].step];
        const std::uint64_t endMs = i + 1 < outcome.calls.size() ? outcome.calls[i + 1].clockMs : outcome.clockMs;
        step.ms += static_cast<std::int64_t>(endMs - std::min(record.clockMs, endMs));
        if (!IsChosen(outcome, i, CallChoice::OfSteps))
            continue;
        step.calls += places[i].times;
        if (record.isFault || HasFailed(record))
        {
            step.failed += places[i].times;
            step.lastFailure = DescribeFailure(record);
        }
    }
    return figures;
}

std::optional<FailedCall> FirstFailedCall(const Outcome& outcome, const Story& story)
{
    const std::vector<Place> places = PlacesOf(outcome, story);
    const auto last = [&](auto isWanted) -> std::optional<FailedCall> {
        for (std::size_t i = outcome.calls.size(); i > 0; --i)
        {
            const CallRecord& record = outcome.calls[i - 1];
            const Place& place = places[i - 1];
            if (IsChosen(outcome, i - 1, CallChoice::OfSteps) && (record.isFault || HasFailed(record)) &&
                isWanted(place))
                return FailedCall{&record, place.step};
        }
        return std::nullopt;
    };
    if (!story.exitCode)
        return last([&](const Place& place) { return place.isBeforeLog || place.line + 1 == story.lines.size(); });
    const Problem* const problem = IsBrokenOff(story) ? nullptr : story.FirstProblem();
    if (problem == nullptr)
    {
        const std::optional<std::size_t> step = DecidingStep(story);
        return story.level != Level::Failed
                   ? std::nullopt
                   : last([&](const Place& place) { return story.lines.empty() || place.step == step; });
    }
    if (!problem->line)
        return last([&](const Place& place) { return story.steps[place.step].Name() == problem->step; });
    const std::size_t line = *problem->line;
    // A call made before the first line of a step has its place in the step before.
    if (const auto atOnce = last([&](const Place& place) { return line > 0 && place.line + 1 == line; }))
        return FailedCall{atOnce->record, story.lines[line].step};
    return last([&](const Place& place) { return place.step == story.lines[line].step && place.line < line; });
}

std::optional<std::size_t> LastStep(const Outcome& outcome, const Story& story)
{
    if (story.lines.empty())
        return std::nullopt;
    return outcome.calls.empty() ? story.lines.back().step : PlacesOf(outcome, story).back().step;
}

} // namespace report
