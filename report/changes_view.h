// The changes that a run made to the machine, in words.
#pragma once

#include "report/terminal.h"
#include "winsim/machine/machine.h"

#include <string>
#include <vector>

namespace report
{

// How many things changed, and where: "17: 8 in the registry, 7 files and folders, 1 service"; "none".
std::string CountChanges(const std::vector<winsim::Change>& changes);

// The changes area by area: registry values by their types, files by their changes, access lists as tables. With
// everything, each value is shown completely, and so are the properties of a service that only rehearsals need.
std::string ShowChanges(const Style& style, const std::vector<winsim::Change>& changes, bool withEverything);

} // namespace report
