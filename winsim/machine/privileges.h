// Windows' privileges, by name and number.
#pragma once

#include "winsim/base/text.h"

#include <cstdint>
#include <string_view>

namespace winsim
{

struct Privilege
{
    const char* name;
    std::uint32_t luid;
};

inline constexpr Privilege kPrivileges[] = {
    {"SeCreateTokenPrivilege", 2},
    {"SeAssignPrimaryTokenPrivilege", 3},
    {"SeLockMemoryPrivilege", 4},
    {"SeIncreaseQuotaPrivilege", 5},
    {"SeMachineAccountPrivilege", 6},
    {"SeTcbPrivilege", 7},
    {"SeSecurityPrivilege", 8},
    {"SeTakeOwnershipPrivilege", 9},
    {"SeLoadDriverPrivilege", 10},
    {"SeSystemProfilePrivilege", 11},
    {"SeSystemtimePrivilege", 12},
    {"SeProfileSingleProcessPrivilege", 13},
    {"SeIncreaseBasePriorityPrivilege", 14},
    {"SeCreatePagefilePrivilege", 15},
    {"SeCreatePermanentPrivilege", 16},
    {"SeBackupPrivilege", 17},
    {"SeRestorePrivilege", 18},
    {"SeShutdownPrivilege", 19},
    {"SeDebugPrivilege", 20},
    {"SeAuditPrivilege", 21},
    {"SeSystemEnvironmentPrivilege", 22},
    {"SeChangeNotifyPrivilege", 23},
    {"SeRemoteShutdownPrivilege", 24},
    {"SeUndockPrivilege", 25},
    {"SeSyncAgentPrivilege", 26},
    {"SeEnableDelegationPrivilege", 27},
    {"SeManageVolumePrivilege", 28},
    {"SeImpersonatePrivilege", 29},
    {"SeCreateGlobalPrivilege", 30},
    {"SeTrustedCredManAccessPrivilege", 31},
    {"SeRelabelPrivilege", 32},
    {"SeIncreaseWorkingSetPrivilege", 33},
    {"SeTimeZonePrivilege", 34},
    {"SeCreateSymbolicLinkPrivilege", 35},
    {"SeDelegateSessionUserImpersonatePrivilege", 36},
};

// The privilege with a name in any case; null if Windows does not know the name.
inline const Privilege* FindPrivilege(std::string_view name)
{
    for (const Privilege& privilege : kPrivileges)
    {
        if (SameName(name, privilege.name))
            return &privilege;
    }
    return nullptr;
}

} // namespace winsim
