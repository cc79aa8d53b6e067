// The TPM commands that Windows blocks and the toolkit needs.
#pragma once

#include <windows.h>

// On Windows Vista and later, takes seven commands off the blocked ones and restarts the TPM Base Services, when
// they run, so that this takes effect; the stacks' services are stopped before, and only NTRU's is started again.
// 1 before Vista, where nothing is done; 0 when the key was opened to this program and, where needed, the restart
// succeeded, and when only the restart did; -1 when the key was not opened and there was nothing to restart; -2
// when the restart failed. Logs each step and each failure.
int UnblockTpmCommands();

// Replaces the access list of a registry key, named as the security functions name keys (UTF-16, such as
// "MACHINE\SOFTWARE\..."), by one that lets users read and administrators and LocalSystem do all
// (SetNamedSecurityInfoW); makes the administrators its owner first when that is refused. True when the list is in
// place; false also when an exception was caught. Logs the success or the failure.
bool TakeKeyOwnership(const wchar_t* objectName);

// Deletes a value of a key under HKEY_LOCAL_MACHINE (both UTF-16). True when the key could be opened, whatever
// became of the value; false when not. Logs nothing.
bool DeleteRegistryValue(const wchar_t* subkey, const wchar_t* valueName);

// The privilege to become an object's owner whatever its access list says.
inline constexpr char kTakeOwnership[] = "SeTakeOwnershipPrivilege";

// Enables or disables one privilege (ANSI name) of a token opened with TOKEN_ADJUST_PRIVILEGES. True when the
// token holds the privilege and it was set (AdjustTokenPrivileges). Logs nothing.
bool SetPrivilege(HANDLE token, const char* privilegeName, bool enable);
