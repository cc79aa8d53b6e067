// What kelo-rehearse prints.
#pragma once

#include "rehearse/options.h"
#include "winsim/core/program.h"

#include <string>

// The report for people: the machine, the command, the log, what changed, the waiting and the exit code.
std::string TextReport(const Options& options, const winsim::Machine& before, const winsim::Outcome& outcome);

// The report for programs.
winsim::Json JsonReport(const winsim::Machine& before, const winsim::Outcome& outcome);
