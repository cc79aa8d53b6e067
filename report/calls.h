// The Windows calls of a rehearsal, each at its place in the run's story.
#pragma once

#include "catalogue/numbers.h"
#include "report/story.h"
#include "winsim/process/program.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace report
{

// A Windows call, or several equal ones after one line of the log.
struct RunCall
{
    std::int64_t ms = 0;      // after the run's beginning
    std::size_t line = 0;     // the index of the log line before it
    std::size_t step = 0;     // the index of its step
    bool isBeforeLog = false; // before the first line
    std::string text;         // its name and result
    std::string full;         // with all parameters
    std::string shown;        // with all parameters on one line for people, and with the name of the error
    std::size_t count = 1;
    bool isFailure = false;
    bool isFault = false; // it failed because the failure was requested
};

// Which calls to show. Calls whose failure was requested are always shown.
enum class CallChoice
{
    OfSteps, // without those that open or write the log, text and memory
    Own,     // without those that write the log, text and memory
    All,
};

// The kind of a call's error numbers.
catalogue::Meaning MeaningOfErrors(const std::string& call);

// The calls of the rehearsal that `story` describes.
std::vector<RunCall> CallsOf(const winsim::Outcome& outcome, const Story& story, CallChoice choice);

// A call and its error in words: "RegCreateKeyExA: error 5 ERROR_ACCESS_DENIED: access denied".
std::string DescribeFailure(const winsim::CallRecord& record);

// The figures of one step's calls.
struct StepFigures
{
    std::int64_t ms = 0;
    std::size_t calls = 0; // CallChoice::OfSteps
    std::size_t failed = 0;
    std::string lastFailure = {}; // in the form of DescribeFailure
};

// The figures of each step of the story.
std::vector<StepFigures> FiguresOf(const winsim::Outcome& outcome, const Story& story);

// A failed call and the index of its step.
struct FailedCall
{
    const winsim::CallRecord* record = nullptr;
    std::size_t step = 0;
};

// The call whose failure led to the first problem of the story: the last call that failed before the problem's line, in
// the same step. For a failure without a line it is the last one that failed in the step of the failure; for a run
// without a result, the last one that failed after the last line. Nothing if no call failed there.
std::optional<FailedCall> FirstFailedCall(const winsim::Outcome& outcome, const Story& story);

// The index of the step in which the run made its last call; nothing if its log has no lines.
std::optional<std::size_t> LastStep(const winsim::Outcome& outcome, const Story& story);

} // namespace report
