// Takes TPM commands off Windows' list of blocked ones.
#include "tss/unblock_tpm_commands.h"

#include "log/module_logs.h"
#include "log/operation.h"
#include "platform/service_control.h"
#include "platform/stack_names.h"
#include "tss/access_list.h"
#include "windows/unique_handle.h"
#include "windows/windows_version.h"

#include <aclapi.h>

#include <string>

namespace
{

constexpr wchar_t kBlockedListKey[] = L"SOFTWARE\\Microsoft\\Tpm\\BlockedCommands\\List";
constexpr wchar_t kBlockedListObject[] = L"MACHINE\\SOFTWARE\\Microsoft\\Tpm\\BlockedCommands\\List";

// The value that blocks a command is named by the command's ordinal.
struct BlockedCommand
{
    const wchar_t* valueName;
    LogFormat<> logLine;
};

constexpr BlockedCommand kBlockedCommands[] = {
    {L"20", "Unblocked Command 20"},   // TPM_ORD_Extend
    {L"22", "Unblocked Command 22"},   // TPM_ORD_Quote
    {L"125", "Unblocked Command 125"}, // TPM_ORD_OwnerReadPubek
    {L"62", "Unblocked Command 62"},   // TPM_ORD_Quote2
    {L"200", "Unblocked Command 200"}, // TPM_ORD_PCR_Reset
    {L"16", "Unblocked Command 16"},   // TPM_ORD_ChangeAuthOwner
    {L"13", "Unblocked Command 13"},   // TPM_ORD_TakeOwnership
};

// Required: the texts say "Everyone" for Users and "Admin" for LocalSystem.
constexpr AccessRule kKeyRules[] = {
    {kUsersSid, TRUSTEE_IS_GROUP, GENERIC_READ, "AllocateAndInitializeSid (Everyone) error %u"},
    {kAdministratorsSid, TRUSTEE_IS_GROUP, GENERIC_ALL, "AllocateAndInitializeSid (Admin) error %u"},
    {kLocalSystemSid, TRUSTEE_IS_UNKNOWN, GENERIC_ALL, "AllocateAndInitializeSid (Admin) error %u"},
};
constexpr std::size_t kAdministratorsRow = 1;

DWORD ReplaceAccessList(std::wstring& objectName, const UniqueAccessList& list)
{
    return SetNamedSecurityInfoW(objectName.data(), SE_REGISTRY_KEY, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                                 list.Get(), nullptr);
}

// Makes `owner` the key's owner with the privilege for that, which is enabled meanwhile. `token` gets the opened token.
bool ChangeOwner(std::wstring& objectName, PSID owner, UniqueKernelHandle& token)
{
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES, token.Put()))
    {
        WriteLog(g_tssLog, "OpenProcessToken failed: %u", GetLastError());
        return false;
    }
    if (!SetPrivilege(token.Get(), kTakeOwnership, true))
    {
        WriteLog(g_tssLog, "You must be logged on as Administrator.");
        return false;
    }
    const DWORD error = SetNamedSecurityInfoW(objectName.data(), SE_REGISTRY_KEY, OWNER_SECURITY_INFORMATION, owner,
                                              nullptr, nullptr, nullptr);
    if (error != ERROR_SUCCESS)
    {
        WriteLog(g_tssLog, "Could not set owner. Error: %u", error);
        return false;
    }
    if (!SetPrivilege(token.Get(), kTakeOwnership, false))
    {
        WriteLog(g_tssLog, "Failed SetPrivilege call unexpectedly.");
        return false;
    }
    return true;
}

bool OpenKey(std::wstring objectName)
{
    // Freed in the reverse order: the SIDs, the list, the token.
    UniqueKernelHandle token;
    UniqueAccessList list;
    const std::vector<UniqueSid> sids = MakeSids(kKeyRules);
    if (sids.empty())
        return false;
    list = MakeAccessList(kKeyRules, sids, CONTAINER_INHERIT_ACE);
    if (!list)
    {
        WriteLog(g_tssLog, "Failed SetEntriesInAclW");
        return false;
    }

    DWORD error = ReplaceAccessList(objectName, list);
    if (error == ERROR_ACCESS_DENIED)
    {
        if (!ChangeOwner(objectName, sids[kAdministratorsRow].Get(), token))
            return false;
        error = ReplaceAccessList(objectName, list);
        if (error != ERROR_SUCCESS)
        {
            WriteLog(g_tssLog, "Second SetNamedSecurityInfo call failed: %u", error);
            return false;
        }
    }
    else if (error != ERROR_SUCCESS)
    {
        WriteLog(g_tssLog, "First SetNamedSecurityInfo call failed: %u", error);
        return false;
    }
    WriteLog(g_tssLog, "Successfully changed DACL");
    return true;
}

bool DeleteBlockedCommands()
{
    if (!TakeKeyOwnership(kBlockedListObject))
    {
        WriteLog(g_tssLog, "Ownership was not taken on registry Key");
        return false;
    }
    WriteLog(g_tssLog, "Ownership taken for Default List of Blocked Commands");
    for (const BlockedCommand& command : kBlockedCommands)
    {
        if (DeleteRegistryValue(kBlockedListKey, command.valueName))
            WriteLog(g_tssLog, command.logLine);
    }
    return true;
}

// Restarts the TPM Base Services after stopping the stacks that reach the TPM through them.
// Required: only NTRU's stack is started again.
bool RestartTbs()
{
    const bool ntruStopped = StopServiceByName(kNtruService);
    StopServiceByName(kIfxService);
    StopServiceByName(kKeloService);
    const bool restarted = RestartServiceByName(kTbsService);
    if (ntruStopped)
        StartServiceByName(kNtruService);
    return restarted;
}

} // namespace

int UnblockTpmCommands()
{
    if (GetWindowsMajorVersion() <= kMajorVersionBeforeVista)
    {
        WriteLog(g_tssLog, "Not VISTA OS");
        return 1;
    }
    WriteLog(g_tssLog, "Vista OS");
    const int result = DeleteBlockedCommands() ? 0 : -1;
    if (!IsServiceRunning(kTbsService))
        return result;
    // If TBS runs, only the restart decides the result, even if the key could not be opened.
    return RestartTbs() ? 0 : -2;
}

bool TakeKeyOwnership(const wchar_t* objectName)
{
    return RunOperation(g_tssLog, "TakeKeyOwnership", false, [objectName] { return OpenKey(objectName); });
}

bool DeleteRegistryValue(const wchar_t* subkey, const wchar_t* valueName)
{
    UniqueRegistryKey key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, subkey, 0, KEY_SET_VALUE, key.Put()) != ERROR_SUCCESS)
        return false;
    // Required: the result is ignored; a missing value counts as deleted.
    RegDeleteValueW(key.Get(), valueName);
    return true;
}

bool SetPrivilege(HANDLE token, const char* privilegeName, bool enable)
{
    TOKEN_PRIVILEGES privileges{};
    privileges.PrivilegeCount = 1;
    privileges.Privileges[0].Attributes = enable ? SE_PRIVILEGE_ENABLED : 0;
    if (!LookupPrivilegeValueA(nullptr, privilegeName, &privileges.Privileges[0].Luid))
        return false;
    if (!AdjustTokenPrivileges(token, FALSE, &privileges, sizeof privileges, nullptr, nullptr))
        return false;
    // The call succeeds also when the token lacks the privilege.
    return GetLastError() != ERROR_NOT_ALL_ASSIGNED;
}
