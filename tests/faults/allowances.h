// What a run may do that would otherwise be a fault: the changes that it is there for, the failures that are to pass in
// silence, and the waits that have no end.
#pragma once

#include "winsim/process/program.h"

#include <string>
#include <vector>

// What the entry point returns when it cannot read its CustomActionData.
inline constexpr int kNoCustomActionData = 10001;

// Whether the program is there to change this. Processes are not asked about here.
bool IsDocumented(const winsim::Change& change);

// Whether the program ended no process but those that it is to end.
bool AreOnlyLeftOversEnded(const winsim::Machine& before, const winsim::Machine& after);

// Whether a failing call is meant to leave no line of its own in the log of its step. `linesBehind` are the messages
// that were logged behind the call.
bool PassesInSilence(const winsim::CallRecord& failed, const std::string& step,
                     const std::vector<std::string>& linesBehind);

// Whether what a call came to in a step has to be waited for without an end.
bool MayWaitForEver(const winsim::CallRecord& failed, const std::string& step);
