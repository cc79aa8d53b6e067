// A service program that goes through described states, and registers and unregisters itself as the toolkit's does.
#include "tests/e2e/standins/service_role.h"

#include <windows.h>

#include <winsvc.h>

#include <cwchar>
#include <filesystem>
#include <fstream>
#include <string>

namespace
{

constexpr wchar_t kToolkitService[] = L"KlPCR";

std::filesystem::path OwnPath()
{
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return path;
}

// Leaves a line for the test to see.
void NoteRun(const wchar_t* commandLine)
{
    std::wofstream(OwnPath().parent_path() / "runs.txt", std::ios::app) << commandLine << L"\n";
}

int Register()
{
    const std::wstring path = L"\"" + OwnPath().wstring() + L"\"";
    const SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CREATE_SERVICE);
    const SC_HANDLE service = CreateServiceW(manager, kToolkitService, L"Kelo PCR", SERVICE_ALL_ACCESS,
                                             SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL,
                                             path.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr);
    return service != nullptr ? 0 : static_cast<int>(GetLastError());
}

int Unregister()
{
    const SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
    const SC_HANDLE service = OpenServiceW(manager, kToolkitService, SERVICE_ALL_ACCESS);
    return DeleteService(service) ? 0 : static_cast<int>(GetLastError());
}

} // namespace

int wmain()
{
    const wchar_t* commandLine = GetCommandLineW();
    // The toolkit's installer hands over the switch alone, without the program's name in front of it.
    if (std::wcscmp(commandLine, L"-Service") == 0)
    {
        NoteRun(commandLine);
        return Register();
    }
    if (std::wcscmp(commandLine, L"-UnregServer") == 0)
    {
        NoteRun(commandLine);
        return Unregister();
    }
    return RunAsService();
}
