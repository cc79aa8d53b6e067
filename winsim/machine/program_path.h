// Where the program is installed.
#pragma once

namespace winsim
{

// The full path of the program's file (UTF-8) on a machine whose description does not say it. Declared here, and
// defined for each program that runs on the machine (winsim/toolkit/program_path.cpp).
extern const char* const kProgramPath;

} // namespace winsim
