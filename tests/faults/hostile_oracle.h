// What must hold for every run on a machine that an ordinary user prepared or changes meanwhile.
#pragma once

#include "tests/faults/sweep_case.h"

#include <string>
#include <vector>

// What is wrong with a run, a sentence each. `undisturbed` is the same run without the user.
std::vector<std::string> HostileComplaints(const winsim::Outcome& undisturbed, const winsim::Outcome& outcome);
