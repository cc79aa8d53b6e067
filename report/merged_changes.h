// The changes of a machine as a reader counts them.
#pragma once

#include "winsim/machine/machine.h"

#include <vector>

namespace report
{

// The same changes, but that what a file is as a library or a program belongs to the file's own change, or is one; and
// that an element of a list which only has another number now has not changed.
std::vector<winsim::Change> MergeChanges(const std::vector<winsim::Change>& changes);

} // namespace report
