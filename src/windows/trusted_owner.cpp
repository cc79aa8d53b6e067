// Distinguishes administrators, the system and its services from ordinary users.
#include "windows/trusted_owner.h"

#include "windows/unique_handle.h"

#include <aclapi.h>

#include <iterator>

namespace
{

constexpr DWORD kServiceAccountRid = 80; // SECURITY_SERVICE_ID_BASE_RID: S-1-5-80-..., one for each service

bool IsUnderNtAuthority(PSID sid)
{
    constexpr SID_IDENTIFIER_AUTHORITY kNtAuthority = {SECURITY_NT_AUTHORITY};
    const SID_IDENTIFIER_AUTHORITY* authority = GetSidIdentifierAuthority(sid);
    for (std::size_t i = 0; i < std::size(kNtAuthority.Value); ++i)
    {
        if (authority->Value[i] != kNtAuthority.Value[i])
            return false;
    }
    return true;
}

bool IsSystemAccount(PSID sid)
{
    const BYTE count = *GetSidSubAuthorityCount(sid);
    if (count == 0)
        return false;
    if (!IsUnderNtAuthority(sid))
        return false;
    switch (*GetSidSubAuthority(sid, 0))
    {
    case SECURITY_LOCAL_SYSTEM_RID:
    case SECURITY_LOCAL_SERVICE_RID:
    case SECURITY_NETWORK_SERVICE_RID:
    case kServiceAccountRid:
        return true;
    case SECURITY_BUILTIN_DOMAIN_RID:
        return count == 2 && *GetSidSubAuthority(sid, 1) == DOMAIN_ALIAS_RID_ADMINS;
    default:
        return false;
    }
}

bool IsUserOfThisProcess(PSID sid)
{
    UniqueKernelHandle token;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.Put()))
        return false;
    // The record and, after it, the longest SID.
    alignas(TOKEN_USER) BYTE user[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE] = {};
    DWORD length = 0;
    if (!GetTokenInformation(token.Get(), TokenUser, user, sizeof user, &length))
        return false;
    return EqualSid(sid, reinterpret_cast<const TOKEN_USER*>(user)->User.Sid) != FALSE;
}

} // namespace

bool IsTrustedOwner(PSID owner)
{
    return owner != nullptr && (IsSystemAccount(owner) || IsUserOfThisProcess(owner));
}

DWORD CheckOwner(HANDLE file)
{
    PSID owner = nullptr;
    UniqueLocalMemory<void> descriptor;
    const DWORD error = GetSecurityInfo(file, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner, nullptr, nullptr,
                                        nullptr, descriptor.Put());
    if (error != ERROR_SUCCESS)
        return error;
    return IsTrustedOwner(owner) ? ERROR_SUCCESS : ERROR_INVALID_OWNER;
}
