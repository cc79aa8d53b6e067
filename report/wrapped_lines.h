// Lines that a mail program wrapped.
#pragma once

#include "report/log_lines.h"

#include <vector>

namespace report
{

// The same lines, but that one which is a text of the program only together with the lines without a header after it is
// joined with them.
std::vector<LogLine> JoinWrapped(std::vector<LogLine> lines);

} // namespace report
