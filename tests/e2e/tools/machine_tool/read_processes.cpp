// Shows processes.
#include "tests/e2e/tools/machine_tool/json.h"
#include "tests/e2e/tools/machine_tool/verbs.h"

#include <windows.h>

#include <psapi.h>

#include <cstdio>
#include <vector>

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
