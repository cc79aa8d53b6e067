// The images of the toolkit's program.
#pragma once

#include "winsim/process/program.h"

#include <string>

namespace winsim
{

// The image with this file name in the folder of the running tool or test, with the rules of the toolkit's program:
// which texts contain passwords, and where a log line has the time.
Program ImageBeside(const std::string& fileName);

} // namespace winsim
