// What a run may do that would otherwise be a fault: the changes that it is there for, the failures that are to pass in
// silence, and the waits that have no end.
#pragma once

#include "winsim/core/program.h"

#include <string>
#include <vector>

// What the entry point returns when it cannot read its CustomActionData.
inline constexpr int kNoCustomActionData = 10001;

// Whether the program is there to change this. Processes are not asked about here.
bool IsDocumented(const winsim::Change& change);

// Whether the program ended no process but those that it is to end.
bool AreOnlyLeftOversEnded(const winsim::Machine& before, const winsim::Machine& after);

// Whether a failing call is meant to leave no line in the log of its step.
bool PassesInSilence(const winsim::CallRecord& failed, const std::string& step);

// Whether a run with these failures is one that must wait without an end.
bool MayWaitForEver(const std::vector<winsim::Fault>& faults);
