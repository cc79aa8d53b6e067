// Finds and ends processes by the name of their program file.
#include "platform/processes.h"

#include "log/module_logs.h"

// Version 2 of these functions is in kernel32.dll, but only since Windows 7: version 1 is in psapi.dll everywhere.
#define PSAPI_VERSION 1
#include <psapi.h>

#include <mbstring.h>

namespace
{

constexpr DWORD kMostProcesses = 1024;
constexpr DWORD kProcessAccess = PROCESS_QUERY_INFORMATION | PROCESS_VM_READ | PROCESS_TERMINATE;
constexpr UINT kExitCode = 0xFFFFFFFF;

bool SameName(const char* left, const char* right)
{
    return _mbsicmp(reinterpret_cast<const unsigned char*>(left), reinterpret_cast<const unsigned char*>(right)) == 0;
}

bool RunsImage(HANDLE process, const char* imageName)
{
    HMODULE program = nullptr;
    DWORD needed = 0;
    if (!EnumProcessModules(process, &program, sizeof program, &needed))
        return false;
    char baseName[MAX_PATH] = {};
    GetModuleBaseNameA(process, program, baseName, MAX_PATH);
    return SameName(baseName, imageName);
}

} // namespace

UniqueKernelHandle FindProcessByName(const char* imageName)
{
    DWORD processIds[kMostProcesses];
    DWORD bytes = 0;
    if (!EnumProcesses(processIds, sizeof processIds, &bytes))
        return {};
    for (DWORD i = 0; i < bytes / sizeof processIds[0]; ++i)
    {
        UniqueKernelHandle process{OpenProcess(kProcessAccess, FALSE, processIds[i])};
        if (!process || !RunsImage(process.Get(), imageName))
            continue;
        WriteLog(g_platformLog, "  found process: <%s>\n", imageName);
        return process;
    }
    return {};
}

bool KillProcessByName(const char* imageName)
{
    WriteLog(g_platformLog, "Try to kill process: %s\n", imageName);
    UniqueKernelHandle process = FindProcessByName(imageName);
    if (!process)
    {
        WriteLog(g_platformLog, "Cannot find this process: %s\n", imageName);
        return false;
    }
    const bool killed = TerminateProcess(process.Get(), kExitCode) != FALSE;
    process.Reset();
    if (!killed)
    {
        WriteLog(g_platformLog, "Unable to kill process: %s\n", imageName);
        // Required: the error is read only here, after closing and logging, which may have changed it.
        WriteLog(g_platformLog, "error: %d\n", GetLastError());
        return false;
    }
    WriteLog(g_platformLog, "Killed process: %s\n", imageName);
    return true;
}
