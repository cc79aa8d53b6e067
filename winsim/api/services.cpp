// The service control manager.
#include "winsim/machine/services.h"
#include "winsim/base/text.h"
#include "winsim/process/gate.h"
#include "winsim/process/open_service.h"
#include "winsim/process/simulation.h"

#include "winsvc.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

using winsim::Call;
using winsim::Json;
using winsim::OpenService;
using winsim::Service;
using winsim::Simulation;

namespace
{

constexpr std::size_t kLongestName = 256;

struct OpenManager
{
    static constexpr char kKind[] = "serviceManager";
};

// The service of a handle that has the needed access; otherwise null, and `error` is set.
Service* ServiceOf(const Call& call, SC_HANDLE handle, DWORD neededAccess, DWORD& error)
{
    Simulation& simulation = Simulation::Current();
    const auto* open = call.Find<OpenService>(handle);
    if (open == nullptr)
    {
        error = ERROR_INVALID_HANDLE;
        return nullptr;
    }
    if ((open->access & neededAccess) != neededAccess)
    {
        error = ERROR_ACCESS_DENIED;
        return nullptr;
    }
    Service* service = simulation.machine.services.Find(open->name);
    if (service == nullptr)
        error = ERROR_SERVICE_MARKED_FOR_DELETE;
    return service;
}

// Ends a call about the service of a handle: `work` acts on the service and returns the Win32 error.
template <typename Work>
BOOL SuccessWith(Call& call, SC_HANDLE handle, DWORD neededAccess, Work work)
{
    return call.SuccessOf([&]() -> DWORD {
        DWORD error = ERROR_SUCCESS;
        Service* service = ServiceOf(call, handle, neededAccess, error);
        return service == nullptr ? error : work(*service);
    });
}

// The same for calls that fail on a service that is marked for deletion.
template <typename Work>
BOOL SuccessWithUnmarked(Call& call, SC_HANDLE handle, DWORD neededAccess, Work work)
{
    return SuccessWith(call, handle, neededAccess, [&](Service& service) -> DWORD {
        return service.isMarkedForDeletion ? ERROR_SERVICE_MARKED_FOR_DELETE : work(service);
    });
}

// The error of a service database's name: there is only one database.
DWORD DatabaseError(LPCWSTR name)
{
    if (name == nullptr || *name == 0)
        return ERROR_SUCCESS;
    const std::string database = winsim::Utf8(name);
    if (winsim::SameName(database, "ServicesFailed"))
        return ERROR_DATABASE_DOES_NOT_EXIST;
    return winsim::SameName(database, "ServicesActive") ? ERROR_SUCCESS : ERROR_INVALID_NAME;
}

bool IsValidName(std::string_view name)
{
    return !name.empty() && name.size() <= kLongestName && name.find_first_of("/\\") == std::string_view::npos;
}

SERVICE_STATUS StatusOf(const Service& service)
{
    return {service.type,
            service.status.state,
            service.status.controlsAccepted,
            service.status.exitCode,
            service.status.serviceExitCode,
            service.status.checkPoint,
            service.status.waitHint};
}

Json Noted(const SERVICE_STATUS& status)
{
    return {{"dwServiceType", status.dwServiceType},
            {"dwCurrentState", status.dwCurrentState},
            {"dwControlsAccepted", status.dwControlsAccepted},
            {"dwWin32ExitCode", status.dwWin32ExitCode},
            {"dwServiceSpecificExitCode", status.dwServiceSpecificExitCode},
            {"dwCheckPoint", status.dwCheckPoint},
            {"dwWaitHint", status.dwWaitHint}};
}

// How long the manager waits for a starting service that makes no progress and gives no wait hint.
constexpr std::uint64_t kPatienceMs = 30000;

// Waits until a service has finished starting. Returns whether it then runs; false too if it hangs.
bool WaitForStart(const std::string& name)
{
    Simulation& simulation = Simulation::Current();
    std::uint64_t waitedMs = 0;
    while (!simulation.IsOver())
    {
        const Service* service = simulation.machine.services.Find(name);
        if (service == nullptr || service->status.state != SERVICE_START_PENDING)
            return service != nullptr && !service->IsStopped();
        const winsim::ServiceStatus status = service->status;
        const std::uint64_t patienceMs = std::max<std::uint64_t>(status.waitHint, kPatienceMs);
        if (waitedMs >= patienceMs)
            return false;
        const std::uint64_t nextMs = service->steps.empty() ? patienceMs : service->steps.front().afterMs;
        const std::uint64_t passMs = std::min(nextMs, patienceMs - waitedMs);
        simulation.Advance(passMs);
        service = simulation.machine.services.Find(name);
        waitedMs = service != nullptr && service->status == status ? waitedMs + passMs : 0;
    }
    return false;
}

DWORD Start(const std::string& name, unsigned depth = 0);

// Makes sure that a service runs on which another one depends. Returns a Win32 error.
DWORD StartDependency(const std::string& name, unsigned depth)
{
    constexpr unsigned kDeepest = 32;
    const Service* dependency = Simulation::Current().machine.services.Find(name);
    if (dependency == nullptr)
        return ERROR_SERVICE_DEPENDENCY_DELETED;
    if (dependency->IsStopped() && (depth == kDeepest || Start(name, depth + 1) != ERROR_SUCCESS))
        return ERROR_SERVICE_DEPENDENCY_FAIL;
    return WaitForStart(name) ? ERROR_SUCCESS : ERROR_SERVICE_DEPENDENCY_FAIL;
}

// Starts a service after starting all services on which it depends. Returns a Win32 error.
DWORD Start(const std::string& name, unsigned depth)
{
    winsim::Services& services = Simulation::Current().machine.services;
    Service* service = services.Find(name);
    if (service == nullptr)
        return ERROR_SERVICE_DOES_NOT_EXIST;
    if (service->isMarkedForDeletion)
        return ERROR_SERVICE_MARKED_FOR_DELETE;
    if (service->startType == SERVICE_DISABLED)
        return ERROR_SERVICE_DISABLED;
    if (!service->IsStopped())
        return ERROR_SERVICE_ALREADY_RUNNING;
    // The list is copied because the services may change during a wait.
    for (const std::string& needed : std::vector(service->dependencies))
    {
        if (const DWORD error = StartDependency(needed, depth); error != ERROR_SUCCESS)
            return error;
    }
    service = services.Find(name);
    if (service == nullptr)
        return ERROR_SERVICE_DOES_NOT_EXIST;
    if (service->onStart.error != 0)
        return service->onStart.error;
    service->Begin(service->onStart);
    return ERROR_SUCCESS;
}

template <typename Character>
BOOL StartThrough(Call call, SC_HANDLE handle, DWORD argumentCount, const Character** arguments)
{
    call.In("hService", handle).In("dwNumServiceArgs", argumentCount).In("lpServiceArgVectors", arguments);
    return call.SuccessOf([&]() -> DWORD {
        DWORD error = ERROR_SUCCESS;
        const Service* service = ServiceOf(call, handle, SERVICE_START, error);
        if (service != nullptr)
            error = Start(std::string(service->name));
        return error;
    });
}

// Sends the stop control. Returns a Win32 error.
DWORD Stop(Service& service)
{
    switch (service.status.state)
    {
    case SERVICE_STOPPED:
        return ERROR_SERVICE_NOT_ACTIVE;
    case SERVICE_START_PENDING:
    case SERVICE_STOP_PENDING:
        return ERROR_SERVICE_CANNOT_ACCEPT_CTRL;
    default:
        break;
    }
    if ((service.status.controlsAccepted & SERVICE_ACCEPT_STOP) == 0)
        return ERROR_INVALID_SERVICE_CONTROL;
    if (Simulation::Current().machine.services.HasRunningDependents(service.name))
        return ERROR_DEPENDENT_SERVICES_RUNNING;
    if (service.onStop.error != 0)
        return service.onStop.error;
    service.Begin(service.onStop);
    return ERROR_SUCCESS;
}

// The texts of a multi-string: each text ends with a zero, and the list with another zero.
std::vector<std::string> SplitMultiString(LPCWSTR list)
{
    std::vector<std::string> texts;
    for (; *list != 0; list += std::char_traits<WCHAR>::length(list) + 1)
        texts.push_back(winsim::Utf8(list));
    return texts;
}

std::u16string JoinMultiString(const std::vector<std::string>& texts)
{
    std::u16string list;
    for (const std::string& text : texts)
        list += winsim::Utf16(text) + u'\0';
    return list;
}

} // namespace

