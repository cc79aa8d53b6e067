// Access lists for well-known accounts.
#pragma once

#include "log/log_format.h"
#include "windows/unique_handle.h"

#include <accctrl.h>

#include <span>
#include <vector>

using UniqueSid = UniqueHandle<PSID, &FreeSid>;
using UniqueAccessList = UniqueLocalMemory<ACL>;

// A security identifier under the NT authority.
struct NtSid
{
    BYTE subAuthorityCount;
    DWORD subAuthorities[2];
};

inline constexpr NtSid kUsersSid = {2, {SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_USERS}};
inline constexpr NtSid kAdministratorsSid = {2, {SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS}};
inline constexpr NtSid kLocalSystemSid = {1, {SECURITY_LOCAL_SYSTEM_RID}};
inline constexpr NtSid kNetworkServiceSid = {1, {SECURITY_NETWORK_SERVICE_RID}};

// One entry of an access list: an account, its access mask, and the log line (with the last error) for a SID that
// cannot be made.
struct AccessRule
{
    NtSid sid;
    TRUSTEE_TYPE trusteeType;
    DWORD access;
    LogFormat<DWORD> sidFailure;
};

// Makes the SIDs of the rules, in their order (AllocateAndInitializeSid). At the first that cannot be made, logs that
// rule's line and returns none.
std::vector<UniqueSid> MakeSids(std::span<const AccessRule> rules);

// Makes an access list with one SET_ACCESS entry for each rule, all with the same inheritance flags (SetEntriesInAclW).
// `sids` are those of the rules. Null when the list cannot be made. Logs nothing.
UniqueAccessList MakeAccessList(std::span<const AccessRule> rules, std::span<const UniqueSid> sids, DWORD inheritance);
