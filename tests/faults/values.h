// The permitted values of a thing of the machine after a run with failures.
#pragma once

#include "winsim/machine/machine.h"

// Whether a changed thing has a value that a failure can leave. Each of its parts must be unchanged, or have its value
// after a run without failures (`usual`, null for a thing that does not exist then), or the value that the program's
// steps define for that failure. The install log may only grow.
bool IsAllowedValue(const winsim::Change& change, const winsim::Json& usual);
