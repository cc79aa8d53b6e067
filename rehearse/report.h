// The output of kelo-rehearse.
#pragma once

#include "rehearse/options.h"
#include "report/story.h"
#include "report/terminal.h"
#include "winsim/process/program.h"

#include <optional>
#include <string>

// The first of the program's arguments, or the export's name; empty for neither.
std::string SwitchOf(const Options& options);

// The story of a rehearsal.
report::Story StoryOf(const Options& options, const winsim::Machine& before, const winsim::Outcome& outcome);

// The report for people: whether the run worked, or else what failed first, how long it waited and how much it changed;
// then the steps, the changes and the log.
std::string TextReport(const Options& options, const report::Style& style, const winsim::Machine& before,
                       const winsim::Outcome& outcome);

// The same report on a run on another machine that resembles the described one. `seen` is the record of that run, as
// docs/rehearsal.md describes it. Throws winsim::Json::exception if it is anything else.
std::string TextReportOf(const winsim::Json& seen, const Options& options, const report::Style& style,
                         const winsim::Machine& machine);

// The report for programs, as docs/rehearsal.md describes it.
winsim::Json JsonReport(const winsim::Machine& before, const winsim::Outcome& outcome);

// Why a run has no result; nothing if it has one.
std::optional<std::string> WhyNoResult(const winsim::Outcome& outcome);

// The exit status for the shell.
int ExitStatusOf(const winsim::Outcome& outcome);
int ExitStatusOf(const winsim::Json& seen);
