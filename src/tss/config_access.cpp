// Opens the toolkit's policy directory and configuration file to the accounts that need them.
#include "tss/config_access.h"

#include "log/operation.h"
#include "platform/text.h"
#include "tss/access_list.h"
#include "tss/tss_log.h"

#include <aclapi.h>
#include <shlobj.h>

#include <array>
#include <string>

namespace
{

constexpr DWORD kInheritance = OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE;
constexpr SECURITY_INFORMATION kProtectedList = DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION;

using AccessRules = std::array<AccessRule, 4>;

// The first line names everyone for the users' group on purpose.
constexpr AccessRules RulesForUsersWith(DWORD usersAccess)
{
    return {{
        {kUsersSid, TRUSTEE_IS_GROUP, usersAccess, "AllocateAndInitializeSid (Everyone) error: %d "},
        {kAdministratorsSid, TRUSTEE_IS_GROUP, GENERIC_ALL, "AllocateAndInitializeSid (Admin) error: %d "},
        {kLocalSystemSid, TRUSTEE_IS_UNKNOWN, GENERIC_ALL, "AllocateAndInitializeSid (System) error: %d "},
        {kNetworkServiceSid, TRUSTEE_IS_GROUP, GENERIC_ALL, "AllocateAndInitializeSid (Network Service) error: %d "},
    }};
}

// Users may change the configuration but only read the policies.
constexpr AccessRules kDirectoryRules = RulesForUsersWith(GENERIC_READ);
constexpr AccessRules kFileRules = RulesForUsersWith(GENERIC_ALL);

bool IsMissingDirectory(DWORD error)
{
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

bool IsMissingFile(DWORD error)
{
    return error == ERROR_FILE_NOT_FOUND;
}

bool CreateDirectories(const std::wstring& path)
{
    const int error = SHCreateDirectoryExW(nullptr, path.c_str(), nullptr);
    if (error == ERROR_SUCCESS)
        return true;
    WriteLog(g_tssLog, "SHCreateDirectoryExW error: %d ", error);
    return false;
}

bool CreateEmptyFile(const std::wstring& path)
{
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                    nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == nullptr)
        return false;
    // INVALID_HANDLE_VALUE is closed like any other on purpose: a file that is not there fails further on.
    CloseHandle(file);
    return true;
}

struct ProtectedObject
{
    const wchar_t* path; // in the common application data folder
    const AccessRules& rules;
    bool (*isMissing)(DWORD error);
    bool (*create)(const std::wstring& path);
    LogFormat<const char*> successLine;
};

constexpr ProtectedObject kPolicyDirectory = {L"\\Kelo Systems Corp\\Common\\policies", kDirectoryRules,
                                              &IsMissingDirectory, &CreateDirectories,
                                              "Successfully changed DACL for directory: %s"};
constexpr ProtectedObject kConfigFile = {L"\\Kelo Systems Corp\\Common\\Kelo_Config.ini", kFileRules, &IsMissingFile,
                                         &CreateEmptyFile, "Successfully changed DACL for file: %s"};

std::wstring PathOf(const ProtectedObject& object)
{
    wchar_t folder[MAX_PATH] = {};
    SHGetSpecialFolderPathW(nullptr, folder, CSIDL_COMMON_APPDATA, FALSE);
    return std::wstring(folder) + object.path;
}

// Makes the object when reading its access list, which goes into `descriptor` and is of no further use, says that
// there is none.
bool EnsureExists(const ProtectedObject& object, const std::wstring& path, UniqueLocalMemory<void>& descriptor)
{
    PACL currentList = nullptr;
    const DWORD error = GetNamedSecurityInfoW(path.c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                                              &currentList, nullptr, descriptor.Put());
    if (error == ERROR_SUCCESS)
        return true;
    if (object.isMissing(error))
        return object.create(path);
    WriteLog(g_tssLog, "GetNamedSecurityInfoW error: %d ", error);
    return false;
}

bool ReplaceAccess(const ProtectedObject& object)
{
    // Freed in the reverse order: the descriptor, the list, the SIDs.
    std::vector<UniqueSid> sids;
    UniqueAccessList list;
    UniqueLocalMemory<void> descriptor;

    std::wstring path = PathOf(object);
    if (!EnsureExists(object, path, descriptor))
        return false;
    sids = MakeSids(object.rules);
    if (sids.empty())
        return false;
    list = MakeAccessList(object.rules, sids, kInheritance);
    if (!list)
    {
        WriteLog(g_tssLog, "SetEntriesInAclW error");
        return false;
    }
    const DWORD error =
        SetNamedSecurityInfoW(path.data(), SE_FILE_OBJECT, kProtectedList, nullptr, nullptr, list.Get(), nullptr);
    if (error != ERROR_SUCCESS)
    {
        WriteLog(g_tssLog, "SetNamedSecurityInfo call failed: %d", error);
        return false;
    }
    WriteLog(g_tssLog, object.successLine, ToNarrow(path).c_str());
    return true;
}

} // namespace

int SetPolicyDirectoryAccess()
{
    return RunOperation(g_tssLog, "SetPolicyDirectoryAccess", 0,
                        [] { return ReplaceAccess(kPolicyDirectory) ? 1 : 0; });
}

int SetConfigFileAccess()
{
    return RunOperation(g_tssLog, "SetConfigFileAccess", 0, [] { return ReplaceAccess(kConfigFile) ? 1 : 0; });
}
