// The paths of the toolkit's detection libraries.
#pragma once

#include "windows/bounded_path.h"

// The file name of a detection library, with the backslash before it.
inline constexpr char kProbeLibraryFile[] = "\\stkprobe.dll";

// Returns the path of a TCG software stack's detection library: <target><vendor>\stkprobe.dll, or <target>stkprobe.dll
// when `vendor` is null (ANSI; `target` ends in a backslash). Empty when the path has more than 239 characters, and
// when `target` is null or not a full path: Windows would search for the library. Logs nothing.
BoundedPath ProbeLibraryPath(const char* target, const char* vendor);
