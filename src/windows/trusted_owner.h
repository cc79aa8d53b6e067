// Whether the owner of a file or directory is trusted.
#pragma once

#include <windows.h>

// Whether an owner is not an ordinary user: the administrators' group, LocalSystem, a service account (Local Service,
// Network Service, or that of a single service such as Windows' own installer), or this process's own user. False also
// for a null owner, and for a user when this process's own cannot be read. Logs nothing.
bool IsTrustedOwner(PSID owner);

// Checks the owner of an open file or directory (GetSecurityInfo; the handle needs READ_CONTROL). Logs nothing.
// Returns  0                           the owner is trusted
//          ERROR_INVALID_OWNER (1307)  it is not
//          any other Win32 error       the call failed with it
DWORD CheckOwner(HANDLE file);
