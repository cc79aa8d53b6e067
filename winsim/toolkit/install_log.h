// Reads the program's install log from a simulated machine.
#pragma once

#include "winsim/machine/machine.h"

#include <string>
#include <vector>

namespace winsim
{

// The lines that a run added to the install log (UTF-8), with their headers.
std::vector<std::string> LogLines(const Machine& before, const Machine& after);

// A log line without its header of time, zone and thread.
std::string MessageOf(const std::string& logLine);

// Whether a line begins with such a header: "2013/05/07 14:03:09.042 TZ-4 [3120] ".
bool BeginsWithHeader(const std::string& logLine);

// Whether a file is the install log, by its path.
bool IsInstallLog(const std::string& path);

} // namespace winsim
