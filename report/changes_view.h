// What a run changed on the machine, in words.
#pragma once

#include "report/terminal.h"
#include "winsim/machine/machine.h"

#include <string>
#include <vector>

namespace report
{

// How many things changed, and where: "17: 8 in the registry, 7 files and folders, 1 service"; "none".
std::string CountChanges(const std::vector<winsim::Change>& changes);

// The changes area by area: registry values by their types, files by what happened to them, access lists as tables.
// With everything, each value is shown whole, and what only rehearsals need to know of a service too.
std::string ShowChanges(const Style& style, const std::vector<winsim::Change>& changes, bool withEverything);

} // namespace report
