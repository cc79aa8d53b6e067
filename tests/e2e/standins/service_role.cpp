// Plays a described service, and starts the services on which it depends.
#include "tests/e2e/standins/service_role.h"

#include <windows.h>

#include <winsvc.h>

#include <cwchar>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

namespace
{

constexpr wchar_t kServicesKey[] = L"SYSTEM\\CurrentControlSet\\Services";

struct Step
{
    DWORD afterMs;
    SERVICE_STATUS status;
};

struct Behaviour
{
    std::vector<Step> start;
    std::vector<Step> stop;
};

std::wstring g_name;
Behaviour g_behaviour;
SERVICE_STATUS_HANDLE g_handle;
HANDLE g_stop;

SC_HANDLE Manager()
{
    static const SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
    return manager;
}

std::wstring ServiceText(const std::wstring& service, const wchar_t* value)
{
    std::vector<wchar_t> text(4096);
    DWORD size = static_cast<DWORD>(text.size() * sizeof(wchar_t));
    if (RegGetValueW(HKEY_LOCAL_MACHINE, (std::wstring(kServicesKey) + L"\\" + service).c_str(), value,
                     RRF_RT_REG_SZ | RRF_RT_REG_EXPAND_SZ | RRF_RT_REG_MULTI_SZ | RRF_NOEXPAND, nullptr, text.data(),
                     &size) != ERROR_SUCCESS)
        return {};
    return std::wstring(text.data(), size / sizeof(wchar_t));
}

// The name of the first service that is wanted; empty when none is.
std::wstring FindService(const std::function<bool(const std::wstring& name)>& isWanted)
{
    HKEY key = nullptr;
    RegOpenKeyExW(HKEY_LOCAL_MACHINE, kServicesKey, 0, KEY_READ, &key);
    wchar_t name[MAX_PATH] = {};
    for (DWORD i = 0; RegEnumKeyW(key, i, name, MAX_PATH) == ERROR_SUCCESS; ++i)
    {
        if (isWanted(name))
            return name;
    }
    return {};
}

std::vector<std::wstring> DependenciesOf(const std::wstring& service)
{
    std::vector<std::wstring> names;
    const std::wstring list = ServiceText(service, L"DependOnService") + std::wstring(2, L'\0');
    for (const wchar_t* name = list.c_str(); *name != L'\0'; name += std::wcslen(name) + 1)
        names.emplace_back(name);
    return names;
}

bool IsThere(const std::wstring& service)
{
    const SC_HANDLE handle = OpenServiceW(Manager(), service.c_str(), SERVICE_QUERY_STATUS);
    CloseServiceHandle(handle);
    return handle != nullptr;
}

bool IsActive(const std::wstring& service)
{
    SERVICE_STATUS status{};
    const SC_HANDLE handle = OpenServiceW(Manager(), service.c_str(), SERVICE_QUERY_STATUS);
    QueryServiceStatus(handle, &status);
    CloseServiceHandle(handle);
    return status.dwCurrentState > SERVICE_STOPPED;
}

void Start(const std::wstring& service)
{
    const SC_HANDLE handle = OpenServiceW(Manager(), service.c_str(), SERVICE_START);
    StartServiceW(handle, 0, nullptr);
    CloseServiceHandle(handle);
}

SERVICE_STATUS Status(DWORD state, DWORD controls)
{
    SERVICE_STATUS status{};
    status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    status.dwCurrentState = state;
    status.dwControlsAccepted = controls;
    return status;
}

Behaviour ReadBehaviour(const std::wstring& service)
{
    Behaviour behaviour;
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::ifstream file(std::filesystem::path(path).parent_path() / (service + L".states"));
    std::string moment;
    Step step{0, Status(0, 0)};
    SERVICE_STATUS& status = step.status;
    while (file >> moment >> step.afterMs >> status.dwCurrentState >> status.dwControlsAccepted >>
           status.dwWin32ExitCode >> status.dwServiceSpecificExitCode >> status.dwCheckPoint >> status.dwWaitHint)
        (moment == "start" ? behaviour.start : behaviour.stop).push_back(step);
    if (behaviour.start.empty())
        behaviour.start.push_back({0, Status(SERVICE_RUNNING, SERVICE_ACCEPT_STOP)});
    if (behaviour.stop.empty())
        behaviour.stop.push_back({0, Status(SERVICE_STOPPED, 0)});
    return behaviour;
}

// Goes through states until an event is set. Returns whether it was set.
bool Play(const std::vector<Step>& steps, HANDLE interrupt)
{
    const DWORD begin = GetTickCount();
    for (Step step : steps)
    {
        const DWORD passed = GetTickCount() - begin;
        if (WaitForSingleObject(interrupt, step.afterMs > passed ? step.afterMs - passed : 0) == WAIT_OBJECT_0)
            return true;
        SetServiceStatus(g_handle, &step.status);
        if (step.status.dwCurrentState == SERVICE_STOPPED)
            return false;
    }
    return WaitForSingleObject(interrupt, INFINITE) == WAIT_OBJECT_0;
}

DWORD WINAPI Handle(DWORD control, DWORD, void*, void*)
{
    if (control != SERVICE_CONTROL_STOP)
        return NO_ERROR;
    // The caller is told the state of this moment.
    if (Step first = g_behaviour.stop.front(); first.afterMs == 0 && first.status.dwCurrentState != SERVICE_STOPPED)
        SetServiceStatus(g_handle, &first.status);
    SetEvent(g_stop);
    return NO_ERROR;
}

DWORD WINAPI StartDependencies(void*)
{
    for (const std::wstring& needed : DependenciesOf(g_name))
    {
        if (!IsActive(needed))
            Start(needed);
    }
    return 0;
}

void WINAPI ServiceMain(DWORD, LPWSTR* arguments)
{
    g_name = arguments[0];
    g_behaviour = ReadBehaviour(g_name);
    g_stop = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    g_handle = RegisterServiceCtrlHandlerExW(arguments[0], &Handle, nullptr);
    // Wine's manager starts one service at a time: this one must not wait for the others.
    CreateThread(nullptr, 0, &StartDependencies, nullptr, 0, nullptr);
    if (Play(g_behaviour.start, g_stop))
        Play(g_behaviour.stop, CreateEventW(nullptr, TRUE, FALSE, nullptr));
}

std::wstring OwnService()
{
    const std::wstring commandLine = GetCommandLineW();
    return FindService(
        [&](const std::wstring& name) { return ServiceText(name, L"ImagePath").c_str() == commandLine; });
}

// Answers the service manager's request to start with an error, in place of Windows' own dispatcher.
void RefuseStart(DWORD error)
{
    DWORD number = 0;
    DWORD size = sizeof number;
    RegGetValueW(HKEY_LOCAL_MACHINE, L"SYSTEM\\CurrentControlSet\\Control\\ServiceCurrent", nullptr, RRF_RT_REG_DWORD,
                 nullptr, &number, &size);
    const std::wstring path = L"\\\\.\\pipe\\net\\NtControlPipe" + std::to_wstring(number);
    const HANDLE pipe = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    BYTE request[4096];
    ReadFile(pipe, request, sizeof request, &size, nullptr);
    WriteFile(pipe, &error, sizeof error, &size, nullptr);
    FlushFileBuffers(pipe);
    CloseHandle(pipe);
}

} // namespace

bool IsStartedAsService()
{
    return !OwnService().empty();
}

int RunAsService()
{
    for (const std::wstring& needed : DependenciesOf(OwnService()))
    {
        if (!IsThere(needed))
        {
            RefuseStart(ERROR_SERVICE_DEPENDENCY_DELETED);
            return 0;
        }
    }
    wchar_t anyName[] = L"";
    const SERVICE_TABLE_ENTRYW table[] = {{anyName, &ServiceMain}, {nullptr, nullptr}};
    return StartServiceCtrlDispatcherW(table) ? 0 : static_cast<int>(GetLastError());
}
