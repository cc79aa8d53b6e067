// Whose files and directories the program relies on.
#pragma once

#include <windows.h>

// Whether an owner is none of the machine's ordinary users: the administrators' group, LocalSystem, a service account
// (Local Service, Network Service, the account of a single service such as Windows' own installer), or the user that
// this process runs for. False also for a null owner and when the process's user cannot be told. Logs nothing.
bool IsTrustedOwner(PSID owner);

// The same of an open file or directory (GetSecurityInfo; the handle needs READ_CONTROL). 0 when the owner is trusted,
// ERROR_INVALID_OWNER (1307) when it is not, or the error of the call. Logs nothing.
DWORD CheckOwner(HANDLE file);
