// What a thing of the machine may be after a run with failures.
#pragma once

#include "winsim/machine/machine.h"

// Whether a changed thing has a value that a failure can leave: each part of it is as it was, as it becomes when
// nothing fails (`usual`, null for a thing that is not there then), or as the program's steps say for that failure. The
// install log may only grow.
bool IsAllowedValue(const winsim::Change& change, const winsim::Json& usual);
