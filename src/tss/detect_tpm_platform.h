// Whether a TCG software stack and the TPM behind it are usable.
#pragma once

#include <windows.h>

// Clears away what an earlier installation of a stack left behind (processes, a shim library, a stale service) and
// asks the stack's detection library, <target><vendor>\stkprobe.dll, for the state of stack and TPM. `target` (ANSI)
// ends in a backslash; `vendor` (ANSI, case-sensitive) is "KELO", "NTRU12" or "NTRU", or null for the library at
// the target itself, before which nothing is cleared away. NTRU's processes and service are cleared away once per
// process. True when the platform is usable. `resultCode` is always written: 0 when usable; 10015 when the library
// could not be loaded, the TPM is not enabled or not activated, NTRU's service could not be restarted, or an
// exception was caught; 10016 when the library lacks a function; else what the library's DetectTSS answered. Logs
// each step; reports an incorrect SRK authorization to the event log.
bool DetectTPMPlatform(const char* target, const char* vendor, DWORD* resultCode);
