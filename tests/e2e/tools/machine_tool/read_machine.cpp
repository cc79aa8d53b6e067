// Shows what KeloDescribe leaves out of a machine: all registry values, processes and states of services.
#include "proof/privilege.h"
#include "src/windows/unique_handle.h"
#include "tests/e2e/tools/machine_tool/services.h"
#include "tests/e2e/tools/machine_tool/verbs.h"
#include "tests/support/test_text.h"

#include <windows.h>

#include <psapi.h>

#include <cstdio>
#include <string>
#include <vector>

namespace
{

std::string Quoted(const std::wstring& text)
{
    std::string quoted = "\"";
    for (const char c : Utf8OfWide(text))
    {
        char escape[8] = {c};
        if (c == '"' || c == '\\')
            std::snprintf(escape, sizeof escape, "\\%c", c);
        else if (static_cast<unsigned char>(c) < 0x20)
            std::snprintf(escape, sizeof escape, "\\u%04x", c);
        quoted += escape;
    }
    return quoted + '"';
}

} // namespace

int SaveKey(const Words& words)
{
    proof::EnablePrivilege(L"SeBackupPrivilege");
    UniqueRegistryKey key;
    const LSTATUS error = RegOpenKeyExW(HKEY_LOCAL_MACHINE, words[1].c_str(), 0, KEY_READ, key.Put());
    if (error == ERROR_FILE_NOT_FOUND)
        return 0;
    return static_cast<int>(error != 0 ? error : RegSaveKeyW(key.Get(), words[2].c_str(), nullptr));
}

int ShowProcesses(const Words&)
{
    constexpr std::size_t kMostProcesses = 8192;
    std::vector<DWORD> ids(kMostProcesses);
    DWORD size = 0;
    if (!EnumProcesses(ids.data(), static_cast<DWORD>(ids.size() * sizeof(DWORD)), &size))
        return ExitStatus(FALSE);
    const char* separator = "";
    std::printf("[");
    for (DWORD i = 0; i < size / sizeof(DWORD); ++i)
    {
        const HANDLE process = OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, ids[i]);
        wchar_t name[MAX_PATH] = {};
        if (process != nullptr && GetModuleBaseNameW(process, nullptr, name, MAX_PATH) != 0)
        {
            std::printf("%s%s", separator, Quoted(name).c_str());
            separator = ", ";
        }
        CloseHandle(process);
    }
    std::printf("]\n");
    return 0;
}

int ShowStates(const Words&)
{
    const auto states = ReadStates();
    if (states.empty())
        return ExitStatus(FALSE);
    const char* separator = "";
    std::printf("{");
    for (const auto& [name, state] : states)
    {
        std::printf("%s%s: %lu", separator, Quoted(name).c_str(), state);
        separator = ", ";
    }
    std::printf("}\n");
    return 0;
}