SC_HANDLE WINAPI OpenSCManagerW(LPCWSTR lpMachineName, LPCWSTR lpDatabaseName, DWORD dwDesiredAccess)
{
    Call call{__func__};
    call.In("lpMachineName", lpMachineName).In("lpDatabaseName", lpDatabaseName).In("dwDesiredAccess", dwDesiredAccess);
    return call.ResultOf(SC_HANDLE{nullptr}, [&] {
        if (lpMachineName != nullptr && *lpMachineName != 0)
            return call.Fail(SC_HANDLE{nullptr}, call.NotSimulated("the services of other machines"));
        if (const DWORD error = DatabaseError(lpDatabaseName); error != ERROR_SUCCESS)
            return call.Fail(SC_HANDLE{nullptr}, error);
        return call.Done(static_cast<SC_HANDLE>(Simulation::Current().handles.Open(OpenManager{})));
    });
}

SC_HANDLE WINAPI OpenServiceW(SC_HANDLE hSCManager, LPCWSTR lpServiceName, DWORD dwDesiredAccess)
{
    Call call{__func__};
    call.In("hSCManager", hSCManager).In("lpServiceName", lpServiceName).In("dwDesiredAccess", dwDesiredAccess);
    const SC_HANDLE none = nullptr;
    return call.ResultOf(none, [&] {
        Simulation& simulation = Simulation::Current();
        if (call.Find<OpenManager>(hSCManager) == nullptr)
            return call.Fail(none, ERROR_INVALID_HANDLE);
        if (lpServiceName == nullptr)
            return call.Fail(none, ERROR_INVALID_ADDRESS);
        const std::string name = winsim::Utf8(lpServiceName);
        if (!IsValidName(name))
            return call.Fail(none, ERROR_INVALID_NAME);
        const Service* service = simulation.machine.services.Find(name);
        if (service == nullptr)
            return call.Fail(none, ERROR_SERVICE_DOES_NOT_EXIST);
        const auto granted =
            winsim::OpenedWithout(service->deniedAccess, dwDesiredAccess, winsim::kGenericServiceRights);
        if (!granted)
            return call.Fail(none, ERROR_ACCESS_DENIED);
        const DWORD access = service->grantsEveryRight ? SERVICE_ALL_ACCESS : *granted;
        return call.Done(static_cast<SC_HANDLE>(simulation.handles.Open(OpenService{service->name, access})));
    });
}

