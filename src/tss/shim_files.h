// The toolkit's shim library in the Windows system directory.
#pragma once

#include <windows.h>

// Which library the shim stands in for.
inline constexpr DWORD kTsp1Slot = 0;
inline constexpr DWORD kTspiSlot = 2;

// Takes the shim of `slot` out of the system directory (SHGetFolderPathA): deletes it or, when it is in use, moves it
// to its backup name, over an older backup. Logs each step and each failure with the last error.
// Returns  0  deleted
//          1  moved
//          2  the system directory is unknown
//         -1  neither deleted nor moved, as when it is missing, or an exception was caught
int RemoveTSP1File(DWORD slot);

// Copies the toolkit's shim, <target><vendor>\TSP1-kelo.dll (ANSI; `target` ends in a backslash), into the system
// directory under the name that `slot` stands for. Does not replace a file, and copies nothing from a target that is
// not a full path. True when the copy was made. Logs the outcome, a failure with the last error, and an exception that
// was caught.
bool CopyShimFile(const char* target, const char* vendor, DWORD slot);
