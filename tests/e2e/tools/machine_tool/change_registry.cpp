// Gives registry keys values, owners and access lists.
#include "proof/privilege.h"
#include "src/windows/unique_handle.h"
#include "tests/e2e/tools/machine_tool/verbs.h"

#include <windows.h>

#include <sddl.h>

#include <string>
#include <vector>

int MakeKey(const Words& words)
{
    UniqueRegistryKey key;
    return static_cast<int>(RegCreateKeyW(HKEY_LOCAL_MACHINE, words[1].c_str(), key.Put()));
}

int SetValue(const Words& words)
{
    std::vector<BYTE> data;
    for (std::size_t i = 0; words.size() > 4 && i + 1 < words[4].size(); i += 2)
        data.push_back(static_cast<BYTE>(std::stoul(words[4].substr(i, 2), nullptr, 16)));
    UniqueRegistryKey key;
    if (const LSTATUS error = RegCreateKeyW(HKEY_LOCAL_MACHINE, words[1].c_str(), key.Put()))
        return static_cast<int>(error);
    return static_cast<int>(RegSetValueExW(key.Get(), words[2].c_str(), 0, static_cast<DWORD>(std::stoul(words[3])),
                                           data.data(), static_cast<DWORD>(data.size())));
}

int SecureKey(const Words& words)
{
    constexpr SECURITY_INFORMATION kOwnerAndList = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
    UniqueLocalMemory<void> security;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(words[2].c_str(), SDDL_REVISION_1, security.Put(),
                                                              nullptr))
        return ExitStatus(FALSE);
    // Otherwise only a user or a group of the process can become an owner.
    proof::EnablePrivilege(L"SeRestorePrivilege");
    UniqueRegistryKey key;
    if (const LSTATUS error =
            RegOpenKeyExW(HKEY_LOCAL_MACHINE, words[1].c_str(), 0, WRITE_DAC | WRITE_OWNER, key.Put()))
        return static_cast<int>(error);
    return static_cast<int>(RegSetKeySecurity(key.Get(), kOwnerAndList, security.Get()));
}
