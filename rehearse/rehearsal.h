// One rehearsal.
#pragma once

#include "rehearse/options.h"
#include "winsim/process/program.h"

// Runs the program, or its exported entry point, on a machine as the options ask.
winsim::Outcome Rehearse(const Options& options, const winsim::Machine& machine);
