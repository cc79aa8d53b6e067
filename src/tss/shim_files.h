// The toolkit's shim library in the Windows system directory.
#pragma once

#include <windows.h>

// Which library the shim stands in for.
inline constexpr DWORD kTsp1Slot = 0;
inline constexpr DWORD kTspiSlot = 2;

// Takes the shim of `slot` out of the system directory (SHGetFolderPathA): deletes it or, when it is in use,
// moves it to its backup name, over an older backup. 0 when it was deleted; 1 when it was moved; -1 when it
// could be neither deleted nor moved, as when it is not there, and when an exception was caught; 2 when the system
// directory is unknown. Logs each step and each failure with the last error.
int RemoveTSP1File(DWORD slot);

// Copies the toolkit's shim, <target><vendor>\TSP1-kelo.dll (ANSI; `target` ends in a backslash), into the system
// directory under the name that `slot` stands for. A file that is already there is left alone, and nothing is copied
// from a target that is not a full path. True when the copy was made. Logs the outcome, a failure with the last
// error, and an exception that was caught.
bool CopyShimFile(const char* target, const char* vendor, DWORD slot);
