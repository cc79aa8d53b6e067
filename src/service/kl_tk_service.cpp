// Stops a service within a time limit.
#include "service/kl_tk_service.h"

#include "log/module_logs.h"

#include <cstdio>
#include <optional>

namespace
{

constexpr DWORD kStopMs = 30000;
constexpr int kTimedOut = -1;
constexpr int kQueryFailed = -2;

// The status of a service. Nothing, with the last error, when it cannot be read.
std::optional<SERVICE_STATUS_PROCESS> Query(SC_HANDLE service)
{
    SERVICE_STATUS_PROCESS status{};
    DWORD needed = 0;
    if (!QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status), sizeof status,
                              &needed))
        return std::nullopt;
    return status;
}

bool WaitAndQuery(SC_HANDLE service, SERVICE_STATUS_PROCESS& status)
{
    Sleep(status.dwWaitHint);
    const auto queried = Query(service);
    if (!queried)
    {
        WriteLog(g_serviceLog, "QueryServiceStatusEx failed (%d)\n", GetLastError());
        return false;
    }
    status = *queried;
    return true;
}

} // namespace

int CKlTkService::StopService(SC_HANDLE service)
{
    const DWORD startTime = GetTickCount();
    const auto timedOut = [startTime] { return GetTickCount() - startTime > kStopMs; };

    const auto queried = Query(service);
    if (!queried)
        WriteLog(g_serviceLog, "CKlTkService::StopService - failed to query Service Status %d", GetLastError());
    SERVICE_STATUS_PROCESS status = queried.value_or(SERVICE_STATUS_PROCESS{});

    while (status.dwCurrentState == SERVICE_STOP_PENDING)
    {
        std::printf("Service stop pending...\n");
        if (!WaitAndQuery(service, status))
            return kQueryFailed;
        // Required: the log's result is returned; callers take its 1 for a failure.
        if (status.dwCurrentState == SERVICE_STOPPED)
            return WriteLog(g_serviceLog, "Service stopped successfully.\n");
        if (timedOut())
        {
            WriteLog(g_serviceLog, "Service stop timed out.\n");
            return kTimedOut;
        }
    }

    // The larger record begins with the fields of the smaller one. A refused control shows in the state.
    ControlService(service, SERVICE_CONTROL_STOP, reinterpret_cast<SERVICE_STATUS*>(&status));
    while (status.dwCurrentState != SERVICE_STOPPED)
    {
        if (!WaitAndQuery(service, status))
            return kQueryFailed;
        if (status.dwCurrentState == SERVICE_STOPPED)
            return 0;
        if (timedOut())
        {
            WriteLog(g_serviceLog, "Wait timed out\n");
            return kTimedOut;
        }
    }
    return 0;
}
