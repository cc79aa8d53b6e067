// The page of a rehearsal, for a browser.
#pragma once

#include "rehearse/options.h"
#include "winsim/process/program.h"

#include <string>

// One self-contained page (HTML, UTF-8): the explained log and, beside it, the recorded calls and the changes.
std::string PageReport(const Options& options, const winsim::Machine& before, const winsim::Outcome& outcome);
