// A description of the machine that a log comes from, as far as the log shows it.
#pragma once

#include "report/story.h"
#include "winsim/base/json.h"

#include <string>

// A machine description (see docs/machine.md) drafted from a run: the branch of Windows versions, the program's path,
// the stacks with their services and detection libraries, the toolkit's service program, and the registry values and
// readers that lines mention. Everything that the log does not show is as on a plain machine.
winsim::Json DraftDescription(const report::Story& story, const std::string& title);
