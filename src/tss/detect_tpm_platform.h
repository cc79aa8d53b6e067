// Whether a TCG software stack and its TPM are usable.
#pragma once

#include <windows.h>

// Cleans up after an earlier installation of a stack (processes, a shim library, a stale service) and asks the stack's
// detection library, <target><vendor>\stkprobe.dll, for the state of stack and TPM. `target` (ANSI) ends in a
// backslash. `vendor` (ANSI, case-sensitive) is "KELO", "NTRU12" or "NTRU"; or null for <target>stkprobe.dll, without a
// clean-up. NTRU's processes and service are cleaned up once in a process. Logs each step; reports an incorrect SRK
// authorization to the event log.
// Returns whether the platform is usable. `resultCode` is always written:
//       0  usable
//   10015  the library could not be loaded, the TPM is not enabled or not activated, NTRU's service could not be
//          restarted, or an exception was caught
//   10016  the library lacks a function
//  others  the answer of the library's DetectTSS
bool DetectTPMPlatform(const char* target, const char* vendor, DWORD* resultCode);
