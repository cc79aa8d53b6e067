// The copy of the detection library in the Windows system directory.
#pragma once

// Copies <target><vendor>\stkprobe.dll (ANSI; `target` ends in a backslash) over the one in the system32 folder of the
// directory that the environment variable "windir" names, or of GetWindowsDirectoryA's. A file there that cannot be
// overwritten is first moved to "stkprobe.bk1", over an older backup. Copies, deletes and moves nothing when a path
// would have more than 239 characters, when the target is not a full path, or when the directory is on no drive, a
// link, or an ordinary user's. Always returns 0, also when an exception of any kind was caught. Logs the outcome, and
// each failure with its error.
int CopyTCGDLL(const char* target, const char* vendor);
