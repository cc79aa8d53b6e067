// The deviations that are not faults: the changes that the program is made for, the failures that may be silent, and
// the waits without an end.
#pragma once

#include "winsim/process/program.h"

#include <string>
#include <vector>

// The entry point's result when it cannot read its CustomActionData.
inline constexpr int kNoCustomActionData = 10001;

// Whether the program is meant to make this change. Not for processes.
bool IsDocumented(const winsim::Change& change);

// Whether the program ended only processes that it is meant to end.
bool AreOnlyLeftOversEnded(const winsim::Machine& before, const winsim::Machine& after);

// Whether a failing call is meant to leave no line of its own in the log of its step. `linesAfter` are the messages
// that were logged after the call.
bool PassesInSilence(const winsim::CallRecord& failed, const std::string& step,
                     const std::vector<std::string>& linesAfter);

// Whether the outcome of this call in a step may be waited for without an end.
bool MayWaitForEver(const winsim::CallRecord& failed, const std::string& step);
