// What kelo-rehearse prints.
#pragma once

#include "rehearse/options.h"
#include "winsim/core/program.h"

#include <string>

// The report for people: the machine, the command, the log, what changed, the waiting and the exit code; of a run
// without a result, that it has none in the first line.
std::string TextReport(const Options& options, const winsim::Machine& before, const winsim::Outcome& outcome);

// The report for programs, as docs/rehearsal.md describes it.
winsim::Json JsonReport(const Options& options, const winsim::Machine& before, const winsim::Outcome& outcome);

// The status for the shell.
int ExitStatusOf(const winsim::Outcome& outcome);
