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
    BOOL WINAPI EqualSid(PSID pSid1, PSID pSid2);
    BOOL WINAPI IsValidSid(PSID pSid);
    PSID_IDENTIFIER_AUTHORITY WINAPI GetSidIdentifierAuthority(PSID pSid);
    PUCHAR WINAPI GetSidSubAuthorityCount(PSID pSid);
    PDWORD WINAPI GetSidSubAuthority(PSID pSid, DWORD nSubAuthority);
    BOOL WINAPI OpenProcessToken(HANDLE ProcessHandle, DWORD DesiredAccess, PHANDLE TokenHandle);
    BOOL WINAPI GetTokenInformation(HANDLE TokenHandle, TOKEN_INFORMATION_CLASS TokenInformationClass,
                                    LPVOID TokenInformation, DWORD TokenInformationLength, PDWORD ReturnLength);
    BOOL WINAPI LookupPrivilegeValueA(LPCSTR lpSystemName, LPCSTR lpName, PLUID lpLuid);
    BOOL WINAPI AdjustTokenPrivileges(HANDLE TokenHandle, BOOL DisableAllPrivileges, PTOKEN_PRIVILEGES NewState,
                                      DWORD BufferLength, PTOKEN_PRIVILEGES PreviousState, PDWORD ReturnLength);
}
