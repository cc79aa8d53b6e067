// Other running processes, by the name of their program file.
#pragma once

#include "windows/unique_handle.h"

// Finds the first process whose program file is `imageName` (ANSI, without a folder, such as "PatchAgent.exe";
// compared without regard to case) among the first 1024 that EnumProcesses lists. A process that cannot be
// opened for querying, reading and termination is passed over. The handle, with those rights, is the caller's;
// it is null when there is no such process and when the processes cannot be listed. Logs a process found.
UniqueKernelHandle FindProcessByName(const char* imageName);

// Ends the process that FindProcessByName finds for `imageName` (ANSI), with the exit code -1 (TerminateProcess),
// and does not wait for its end. True when it was told to end; false when there is none or it could not be ended.
// Logs the attempt and its outcome.
bool KillProcessByName(const char* imageName);
