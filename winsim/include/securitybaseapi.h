// Security identifiers, tokens and privileges, for the simulated machine.
#pragma once

#include "winnt.h"

extern "C"
{
    BOOL WINAPI AllocateAndInitializeSid(PSID_IDENTIFIER_AUTHORITY pIdentifierAuthority, BYTE nSubAuthorityCount,
                                         DWORD nSubAuthority0, DWORD nSubAuthority1, DWORD nSubAuthority2,
                                         DWORD nSubAuthority3, DWORD nSubAuthority4, DWORD nSubAuthority5,
                                         DWORD nSubAuthority6, DWORD nSubAuthority7, PSID* pSid);
    PVOID WINAPI FreeSid(PSID pSid);
    BOOL WINAPI OpenProcessToken(HANDLE ProcessHandle, DWORD DesiredAccess, PHANDLE TokenHandle);
    BOOL WINAPI LookupPrivilegeValueA(LPCSTR lpSystemName, LPCSTR lpName, PLUID lpLuid);
    BOOL WINAPI AdjustTokenPrivileges(HANDLE TokenHandle, BOOL DisableAllPrivileges, PTOKEN_PRIVILEGES NewState,
                                      DWORD BufferLength, PTOKEN_PRIVILEGES PreviousState, PDWORD ReturnLength);
}
