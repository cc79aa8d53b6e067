// Controls Windows services by name.
#include "platform/service_control.h"

#include "log/module_logs.h"
#include "windows/text.h"
#include "windows/unique_handle.h"

#include <optional>

namespace
{

constexpr DWORD kPollMs = 250;
constexpr int kStartPolls = 100;
constexpr DWORD kRestartMs = 60000;

using NameLine = LogFormat<const char*>;

// How an operation opens its service, and the lines for a service that it cannot open.
struct Opening
{
    DWORD access;
    std::optional<NameLine> unknownLine; // there is no such service, or its name is not valid
    std::optional<NameLine> failedLine;  // any other error
};

constexpr DWORD kControlAccess = SERVICE_STOP | SERVICE_START | SERVICE_QUERY_STATUS;
constexpr NameLine kCannotOpen = "Cannot open service: %s";
constexpr NameLine kNotFound = "Service %s not found\n";

constexpr Opening kOpenToQuery = {SERVICE_QUERY_STATUS, kCannotOpen, std::nullopt};
constexpr Opening kOpenToStart = {kControlAccess, kCannotOpen, std::nullopt};
constexpr Opening kOpenToStop = {kControlAccess, kNotFound, kCannotOpen};
constexpr Opening kOpenToRestart = {kControlAccess, kCannotOpen, kCannotOpen};

// An open service, and its status as it was last read.
struct NamedService
{
    std::string logName;
    UniqueServiceHandle manager;
    UniqueServiceHandle handle;
    SERVICE_STATUS status{};

    const char* Name() const { return logName.c_str(); }
    bool IsIn(DWORD state) const { return status.dwCurrentState == state; }
};

void LogOpenFailure(const Opening& opening, const char* name, DWORD error)
{
    const bool unknown = error == ERROR_INVALID_NAME || error == ERROR_SERVICE_DOES_NOT_EXIST;
    const std::optional<NameLine>& line = unknown ? opening.unknownLine : opening.failedLine;
    if (line)
        WriteLog(g_platformLog, *line, name);
}

bool QueryStatus(NamedService& service)
{
    if (QueryServiceStatus(service.handle.Get(), &service.status))
        return true;
    WriteLog(g_platformLog, "Cannot query status of service");
    return false;
}

// Opens the service and reads its status. Nothing when either fails.
std::optional<NamedService> Open(const wchar_t* serviceName, const Opening& opening)
{
    NamedService service;
    service.logName = ToNarrow(serviceName);
    service.manager.Reset(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
    if (!service.manager)
    {
        WriteLog(g_platformLog, "OpenSCManager failed (%d)", GetLastError());
        return std::nullopt;
    }
    service.handle.Reset(OpenServiceW(service.manager.Get(), serviceName, opening.access));
    if (!service.handle)
    {
        LogOpenFailure(opening, service.Name(), GetLastError());
        return std::nullopt;
    }
    WriteLog(g_platformLog, "Found service: %s", service.Name());
    if (!QueryStatus(service))
        return std::nullopt;
    WriteLog(g_platformLog, " %s current status: %d, %d", service.Name(), service.status.dwCurrentState,
             service.status.dwControlsAccepted);
    return service;
}

// One round of a wait: the progress line, a pause and a new status.
// Required: the progress line has another spacing than the first status line.
bool Poll(NamedService& service)
{
    WriteLog(g_platformLog, "%s  current status: %d, %d", service.Name(), service.status.dwCurrentState,
             service.status.dwControlsAccepted);
    Sleep(kPollMs);
    return QueryStatus(service);
}

bool Start(const NamedService& service)
{
    if (StartServiceA(service.handle.Get(), 0, nullptr))
        return true;
    WriteLog(g_platformLog, "Cannot start %s service: 0x%X", service.Name(), GetLastError());
    return false;
}

bool Stop(NamedService& service)
{
    if (service.IsIn(SERVICE_STOPPED))
    {
        WriteLog(g_platformLog, "%s service is already stopped", service.Name());
        return true;
    }
    if (!ControlService(service.handle.Get(), SERVICE_CONTROL_STOP, &service.status))
    {
        WriteLog(g_platformLog, "Cannot stop %s service", service.Name());
        return false;
    }
    WriteLog(g_platformLog, "Stopping service");
    // Required: without a limit; the next step must not find the service half stopped.
    while (!service.IsIn(SERVICE_STOPPED))
    {
        if (!Poll(service))
            return false;
    }
    WriteLog(g_platformLog, "%s service stopped", service.Name());
    return true;
}

// Waits for a start by counting polls. False when the status could not be read.
bool WaitForStart(NamedService& service)
{
    for (int polls = 1; !service.IsIn(SERVICE_RUNNING); ++polls)
    {
        if (!Poll(service))
            return false;
        if (polls > kStartPolls)
            break;
    }
    return QueryStatus(service);
}

// Waits for a start by the clock and the service's progress. False when the status could not be read.
bool WaitForRestart(NamedService& service)
{
    const DWORD startTime = GetTickCount();
    DWORD checkPoint = service.status.dwCheckPoint;
    while (service.IsIn(SERVICE_START_PENDING))
    {
        if (!Poll(service))
            return false;
        // Required: the start time is not reset when the check point moves; the minute counts from the first poll.
        if (service.status.dwCheckPoint > checkPoint)
            checkPoint = service.status.dwCheckPoint;
        else if (GetTickCount() - startTime > kRestartMs)
            break;
    }
    return true;
}

} // namespace

bool IsServiceRunning(const wchar_t* serviceName)
{
    const auto service = Open(serviceName, kOpenToQuery);
    return service && !service->IsIn(SERVICE_STOPPED);
}

bool StartServiceByName(const wchar_t* serviceName)
{
    auto service = Open(serviceName, kOpenToStart);
    if (!service)
        return false;
    if (!service->IsIn(SERVICE_STOPPED))
    {
        WriteLog(g_platformLog, "%s service is already running", service->Name());
        return true;
    }
    if (!Start(*service))
        return false;
    WriteLog(g_platformLog, "Starting service");
    if (!WaitForStart(*service))
        return false;
    if (!service->IsIn(SERVICE_RUNNING))
    {
        WriteLog(g_platformLog, "Unable to start service in timely manner");
        return false;
    }
    WriteLog(g_platformLog, "service started");
    WriteLog(g_platformLog, "%s has been sucessfully started", service->Name());
    return true;
}

bool StopServiceByName(const wchar_t* serviceName)
{
    auto service = Open(serviceName, kOpenToStop);
    if (!service || !Stop(*service))
        return false;
    WriteLog(g_platformLog, "%s has been sucessfully stopped", service->Name());
    return true;
}

bool RestartServiceByName(const wchar_t* serviceName)
{
    auto service = Open(serviceName, kOpenToRestart);
    if (!service || !Stop(*service))
        return false;
    WriteLog(g_platformLog, "Starting service");
    if (!Start(*service) || !QueryStatus(*service) || !WaitForRestart(*service))
        return false;
    if (!service->IsIn(SERVICE_RUNNING))
    {
        WriteLog(g_platformLog, "%s failed to restart. State: %d \tExit Code: %d \tService Exit Code: %d",
                 service->Name(), service->status.dwCurrentState, service->status.dwWin32ExitCode,
                 service->status.dwServiceSpecificExitCode);
        return false;
    }
    WriteLog(g_platformLog, "service started");
    WriteLog(g_platformLog, "%s has been sucessfully restarted", service->Name());
    return true;
}
