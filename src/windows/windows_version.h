// What Windows this is, and how this process runs on it.
#pragma once

#include <windows.h>

#include <optional>

// Whether this is Windows `major`.`minor` or later, with any service pack (VerifyVersionInfoW). False also when the
// call fails. Logs nothing.
bool IsWindowsVersionAtLeast(DWORD major, DWORD minor);

// Returns the major version number of Windows (GetVersionExA), such as 5 for XP and 6 for Vista; 0 outside of the NT
// family and when the call fails. Logs nothing.
DWORD GetWindowsMajorVersion();

// Whether this is a 32-bit process on 64-bit Windows (IsWow64Process). Nothing, with the last error, when the call
// fails. Logs nothing.
std::optional<bool> IsWow64();

// The greatest major version number of the systems before Windows Vista.
inline constexpr DWORD kMajorVersionBeforeVista = 5;
