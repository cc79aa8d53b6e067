// A service program that goes through described states, and registers and unregisters itself as the toolkit's does.
//
// It reads the states from the file "NAME.states" beside it, NAME being the service's. A line is one state: "start" or
// "stop" for what it answers, the milliseconds since then, and the first seven members of a SERVICE_STATUS_PROCESS
// without the type. It runs until it has stopped; without a file it runs at once and stops at once.
#include <windows.h>

#include <winsvc.h>

#include <cwchar>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace
{

constexpr wchar_t kToolkitService[] = L"KlPCR";

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

Behaviour g_behaviour;
SERVICE_STATUS_HANDLE g_handle;
HANDLE g_stop;

std::filesystem::path OwnPath()
{
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return path;
}

SERVICE_STATUS Status(DWORD state, DWORD controls)
{
    SERVICE_STATUS status{};
    status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    status.dwCurrentState = state;
    status.dwControlsAccepted = controls;
    return status;
}

Behaviour ReadBehaviour(const std::wstring& serviceName)
{
    Behaviour behaviour;
    std::ifstream file(OwnPath().parent_path() / (serviceName + L".states"));
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

// Goes through states until an event is set. Whether it was set.
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
    if (control == SERVICE_CONTROL_STOP)
    {
        // What the caller is told is the state of this moment.
        if (Step first = g_behaviour.stop.front(); first.afterMs == 0 && first.status.dwCurrentState != SERVICE_STOPPED)
            SetServiceStatus(g_handle, &first.status);
        SetEvent(g_stop);
    }
    return NO_ERROR;
}

void WINAPI ServiceMain(DWORD, LPWSTR* arguments)
{
    g_behaviour = ReadBehaviour(arguments[0]);
    g_stop = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    g_handle = RegisterServiceCtrlHandlerExW(arguments[0], &Handle, nullptr);
    if (Play(g_behaviour.start, g_stop))
        Play(g_behaviour.stop, CreateEventW(nullptr, TRUE, FALSE, nullptr));
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
    wchar_t anyName[] = L"";
    const SERVICE_TABLE_ENTRYW table[] = {{anyName, &ServiceMain}, {nullptr, nullptr}};
    return StartServiceCtrlDispatcherW(table) ? 0 : static_cast<int>(GetLastError());
}
