// The security of named objects, for the simulated machine.
#pragma once

#include "accctrl.h"

extern "C"
{
    DWORD WINAPI SetEntriesInAclW(ULONG cCountOfExplicitEntries, PEXPLICIT_ACCESS_W pListOfExplicitEntries, PACL OldAcl,
                                  PACL* NewAcl);
    DWORD WINAPI GetNamedSecurityInfoW(LPCWSTR pObjectName, SE_OBJECT_TYPE ObjectType,
                                       SECURITY_INFORMATION SecurityInfo, PSID* ppsidOwner, PSID* ppsidGroup,
                                       PACL* ppDacl, PACL* ppSacl, PSECURITY_DESCRIPTOR* ppSecurityDescriptor);
    DWORD WINAPI SetNamedSecurityInfoW(LPWSTR pObjectName, SE_OBJECT_TYPE ObjectType, SECURITY_INFORMATION SecurityInfo,
                                       PSID psidOwner, PSID psidGroup, PACL pDacl, PACL pSacl);
    DWORD WINAPI GetSecurityInfo(HANDLE handle, SE_OBJECT_TYPE ObjectType, SECURITY_INFORMATION SecurityInfo,
                                 PSID* ppsidOwner, PSID* ppsidGroup, PACL* ppDacl, PACL* ppSacl,
                                 PSECURITY_DESCRIPTOR* ppSecurityDescriptor);
    DWORD WINAPI SetSecurityInfo(HANDLE handle, SE_OBJECT_TYPE ObjectType, SECURITY_INFORMATION SecurityInfo,
                                 PSID psidOwner, PSID psidGroup, PACL pDacl, PACL pSacl);
}
