// What Windows this is.
#pragma once

#include <windows.h>

// Whether this is Windows `major`.`minor` or later (VerifyVersionInfoW; service packs take no part). False
// also when the call fails. Logs nothing.
bool IsWindowsVersionAtLeast(DWORD major, DWORD minor);

// The major version number of a Windows of the NT family (GetVersionExA): 5 for XP, 6 from Vista on. 0 for
// another family, and when the version cannot be had. Logs nothing.
DWORD GetWindowsMajorVersion();

// The greatest major version number of the systems before Windows Vista.
inline constexpr DWORD kMajorVersionBeforeVista = 5;
