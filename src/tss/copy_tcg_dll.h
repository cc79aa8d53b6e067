// The copy of the detection library in the Windows system directory.
#pragma once

// Copies <target><vendor>\stkprobe.dll (ANSI; `target` ends in a backslash) over the one in the system32 folder of
// the directory that the environment variable "windir" names (of GetWindowsDirectoryA's when it names none). A file
// there that cannot be overwritten is first moved to "stkprobe.bk1", over an older backup. Nothing is copied,
// deleted or moved when a path would have more than 239 characters, and when the target is not a full path. Always 0,
// also when an exception of any kind was caught. Logs the outcome, each failure with the last error.
int CopyTCGDLL(const char* target, const char* vendor);
