// The scheduled tasks of certificate auto-enrollment, which the toolkit's task library makes and removes.
#pragma once

// Has the task library make the tasks, if the registry asks for them and they are not there. Logs the outcome, and the
// last error of a failing IsWow64Process, which does not stop it.
// Returns  0  made, not wanted, or already there; nothing done on Windows XP, which has no such tasks, or in a 32-bit
//             process on 64-bit Windows
//         -1  the task library cannot be found, loaded or used, it reports a failure, or an exception of any kind
//             came out of it
int InstallAutoEnrollmentTasks();

// Has the task library remove the tasks, whether or not the registry asks for them. Logs each failure.
// Returns  0  the library was called, whatever its result; nothing done in a 32-bit process on 64-bit Windows
//         -1  the library cannot be found, loaded or used, or an exception of any kind came out of it
int RemoveAutoEnrollmentTasks();
