// Other running processes, by the name of their program file.
#pragma once

#include "windows/unique_handle.h"

// Finds the first process whose program file is `imageName` (ANSI, without a folder, such as "PatchAgent.exe"; case
// does not count) among the first 1024 that EnumProcesses lists. Processes that cannot be opened for querying, reading
// and termination are skipped. Returns a handle with those rights; null when there is no such process or the processes
// cannot be listed. Logs a process that it finds.
UniqueKernelHandle FindProcessByName(const char* imageName);

// Ends the process that FindProcessByName finds for `imageName` (ANSI), with the exit code -1, and does not wait for
// its end (TerminateProcess). True when it was told to end; false when there is none or it could not be told. Logs the
// attempt and its outcome.
bool KillProcessByName(const char* imageName);
