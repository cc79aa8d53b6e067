// The page of a rehearsal, for a browser.
#pragma once

#include "rehearse/options.h"
#include "winsim/process/program.h"

#include <string>

// One self-contained page (HTML, UTF-8): the log explained, and beside it the calls that were recorded and what
// changed.
std::string PageReport(const Options& options, const winsim::Machine& before, const winsim::Outcome& outcome);