BOOL WINAPI CloseServiceHandle(SC_HANDLE hSCObject)
{
    Call call{__func__};
    call.In("hSCObject", hSCObject);
    return call.SuccessOfClosing([&]() -> DWORD {
        Simulation& simulation = Simulation::Current();
        if (simulation.handles.IsOpen<OpenManager>(hSCObject))
        {
            call.Close<OpenManager>(hSCObject);
            return ERROR_SUCCESS;
        }
        const auto* open = call.Find<OpenService>(hSCObject);
        if (open == nullptr)
            return ERROR_INVALID_HANDLE;
        const std::string name = open->name;
        call.Close<OpenService>(hSCObject);
        simulation.RemoveDeletedService(name);
        return ERROR_SUCCESS;
    });
}

BOOL WINAPI QueryServiceStatus(SC_HANDLE hService, LPSERVICE_STATUS lpServiceStatus)
{
    Call call{__func__};
    call.In("hService", hService);
    if (lpServiceStatus == nullptr)
        return call.Fail(FALSE, ERROR_INVALID_ADDRESS);
    return SuccessWith(call, hService, SERVICE_QUERY_STATUS, [&](Service& service) -> DWORD {
        *lpServiceStatus = StatusOf(service);
        if (call.IsRecording())
            call.Out("lpServiceStatus", Noted(*lpServiceStatus));
        return ERROR_SUCCESS;
    });
}

