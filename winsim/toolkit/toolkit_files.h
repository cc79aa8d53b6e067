// Whether the toolkit's files are on a machine.
#pragma once

#include "winsim/machine/machine.h"

#include <string>

namespace winsim
{

// The folder in which the program looks for the toolkit's files: that of its own file, without a backslash at its end.
std::string ToolkitFolder(const Machine& machine);

// Whether none of the libraries and programs is there that the program loads and starts.
bool LacksToolkit(const Machine& machine);

} // namespace winsim
