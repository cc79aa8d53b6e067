// Makes access lists for well-known accounts.
#include "tss/access_list.h"

#include "log/module_logs.h"

#include <aclapi.h>

std::vector<UniqueSid> MakeSids(std::span<const AccessRule> rules)
{
    std::vector<UniqueSid> sids;
    for (const AccessRule& rule : rules)
    {
        SID_IDENTIFIER_AUTHORITY ntAuthority = {SECURITY_NT_AUTHORITY};
        UniqueSid sid;
        if (!AllocateAndInitializeSid(&ntAuthority, rule.sid.subAuthorityCount, rule.sid.subAuthorities[0],
                                      rule.sid.subAuthorities[1], 0, 0, 0, 0, 0, 0, sid.Put()))
        {
            WriteLog(g_tssLog, rule.sidFailure, GetLastError());
            return {};
        }
        sids.push_back(std::move(sid));
    }
    return sids;
}

UniqueAccessList MakeAccessList(std::span<const AccessRule> rules, std::span<const UniqueSid> sids, DWORD inheritance)
{
    std::vector<EXPLICIT_ACCESS_W> entries;
    for (std::size_t i = 0; i < rules.size(); ++i)
    {
        EXPLICIT_ACCESS_W entry{};
        entry.grfAccessPermissions = rules[i].access;
        entry.grfAccessMode = SET_ACCESS;
        entry.grfInheritance = inheritance;
        entry.Trustee.TrusteeForm = TRUSTEE_IS_SID;
        entry.Trustee.TrusteeType = rules[i].trusteeType;
        entry.Trustee.ptstrName = static_cast<wchar_t*>(sids[i].Get());
        entries.push_back(entry);
    }
    UniqueAccessList list;
    if (SetEntriesInAclW(static_cast<ULONG>(entries.size()), entries.data(), nullptr, list.Put()) != ERROR_SUCCESS)
        return {};
    return list;
}