BOOL WINAPI QueryServiceStatusEx(SC_HANDLE hService, SC_STATUS_TYPE InfoLevel, LPBYTE lpBuffer, DWORD cbBufSize,
                                 LPDWORD pcbBytesNeeded)
{
    Call call{__func__};
    call.In("hService", hService).In("InfoLevel", static_cast<DWORD>(InfoLevel)).In("cbBufSize", cbBufSize);
    return call.SuccessOf([&]() -> DWORD {
        if (InfoLevel != SC_STATUS_PROCESS_INFO)
            return ERROR_INVALID_LEVEL;
        DWORD error = ERROR_SUCCESS;
        const Service* service = ServiceOf(call, hService, SERVICE_QUERY_STATUS, error);
        if (service == nullptr)
            return error;
        *pcbBytesNeeded = sizeof(SERVICE_STATUS_PROCESS);
        call.Out("pcbBytesNeeded", *pcbBytesNeeded);
        if (cbBufSize < sizeof(SERVICE_STATUS_PROCESS))
            return ERROR_INSUFFICIENT_BUFFER;

        const SERVICE_STATUS plain = StatusOf(*service);
        SERVICE_STATUS_PROCESS status{};
        std::memcpy(&status, &plain, sizeof plain);
        status.dwProcessId = service->IsStopped() ? 0 : service->processId;
        std::memcpy(lpBuffer, &status, sizeof status);
        if (call.IsRecording())
        {
            Json noted = Noted(plain);
            noted["dwProcessId"] = status.dwProcessId;
            noted["dwServiceFlags"] = status.dwServiceFlags;
            call.Out("lpBuffer", noted);
        }
        return ERROR_SUCCESS;
    });
}

BOOL WINAPI QueryServiceConfigW(SC_HANDLE hService, LPQUERY_SERVICE_CONFIGW lpServiceConfig, DWORD cbBufSize,
                                LPDWORD pcbBytesNeeded)
{
    Call call{__func__};
    call.In("hService", hService).In("cbBufSize", cbBufSize);
    return call.SuccessOf([&]() -> DWORD {
        if (call.GivesNothing())
            return ERROR_SUCCESS;
        DWORD error = ERROR_SUCCESS;
        const Service* service = ServiceOf(call, hService, SERVICE_QUERY_CONFIG, error);
        if (service == nullptr)
            return error;

        // The texts follow the structure, in the order of its members.
        const std::u16string texts[] = {winsim::Utf16(service->binaryPath), winsim::Utf16(service->loadOrderGroup),
                                        JoinMultiString(service->dependencies), winsim::Utf16(service->account),
                                        winsim::Utf16(service->displayName)};
        std::size_t size = sizeof(QUERY_SERVICE_CONFIGW);
        for (const std::u16string& text : texts)
            size += (text.size() + 1) * sizeof(WCHAR);
        *pcbBytesNeeded = static_cast<DWORD>(size);
        call.Out("pcbBytesNeeded", *pcbBytesNeeded);
        if (size > cbBufSize)
            return ERROR_INSUFFICIENT_BUFFER;

        LPWSTR places[std::size(texts)];
        auto* next = reinterpret_cast<WCHAR*>(lpServiceConfig + 1);
        for (std::size_t i = 0; i < std::size(texts); ++i)
        {
            places[i] = next;
            next = std::copy_n(texts[i].c_str(), texts[i].size() + 1, next);
        }
        *lpServiceConfig = {service->type, service->startType, service->errorControl,
                            places[0],     places[1],          0,
                            places[2],     places[3],          places[4]};
        if (call.IsRecording())
            call.Out("lpServiceConfig", Json{{"dwServiceType", service->type},
                                             {"dwStartType", service->startType},
                                             {"dwErrorControl", service->errorControl},
                                             {"lpBinaryPathName", service->binaryPath},
                                             {"lpLoadOrderGroup", service->loadOrderGroup},
                                             {"dwTagId", 0},
                                             {"lpDependencies", service->dependencies},
                                             {"lpServiceStartName", service->account},
                                             {"lpDisplayName", service->displayName}});
        return ERROR_SUCCESS;
    });
}

