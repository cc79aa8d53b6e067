// Where the toolkit's detection libraries lie.
#pragma once

#include "windows/bounded_path.h"

// The file name of a detection library, with the backslash before it.
inline constexpr char kProbeLibraryFile[] = "\\stkprobe.dll";

// The detection library of a TCG software stack: <target><vendor>\stkprobe.dll, or <target>stkprobe.dll when
// `vendor` is null (ANSI; `target` ends in a backslash). Empty when the path has more than 239 characters and
// when `target` is null or not a full path: a path that a search would complete is never made. Logs nothing.
BoundedPath ProbeLibraryPath(const char* target, const char* vendor);
