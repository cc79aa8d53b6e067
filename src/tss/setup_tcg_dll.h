// The set-up of the machine for a TCG software stack.
#pragma once

#include <windows.h>

// Unblocks TPM commands, opens the toolkit's configuration to the accounts that need it, chooses a TCG software stack,
// puts its libraries in place and installs the toolkit's service for it. `target` (ANSI) is the toolkit's folder and
// ends in a backslash; `vendor` (ANSI) is the stack to choose when none is usable, "KELO" or "NTRU12" (case does not
// count), or null. Logs each decision.
// Returns  0                a stack was chosen, even if steps failed
//          any other value  the result code of the last detection (DetectTPMPlatform)
DWORD SetupTCGDLL(const char* target, const char* vendor);

// Takes the shim libraries out of the system directory. Always returns 0. Logs the attempt.
int UninstallTCGDLL();