BOOL WINAPI ChangeServiceConfigW(SC_HANDLE hService, DWORD dwServiceType, DWORD dwStartType, DWORD dwErrorControl,
                                 LPCWSTR lpBinaryPathName, LPCWSTR lpLoadOrderGroup, LPDWORD lpdwTagId,
                                 LPCWSTR lpDependencies, LPCWSTR lpServiceStartName, LPCWSTR lpPassword,
                                 LPCWSTR lpDisplayName)
{
    Call call{__func__};
    const auto dependencies = lpDependencies == nullptr ? Json(nullptr) : Json(SplitMultiString(lpDependencies));
    call.In("hService", hService)
        .In("dwServiceType", dwServiceType)
        .In("dwStartType", dwStartType)
        .In("dwErrorControl", dwErrorControl)
        .In("lpBinaryPathName", lpBinaryPathName)
        .In("lpLoadOrderGroup", lpLoadOrderGroup)
        .In("lpdwTagId", lpdwTagId)
        .In("lpDependencies", dependencies)
        .In("lpServiceStartName", lpServiceStartName)
        .In("lpPassword", lpPassword == nullptr ? Json(nullptr) : Json("***"))
        .In("lpDisplayName", lpDisplayName);
    return SuccessWithUnmarked(call, hService, SERVICE_CHANGE_CONFIG, [&](Service& service) -> DWORD {
        const auto change = [](std::uint32_t& value, DWORD wanted) {
            if (wanted != SERVICE_NO_CHANGE)
                value = wanted;
        };
        const auto changeText = [](std::string& text, LPCWSTR wanted) {
            if (wanted != nullptr)
                text = winsim::Utf8(wanted);
        };
        change(service.type, dwServiceType);
        change(service.startType, dwStartType);
        change(service.errorControl, dwErrorControl);
        changeText(service.binaryPath, lpBinaryPathName);
        changeText(service.loadOrderGroup, lpLoadOrderGroup);
        if (lpDependencies != nullptr)
            service.dependencies = SplitMultiString(lpDependencies);
        changeText(service.account, lpServiceStartName);
        changeText(service.displayName, lpDisplayName);
        return ERROR_SUCCESS;
    });
}

BOOL WINAPI ChangeServiceConfig2W(SC_HANDLE hService, DWORD dwInfoLevel, LPVOID lpInfo)
{
    Call call{__func__};
    call.In("hService", hService).In("dwInfoLevel", dwInfoLevel);
    if (dwInfoLevel != SERVICE_CONFIG_DESCRIPTION)
        return call.Fail(FALSE, call.NotSimulated("any configuration except the description"));
    if (lpInfo == nullptr)
        return call.Fail(FALSE, ERROR_INVALID_PARAMETER);
    const LPCWSTR description = static_cast<const SERVICE_DESCRIPTIONW*>(lpInfo)->lpDescription;
    call.In("lpInfo", description == nullptr ? Json{{"lpDescription", nullptr}}
                                             : Json{{"lpDescription", winsim::Utf8(description)}});
    return SuccessWithUnmarked(call, hService, SERVICE_CHANGE_CONFIG, [&](Service& service) -> DWORD {
        if (description != nullptr)
            service.description = winsim::Utf8(description);
        return ERROR_SUCCESS;
    });
}

BOOL WINAPI StartServiceA(SC_HANDLE hService, DWORD dwNumServiceArgs, LPCSTR* lpServiceArgVectors)
{
    return StartThrough(Call{__func__}, hService, dwNumServiceArgs, lpServiceArgVectors);
}

BOOL WINAPI StartServiceW(SC_HANDLE hService, DWORD dwNumServiceArgs, LPCWSTR* lpServiceArgVectors)
{
    return StartThrough(Call{__func__}, hService, dwNumServiceArgs, lpServiceArgVectors);
}

BOOL WINAPI ControlService(SC_HANDLE hService, DWORD dwControl, LPSERVICE_STATUS lpServiceStatus)
{
    Call call{__func__};
    call.In("hService", hService).In("dwControl", dwControl);
    return call.SuccessOf([&]() -> DWORD {
        if (dwControl != SERVICE_CONTROL_STOP)
            return call.NotSimulated("any control except a stop");
        DWORD error = ERROR_SUCCESS;
        Service* service = ServiceOf(call, hService, SERVICE_STOP, error);
        if (service == nullptr)
            return error;
        error = call.GivesNothing() ? ERROR_SUCCESS : Stop(*service);
        // Windows reports the status for these errors too.
        if (error == ERROR_SUCCESS || error == ERROR_SERVICE_NOT_ACTIVE || error == ERROR_SERVICE_CANNOT_ACCEPT_CTRL ||
            error == ERROR_INVALID_SERVICE_CONTROL)
        {
            *lpServiceStatus = StatusOf(*service);
            if (call.IsRecording())
                call.Out("lpServiceStatus", Noted(*lpServiceStatus));
        }
        return error;
    });
}

BOOL WINAPI DeleteService(SC_HANDLE hService)
{
    Call call{__func__};
    call.In("hService", hService);
    constexpr DWORD kDelete = 0x10000;
    return SuccessWithUnmarked(call, hService, kDelete, [](Service& service) -> DWORD {
        service.isMarkedForDeletion = true;
        return ERROR_SUCCESS;
    });
}
