// The TPM commands that Windows blocks and the toolkit needs.
#pragma once

#include <windows.h>

// On Windows Vista and later, takes seven commands off the list of blocked ones and, if the TPM Base Services run,
// restarts them to make this take effect: the stacks' services are stopped before, and only NTRU's is started again.
// Logs each step and each failure.
// Returns  0  the TPM Base Services were restarted, or did not run and the commands were unblocked
//          1  before Vista: nothing was done
//         -1  the TPM Base Services did not run, and the list could not be opened
//         -2  the restart failed
int UnblockTpmCommands();

// Replaces the access list of a registry key by one that lets users read and gives administrators and LocalSystem full
// access (SetNamedSecurityInfoW); when that is refused, makes the administrators the owner first. `objectName` (UTF-16)
// is in the form of the security functions ("MACHINE\SOFTWARE\..."). True when the list is in place; false when not, or
// when an exception was caught. Logs the success or the failure.
bool TakeKeyOwnership(const wchar_t* objectName);

// Deletes a value of a key under HKEY_LOCAL_MACHINE (both UTF-16). True when the key could be opened, even if the value
// could not be deleted; false when not. Logs nothing.
bool DeleteRegistryValue(const wchar_t* subkey, const wchar_t* valueName);

// The privilege to change the owner of an object despite its access list.
inline constexpr char kTakeOwnership[] = "SeTakeOwnershipPrivilege";

// Enables or disables a privilege (ANSI name) of a token opened with TOKEN_ADJUST_PRIVILEGES (AdjustTokenPrivileges).
// True when the token has the privilege and it was set. Logs nothing.
bool SetPrivilege(HANDLE token, const char* privilegeName, bool enable);
