// The path at which the toolkit's package installs the program.
#include "winsim/machine/program_path.h"

const char* const winsim::kProgramPath = R"(C:\Program Files\Kelo Systems Corp\Toolkit\KeloCustomAction.exe)";
