// The set-up of the machine for a TCG software stack.
#pragma once

#include <windows.h>

// Opens the TPM and the toolkit's files to the toolkit, chooses the TCG software stack to run on, puts the libraries
// for it in place and installs the toolkit's service for it. `target` (ANSI) is the toolkit's folder and ends in a
// backslash; `vendor` (ANSI) is the stack to choose when none is found usable, "KELO" or "NTRU12" (compared without
// regard to case), or null. 0 when a stack was chosen, whatever became of the steps; else the result code of the
// last detection (DetectTPMPlatform). Logs each decision.
DWORD SetupTCGDLL(const char* target, const char* vendor);

// Takes the shim libraries out of the system directory. Always 0. Logs the attempt.
int UninstallTCGDLL();
