// The changes of a machine, counted as a reader counts them.
#pragma once

#include "winsim/machine/machine.h"

#include <vector>

namespace report
{

// The same changes, with two differences. A file's properties as a library or a program become part of the file's own
// change, or a change of the file. An element of a list that only has a new index has not changed.
std::vector<winsim::Change> MergeChanges(const std::vector<winsim::Change>& changes);

} // namespace report
