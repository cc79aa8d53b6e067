// Reads the running processes.
#include "describe/capture.h"
#include "describe/windows_headers.h"
#include "describe/windows_text.h"
#include "windows/unique_handle.h"
#include "winsim/base/text.h"

// Version 2 of these functions is in kernel32.dll, but only since Windows 7.
#define PSAPI_VERSION 1
#include <psapi.h>

#include <algorithm>
#include <vector>

namespace describe
{

namespace
{

constexpr char kOtherProgram[] = "other.exe"; // in place of names that the program does not look for
constexpr DWORD kToName = PROCESS_QUERY_INFORMATION | PROCESS_VM_READ;
constexpr DWORD kProcessRights[] = {PROCESS_QUERY_INFORMATION, PROCESS_VM_READ, PROCESS_TERMINATE};

std::vector<DWORD> ProcessIds()
{
    std::vector<DWORD> ids(1024);
    for (;;)
    {
        DWORD size = 0;
        const auto room = static_cast<DWORD>(ids.size() * sizeof(DWORD));
        if (!EnumProcesses(ids.data(), room, &size))
            return {};
        if (size < room)
        {
            ids.resize(size / sizeof(DWORD));
            return ids;
        }
        ids.resize(2 * ids.size());
    }
}

std::string ShownName(const std::string& name)
{
    const auto isIt = [&](const char* asked) { return winsim::SameName(asked, name); };
    return std::ranges::any_of(AskedProcesses(), isIt) ? name : kOtherProgram;
}

winsim::RunningProcess ReadProcess(DWORD id, bool isElevated)
{
    winsim::RunningProcess process;
    process.id = id;
    const UniqueKernelHandle handle{OpenProcess(kToName, FALSE, id)};
    wchar_t name[MAX_PATH] = {};
    if (handle && GetModuleBaseNameW(handle.Get(), nullptr, name, MAX_PATH) != 0)
        process.name = ShownName(FromWide(name));
    // An administrator's process, as the installer's, would learn the name.
    else if (!isElevated)
        process.name = kOtherProgram;
    for (const DWORD right : kProcessRights)
    {
        if (isElevated && !UniqueKernelHandle{OpenProcess(right, FALSE, id)})
            process.deniedAccess |= right;
    }
    return process;
}

} // namespace

void ReadProcesses(Capture& capture)
{
    const std::vector<DWORD> ids = ProcessIds();
    if (ids.empty())
        return capture.notes.AddError("processes", GetLastError());
    for (const DWORD id : ids)
    {
        // KeloDescribe itself will not run then.
        if (id != GetCurrentProcessId())
            capture.machine.processes.Add(ReadProcess(id, capture.isElevated));
    }
    if (!capture.isElevated)
        capture.notes.Add("processes", "names were read only where this is allowed without being administrator");
}

} // namespace describe
