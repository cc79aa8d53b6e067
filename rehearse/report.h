// What kelo-rehearse prints.
#pragma once

#include "rehearse/options.h"
#include "report/terminal.h"
#include "winsim/process/program.h"

#include <optional>
#include <string>

// The report for people: whether it worked, if not what failed first, how long it waited and how much it changed; then
// the steps, the changes and the log.
std::string TextReport(const Options& options, const report::Style& style, const winsim::Machine& before,
                       const winsim::Outcome& outcome);

// The same of a run on another machine that is like the described one. `seen` is what is known of it, as
// docs/rehearsal.md describes it. Throws winsim::Json::exception when it is something else.
std::string TextReportOf(const winsim::Json& seen, const Options& options, const report::Style& style,
                         const winsim::Machine& machine);

// The report for programs, as docs/rehearsal.md describes it.
winsim::Json JsonReport(const Options& options, const winsim::Machine& before, const winsim::Outcome& outcome);

// Why a run has no result; nothing when it has one.
std::optional<std::string> WhyNoResult(const winsim::Outcome& outcome);

// The status for the shell.
int ExitStatusOf(const winsim::Outcome& outcome);
int ExitStatusOf(const winsim::Json& seen);
