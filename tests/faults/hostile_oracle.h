// The rules for every run on a machine that an ordinary user prepared or changes during the run.
#pragma once

#include "tests/faults/sweep_case.h"

#include <string>
#include <vector>

// The violations in a run, each as a sentence. `undisturbed` is the same run without the user.
std::vector<std::string> HostileComplaints(const winsim::Outcome& undisturbed, const winsim::Outcome& outcome);
