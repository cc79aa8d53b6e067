// The scheduled tasks of certificate auto-enrollment, which the toolkit's task library makes and removes.
#pragma once

// Has the task library make the tasks, when the registry asks for them and they are not there. 0 when made, when
// not wanted, when there already and on Windows XP, which has no such tasks; also in a 32-bit process on 64-bit
// Windows. -1 when the task library cannot be found, loaded or used, when it reports a failure, and when an
// exception of any kind came out of it: it is freed all the same. Logs the outcome, and the last error of a failing
// IsWow64Process, which does not stop it.
int InstallAutoEnrollmentTasks();

// Has the task library remove the tasks, whether or not the registry asks for them. 0 when it was called, whatever
// it reports, and in a 32-bit process on 64-bit Windows; -1 when it cannot be found, loaded or used, and
// when an exception of any kind came out of it. Logs each failure.
int RemoveAutoEnrollmentTasks();
