// The images of the toolkit's program.
#pragma once

#include "winsim/process/program.h"

#include <string>

namespace winsim
{

// The image of a file name that lies beside the running tool or test, with what is known of the toolkit's program:
// which texts hold passwords, and where a log line has the time.
Program ImageBeside(const std::string& fileName);

} // namespace winsim
