// Lines that a mail program wrapped.
#pragma once

#include "report/log_lines.h"

#include <vector>

namespace report
{

// The same lines. A line that is a text of the program only together with the following lines without a header is
// joined with them.
std::vector<LogLine> JoinWrapped(std::vector<LogLine> lines);

} // namespace report
