// Rehearsals on many machines.
#pragma once

#include "rehearse/options.h"

// Rehearses on each machine, on several processors, and prints a line of JSON for each on standard output, in the order
// of the descriptions; at the end, the table of outcomes on standard error. Returns the exit status. Throws
// std::runtime_error if the lines or the page cannot be written.
int RehearseMany(const Options& options);
