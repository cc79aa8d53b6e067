// Proves that the calls about services behave as Windows documents them. The services are described in machine.json,
// for the simulated machine and for Wine; each that a test changes is that test's own.
#include "tests/winsim/support.h"

#include <winsvc.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <vector>

namespace
{

constexpr DWORD kDelete = 0x10000;
constexpr DWORD kPollMs = 20;
constexpr int kMostPolls = 500;

// A service opened with some rights, and the manager that it was opened through.
class OpenService
{
public:
    explicit OpenService(const std::wstring& name, DWORD access = SERVICE_ALL_ACCESS)
        : m_manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT)),
          m_service(OpenServiceW(m_manager, name.c_str(), access)),
          m_error(ErrorOf(m_service != nullptr))
    {}
    ~OpenService()
    {
        if (m_service != nullptr)
        {
            EXPECT_TRUE(CloseServiceHandle(m_service));
        }
        EXPECT_TRUE(CloseServiceHandle(m_manager));
    }
    OpenService(const OpenService&) = delete;
    OpenService& operator=(const OpenService&) = delete;

    SC_HANDLE Manager() const { return m_manager; }
    operator SC_HANDLE() const { return m_service; }
    LSTATUS Error() const { return m_error; }

private:
    SC_HANDLE m_manager;
    SC_HANDLE m_service;
    LSTATUS m_error;
};

LSTATUS OpenError(const std::wstring& name)
{
    return OpenService{name, SERVICE_QUERY_STATUS}.Error();
}

SERVICE_STATUS StatusOf(SC_HANDLE service)
{
    SERVICE_STATUS status{};
    EXPECT_TRUE(QueryServiceStatus(service, &status));
    return status;
}

// State, accepted controls, check point and wait hint.
using Progress = std::array<DWORD, 4>;

Progress ProgressIn(const SERVICE_STATUS& status)
{
    return {status.dwCurrentState, status.dwControlsAccepted, status.dwCheckPoint, status.dwWaitHint};
}

Progress ProgressOf(SC_HANDLE service)
{
    return ProgressIn(StatusOf(service));
}

DWORD StateOf(SC_HANDLE service)
{
    return StatusOf(service).dwCurrentState;
}

template <typename Condition>
void WaitUntil(Condition condition)
{
    int polls = 0;
    for (; !condition() && polls < kMostPolls; ++polls)
        Sleep(kPollMs);
    EXPECT_LT(polls, kMostPolls);
}

void WaitForState(SC_HANDLE service, DWORD state)
{
    WaitUntil([&] { return StateOf(service) == state; });
}

LSTATUS Start(SC_HANDLE service)
{
    return ErrorOf(StartServiceW(service, 0, nullptr));
}

// Sends the stop control. The call fills in `status`.
LSTATUS Stop(SC_HANDLE service, SERVICE_STATUS& status)
{
    return ErrorOf(ControlService(service, SERVICE_CONTROL_STOP, &status));
}

// A status that no service has, to show whether a call filled it in.
SERVICE_STATUS UntouchedStatus()
{
    SERVICE_STATUS status;
    std::memset(&status, 0x55, sizeof status);
    return status;
}

TEST(OpenSCManagerW, KnowsTheActiveDatabaseAlone)
{
    const auto open = [](const wchar_t* database) {
        const SC_HANDLE manager = OpenSCManagerW(nullptr, database, SC_MANAGER_CONNECT);
        const LSTATUS error = ErrorOf(manager != nullptr);
        if (manager != nullptr)
        {
            EXPECT_TRUE(CloseServiceHandle(manager));
        }
        return error;
    };
    EXPECT_EQ(open(L"ServicesActive"), 0);
    EXPECT_EQ(open(L"ServicesFailed"), ERROR_DATABASE_DOES_NOT_EXIST);
    EXPECT_EQ(open(L"KeloNoSuchDatabase"), ERROR_INVALID_NAME);
}

TEST(OpenServiceW, FailsForAnUnknownName)
{
    EXPECT_EQ(OpenError(L"KeloNoSuchService"), ERROR_SERVICE_DOES_NOT_EXIST);
    EXPECT_EQ(OpenError(std::wstring(256, L'x')), ERROR_SERVICE_DOES_NOT_EXIST);
}

TEST(OpenServiceW, FailsForAnInvalidName)
{
    for (const std::wstring& name : {std::wstring(), std::wstring(L"Kelo/Quick"), std::wstring(L"Kelo\\Quick")})
        EXPECT_EQ(OpenError(name), ERROR_INVALID_NAME) << Shown(name.c_str());
    if (IsOnWine())
        GTEST_SKIP() << "Wine takes a name of any length";
    EXPECT_EQ(OpenError(std::wstring(257, L'x')), ERROR_INVALID_NAME);
}

TEST(OpenServiceW, FindsANameInAnyCase)
{
    EXPECT_EQ(OpenError(L"KeloStopped"), 0);
    EXPECT_EQ(OpenError(L"KELOSTOPPED"), 0);
}

TEST(OpenServiceW, NeedsTheManager)
{
    MisusesHandles();
    const OpenService service{L"KeloStopped", SERVICE_QUERY_STATUS};
    EXPECT_EQ(ErrorOf([&] { return OpenServiceW(service, L"KeloStopped", SERVICE_QUERY_STATUS) != nullptr; }),
              ERROR_INVALID_HANDLE);
}

TEST(OpenServiceW, GivesTheRightsAskedForAlone)
{
    const OpenService service{L"KeloStopped", SERVICE_QUERY_CONFIG};
    SERVICE_STATUS status{};
    SERVICE_STATUS_PROCESS processStatus{};
    DWORD needed = 0;
    SERVICE_DESCRIPTIONW description{nullptr};
    constexpr LSTATUS kDenied = ERROR_ACCESS_DENIED;
    EXPECT_EQ(ErrorOf(QueryServiceStatus(service, &status)), kDenied);
    EXPECT_EQ(ErrorOf(QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&processStatus),
                                           sizeof processStatus, &needed)),
              kDenied);
    EXPECT_EQ(Start(service), kDenied);
    EXPECT_EQ(Stop(service, status), kDenied);
    EXPECT_EQ(ErrorOf(ChangeServiceConfigW(service, SERVICE_NO_CHANGE, SERVICE_AUTO_START, SERVICE_NO_CHANGE, nullptr,
                                           nullptr, nullptr, nullptr, nullptr, nullptr, nullptr)),
              kDenied);
    EXPECT_EQ(ErrorOf(ChangeServiceConfig2W(service, SERVICE_CONFIG_DESCRIPTION, &description)), kDenied);
    EXPECT_EQ(ErrorOf(DeleteService(service)), kDenied);

    const OpenService other{L"KeloStopped", SERVICE_QUERY_STATUS};
    EXPECT_EQ(ErrorOf(QueryServiceConfigW(other, nullptr, 0, &needed)), kDenied);
}

TEST(CloseServiceHandle, LeavesAServiceOpenWhoseManagerIsClosed)
{
    const SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
    const SC_HANDLE service = OpenServiceW(manager, L"KeloStopped", SERVICE_QUERY_STATUS);
    EXPECT_TRUE(CloseServiceHandle(manager));
    EXPECT_EQ(StateOf(service), DWORD{SERVICE_STOPPED});
    EXPECT_TRUE(CloseServiceHandle(service));
}

TEST(CloseServiceHandle, ClosesAHandleOnce)
{
    MisusesHandles();
    const OpenService open{L"KeloStopped", SERVICE_QUERY_STATUS};
    const SC_HANDLE service = OpenServiceW(open.Manager(), L"KeloStopped", SERVICE_QUERY_STATUS);
    EXPECT_TRUE(CloseServiceHandle(service));
    EXPECT_EQ(ErrorOf(CloseServiceHandle(service)), ERROR_INVALID_HANDLE);
    SERVICE_STATUS status{};
    EXPECT_EQ(ErrorOf(QueryServiceStatus(service, &status)), ERROR_INVALID_HANDLE);
}

TEST(QueryServiceStatus, TellsAStoppedService)
{
    const OpenService service{L"KeloStopped", SERVICE_QUERY_STATUS};
    const SERVICE_STATUS status = StatusOf(service);
    EXPECT_EQ(status.dwServiceType, DWORD{SERVICE_WIN32_OWN_PROCESS});
    EXPECT_EQ(ProgressIn(status), (Progress{SERVICE_STOPPED}));
    EXPECT_EQ(status.dwServiceSpecificExitCode, 0u);
}

TEST(QueryServiceStatus, TellsTheProgressOfAStart)
{
    const OpenService service{L"KeloSlowToStart"};
    EXPECT_EQ(Start(service), 0);
    // The service's own first report replaces the manager's.
    WaitUntil([&] { return StatusOf(service).dwCheckPoint == 1; });
    EXPECT_EQ(ProgressOf(service), (Progress{SERVICE_START_PENDING, 0, 1, 2000}));
    WaitUntil([&] { return StatusOf(service).dwCheckPoint == 2; });
    EXPECT_EQ(ProgressOf(service), (Progress{SERVICE_START_PENDING, 0, 2, 3000}));
    WaitForState(service, SERVICE_RUNNING);
    EXPECT_EQ(ProgressOf(service), (Progress{SERVICE_RUNNING, SERVICE_ACCEPT_STOP}));
}

TEST(QueryServiceStatus, TellsWhyAServiceStoppedWhileItStarted)
{
    const OpenService service{L"KeloFailing"};
    EXPECT_EQ(Start(service), 0);
    WaitForState(service, SERVICE_STOPPED);
    const SERVICE_STATUS status = StatusOf(service);
    EXPECT_EQ(status.dwWin32ExitCode, 1066u); // ERROR_SERVICE_SPECIFIC_ERROR
    EXPECT_EQ(status.dwServiceSpecificExitCode, 42u);
}

TEST(QueryServiceStatusEx, TellsARunningService)
{
    const OpenService service{L"KeloRunning", SERVICE_QUERY_STATUS};
    SERVICE_STATUS_PROCESS status{};
    DWORD needed = 0;
    EXPECT_TRUE(QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status), sizeof status,
                                     &needed));
    EXPECT_EQ(status.dwServiceType, DWORD{SERVICE_WIN32_OWN_PROCESS});
    EXPECT_EQ(status.dwCurrentState, DWORD{SERVICE_RUNNING});
    EXPECT_EQ(status.dwControlsAccepted, DWORD{SERVICE_ACCEPT_STOP});
    EXPECT_EQ(status.dwWin32ExitCode, 0u);
    EXPECT_EQ(status.dwServiceFlags, 0u);
}

TEST(QueryServiceStatusEx, RefusesABufferThatIsTooSmallAndAnotherLevel)
{
    const OpenService service{L"KeloRunning", SERVICE_QUERY_STATUS};
    SERVICE_STATUS_PROCESS status{};
    auto* buffer = reinterpret_cast<BYTE*>(&status);
    for (const DWORD size : {35u, 0u})
    {
        DWORD needed = 0;
        EXPECT_EQ(ErrorOf(QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO, buffer, size, &needed)),
                  ERROR_INSUFFICIENT_BUFFER);
        EXPECT_EQ(needed, 36u);
        EXPECT_EQ(status.dwCurrentState, 0u);
    }
    DWORD needed = 0;
    EXPECT_EQ(ErrorOf(QueryServiceStatusEx(service, static_cast<SC_STATUS_TYPE>(1), buffer, sizeof status, &needed)),
              ERROR_INVALID_LEVEL);
}

TEST(StartServiceW, FailsForARunningService)
{
    EXPECT_EQ(Start(OpenService{L"KeloRunning"}), ERROR_SERVICE_ALREADY_RUNNING);
}

TEST(StartServiceW, FailsForADisabledService)
{
    EXPECT_EQ(Start(OpenService{L"KeloDisabled"}), ERROR_SERVICE_DISABLED);
}

TEST(StartServiceW, FailsForAServiceWithoutItsProgram)
{
    const OpenService service{L"KeloBroken"};
    EXPECT_EQ(Start(service), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(StateOf(service), DWORD{SERVICE_STOPPED});
}

TEST(StartServiceW, FailsForAServiceThatDependsOnAMissingOne)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine does not look at what a service depends on";
    EXPECT_EQ(Start(OpenService{L"KeloOrphan"}), ERROR_SERVICE_DEPENDENCY_DELETED);
}

TEST(StartServiceW, WaitsForWhatTheServiceDependsOn)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine does not look at what a service depends on";
    const OpenService needed{L"KeloSlowToStart"};
    const OpenService service{L"KeloPatient"};
    const DWORD before = GetTickCount();
    EXPECT_EQ(Start(service), 0);
    EXPECT_GE(GetTickCount() - before, 1200u);
    EXPECT_EQ(StateOf(needed), DWORD{SERVICE_RUNNING});
    EXPECT_EQ(StateOf(service), DWORD{SERVICE_START_PENDING});
}

TEST(StartServiceW, WaitsForWhatIsOnItsWay)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine does not look at what a service depends on";
    const OpenService needed{L"KeloSlowToStart"};
    const OpenService service{L"KeloPatient"};
    EXPECT_EQ(Start(needed), 0);
    Sleep(700);
    const DWORD before = GetTickCount();
    EXPECT_EQ(Start(service), 0);
    const DWORD passed = GetTickCount() - before;
    EXPECT_GE(passed, 500u);
    EXPECT_LT(passed, 1200u);
    EXPECT_EQ(StateOf(needed), DWORD{SERVICE_RUNNING});
}

TEST(StartServiceW, FailsWhenWhatTheServiceDependsOnStopsOrHangsWhileItStarts)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine does not look at what a service depends on";
    for (const wchar_t* name : {L"KeloDisappointed", L"KeloForsaken"})
    {
        const OpenService service{name};
        EXPECT_EQ(Start(service), ERROR_SERVICE_DEPENDENCY_FAIL) << Shown(name);
        EXPECT_EQ(StateOf(service), DWORD{SERVICE_STOPPED}) << Shown(name);
    }
}

TEST(StartServiceA, BeginsAStartAndDoesNotWaitForItsEnd)
{
    const OpenService service{L"KeloStarting"};
    EXPECT_TRUE(StartServiceA(service, 0, nullptr));
    EXPECT_EQ(StateOf(service), DWORD{SERVICE_START_PENDING});
    EXPECT_EQ(Start(service), ERROR_SERVICE_ALREADY_RUNNING);
    if (IsOnWine())
        GTEST_SKIP() << "Wine sends the stop control to a service that is starting";
    SERVICE_STATUS status = UntouchedStatus();
    EXPECT_EQ(Stop(service, status), ERROR_SERVICE_CANNOT_ACCEPT_CTRL);
    EXPECT_EQ(status.dwCurrentState, DWORD{SERVICE_START_PENDING});
}

void ExpectRefusedStop(const std::wstring& name, LSTATUS error, DWORD state)
{
    SERVICE_STATUS status = UntouchedStatus();
    EXPECT_EQ(Stop(OpenService{name}, status), error);
    if (IsOnWine())
        GTEST_SKIP() << "Wine leaves the status as it is";
    EXPECT_EQ(status.dwCurrentState, state);
}

TEST(ControlService, FailsForAStoppedServiceAndTellsItsStatus)
{
    ExpectRefusedStop(L"KeloStopped", ERROR_SERVICE_NOT_ACTIVE, SERVICE_STOPPED);
}

TEST(ControlService, FailsForAServiceThatTakesNoControlAndTellsItsStatus)
{
    ExpectRefusedStop(L"KeloDeaf", ERROR_INVALID_SERVICE_CONTROL, SERVICE_RUNNING);
}

TEST(ControlService, FailsForAServiceThatARunningOneNeeds)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine does not look at what depends on a service";
    SERVICE_STATUS status = UntouchedStatus();
    const OpenService service{L"KeloNeeded"};
    EXPECT_EQ(Stop(service, status), ERROR_DEPENDENT_SERVICES_RUNNING);
    EXPECT_EQ(status.dwCurrentState, UntouchedStatus().dwCurrentState);
}

TEST(ControlService, TellsTheStateThatTheServiceAnswersWith)
{
    const OpenService service{L"KeloSlowToStop"};
    SERVICE_STATUS status{};
    EXPECT_EQ(Stop(service, status), 0);
    EXPECT_EQ(ProgressIn(status), (Progress{SERVICE_STOP_PENDING, 0, 1, 1234}));
    EXPECT_EQ(Stop(service, status), ERROR_SERVICE_CANNOT_ACCEPT_CTRL);

    WaitUntil([&] { return StatusOf(service).dwCheckPoint == 2; });
    EXPECT_EQ(ProgressOf(service), (Progress{SERVICE_STOP_PENDING, 0, 2, 567}));
    WaitForState(service, SERVICE_STOPPED);
    EXPECT_EQ(Stop(service, status), ERROR_SERVICE_NOT_ACTIVE);
}

// The configuration of a service, in a buffer of the size that the call requires.
class Configuration
{
public:
    explicit Configuration(SC_HANDLE service)
    {
        DWORD needed = 0;
        EXPECT_EQ(ErrorOf(QueryServiceConfigW(service, nullptr, 0, &needed)), ERROR_INSUFFICIENT_BUFFER);
        m_buffer.resize(needed);
        auto* configuration = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(m_buffer.data());
        EXPECT_TRUE(QueryServiceConfigW(service, configuration, needed, &needed));
    }

    DWORD Size() const { return static_cast<DWORD>(m_buffer.size()); }
    const QUERY_SERVICE_CONFIGW* operator->() const
    {
        return reinterpret_cast<const QUERY_SERVICE_CONFIGW*>(m_buffer.data());
    }

private:
    std::vector<BYTE> m_buffer;
};

// The error of a call with a buffer of this size.
LSTATUS QueryConfigurationError(SC_HANDLE service, DWORD size, DWORD& needed)
{
    std::vector<BYTE> buffer(size);
    return ErrorOf(
        QueryServiceConfigW(service, reinterpret_cast<QUERY_SERVICE_CONFIGW*>(buffer.data()), size, &needed));
}

// Gives a service a start type and texts; null leaves a text unchanged.
LSTATUS Change(SC_HANDLE service, DWORD startType, const wchar_t* binaryPath, const wchar_t* group,
               const wchar_t* dependencies)
{
    return ErrorOf(ChangeServiceConfigW(service, SERVICE_NO_CHANGE, startType, SERVICE_NO_CHANGE, binaryPath, group,
                                        nullptr, dependencies, nullptr, nullptr, nullptr));
}

TEST(QueryServiceConfigW, TellsTheConfiguration)
{
    const OpenService service{L"KeloStopped", SERVICE_QUERY_CONFIG};
    const Configuration configuration{service};
    EXPECT_EQ(configuration->dwServiceType, DWORD{SERVICE_WIN32_OWN_PROCESS});
    EXPECT_EQ(configuration->dwStartType, DWORD{SERVICE_DEMAND_START});
    EXPECT_EQ(configuration->dwErrorControl, DWORD{SERVICE_ERROR_NORMAL});
    EXPECT_EQ(Shown(configuration->lpBinaryPathName), "\"C:\\Standins\\Kelo Stopped\\service.exe\" -Service");
    EXPECT_EQ(Shown(configuration->lpLoadOrderGroup), "");
    EXPECT_EQ(configuration->dwTagId, 0u);
    EXPECT_EQ(Shown(configuration->lpServiceStartName), "LocalSystem");
    EXPECT_EQ(Shown(configuration->lpDisplayName), "Kelo Stopped");
}

TEST(QueryServiceConfigW, RefusesABufferThatIsTooSmallAndTellsTheNeededSize)
{
    const OpenService service{L"KeloStopped", SERVICE_QUERY_CONFIG};
    const DWORD whole = Configuration{service}.Size();
    constexpr DWORD kStructure = sizeof(QUERY_SERVICE_CONFIGW);
    EXPECT_GT(whole, kStructure);
    for (const DWORD size : {kStructure - 1, kStructure, whole - 1})
    {
        DWORD needed = 0;
        EXPECT_EQ(QueryConfigurationError(service, size, needed), ERROR_INSUFFICIENT_BUFFER);
        EXPECT_EQ(needed, whole) << size;
    }
}

TEST(QueryServiceConfigW, GivesAConfigurationThatIsLargerThan4096Bytes)
{
    const OpenService service{L"KeloLarge"};
    const std::wstring binaryPath = L"\"C:\\Standins\\KeloLarge.exe\" " + std::wstring(2100, L'x');
    EXPECT_EQ(Change(service, SERVICE_NO_CHANGE, binaryPath.c_str(), nullptr, nullptr), 0);
    DWORD needed = 0;
    EXPECT_EQ(QueryConfigurationError(service, 4096, needed), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_GT(needed, 4096u);
    EXPECT_EQ(Shown(Configuration { service } -> lpBinaryPathName), Shown(binaryPath.c_str()));
}

TEST(ChangeServiceConfigW, ChangesWhatIsGivenAndLeavesTheRest)
{
    const OpenService service{L"KeloConfigured"};
    EXPECT_EQ(Change(service, SERVICE_AUTO_START, nullptr, L"KeloGroup", L"KeloStopped\0KeloRunning\0"), 0);
    const Configuration changed{service};
    EXPECT_EQ(changed->dwServiceType, DWORD{SERVICE_WIN32_OWN_PROCESS});
    EXPECT_EQ(changed->dwStartType, DWORD{SERVICE_AUTO_START});
    EXPECT_EQ(changed->dwErrorControl, DWORD{SERVICE_ERROR_NORMAL});
    EXPECT_EQ(Shown(changed->lpBinaryPathName), "C:\\Standins\\KeloConfigured.exe");
    EXPECT_EQ(Shown(changed->lpLoadOrderGroup), "KeloGroup");
    EXPECT_EQ(Shown(changed->lpDisplayName), "KeloConfigured");

    EXPECT_EQ(Change(service, SERVICE_NO_CHANGE, nullptr, nullptr, nullptr), 0);
    const Configuration same{service};
    EXPECT_EQ(same->dwStartType, DWORD{SERVICE_AUTO_START});
    EXPECT_EQ(Shown(same->lpLoadOrderGroup), "KeloGroup");

    EXPECT_EQ(Change(service, SERVICE_DISABLED, nullptr, L"", nullptr), 0);
    const Configuration without{service};
    EXPECT_EQ(without->dwStartType, DWORD{SERVICE_DISABLED});
    EXPECT_EQ(Shown(without->lpLoadOrderGroup), "");
    EXPECT_EQ(Start(service), ERROR_SERVICE_DISABLED);
}

TEST(ChangeServiceConfigW, TakesTheDependenciesAsAMultiString)
{
    const OpenService service{L"KeloConfigured"};
    EXPECT_EQ(Change(service, SERVICE_NO_CHANGE, nullptr, nullptr, L"KeloStopped\0KeloRunning\0"), 0);
    if (IsOnWine())
        GTEST_SKIP() << "Wine stores the dependencies and does not tell them";
    EXPECT_EQ(Shown(Configuration(service)->lpDependencies, 25), "KeloStopped<0000>KeloRunning<0000><0000>");
    EXPECT_EQ(Change(service, SERVICE_NO_CHANGE, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(Shown(Configuration(service)->lpDependencies, 25), "KeloStopped<0000>KeloRunning<0000><0000>");
    EXPECT_EQ(Change(service, SERVICE_NO_CHANGE, nullptr, nullptr, L""), 0);
    EXPECT_EQ(Shown(Configuration(service)->lpDependencies), "");
}

TEST(ChangeServiceConfig2W, TakesADescriptionAndNone)
{
    const OpenService service{L"KeloConfigured", SERVICE_CHANGE_CONFIG};
    wchar_t text[] = L"Kelo described";
    SERVICE_DESCRIPTIONW description{text};
    EXPECT_EQ(ErrorOf(ChangeServiceConfig2W(service, SERVICE_CONFIG_DESCRIPTION, &description)), 0);
    description.lpDescription = nullptr;
    EXPECT_EQ(ErrorOf(ChangeServiceConfig2W(service, SERVICE_CONFIG_DESCRIPTION, &description)), 0);
}

TEST(DeleteService, TakesAStoppedServiceAwayWhenItsLastHandleIsClosed)
{
    constexpr LSTATUS kMarked = ERROR_SERVICE_MARKED_FOR_DELETE;
    {
        const OpenService first{L"KeloDeleted"};
        const OpenService second{L"KeloDeleted"};
        EXPECT_TRUE(DeleteService(first));
        EXPECT_EQ(StateOf(first), DWORD{SERVICE_STOPPED});
        EXPECT_EQ(ErrorOf(DeleteService(first)), kMarked);
        EXPECT_EQ(ErrorOf(DeleteService(second)), kMarked);
        EXPECT_EQ(Change(second, SERVICE_AUTO_START, nullptr, nullptr, nullptr), kMarked);
    }
    EXPECT_EQ(OpenError(L"KeloDeleted"), ERROR_SERVICE_DOES_NOT_EXIST);
}

TEST(DeleteService, LeavesAServiceThatCannotBeStartedOrDescribed)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine starts and describes a service that is marked for deletion";
    const OpenService service{L"KeloMarked"};
    EXPECT_TRUE(DeleteService(service));
    EXPECT_EQ(Start(service), ERROR_SERVICE_MARKED_FOR_DELETE);
    SERVICE_DESCRIPTIONW description{nullptr};
    EXPECT_EQ(ErrorOf(ChangeServiceConfig2W(service, SERVICE_CONFIG_DESCRIPTION, &description)),
              ERROR_SERVICE_MARKED_FOR_DELETE);
}

TEST(DeleteService, LeavesARunningServiceUntilItHasStopped)
{
    {
        const OpenService running{L"KeloDoomed", SERVICE_STOP | SERVICE_QUERY_STATUS};
        EXPECT_TRUE(DeleteService(OpenService{L"KeloDoomed", kDelete}));
        EXPECT_EQ(StateOf(running), DWORD{SERVICE_RUNNING});
        EXPECT_EQ(OpenError(L"KeloDoomed"), 0);
        SERVICE_STATUS status{};
        EXPECT_EQ(Stop(running, status), 0);
        WaitForState(running, SERVICE_STOPPED);
        EXPECT_EQ(OpenError(L"KeloDoomed"), 0);
    }
    EXPECT_EQ(OpenError(L"KeloDoomed"), ERROR_SERVICE_DOES_NOT_EXIST);
}

TEST(DeleteService, TakesAServiceAwayThatStopsWhenNobodyHasItOpen)
{
    {
        const OpenService service{L"KeloFading"};
        EXPECT_TRUE(DeleteService(service));
        SERVICE_STATUS status{};
        EXPECT_EQ(Stop(service, status), 0);
        EXPECT_EQ(status.dwCurrentState, DWORD{SERVICE_STOP_PENDING});
    }
    EXPECT_EQ(OpenError(L"KeloFading"), 0);
    // A look at the service would open it and so keep it, so wait instead.
    Sleep(2000);
    EXPECT_EQ(OpenError(L"KeloFading"), ERROR_SERVICE_DOES_NOT_EXIST);
}

// ---- Rights and parameters ----

TEST(ServiceRights, AreMappedFromGenericOnes)
{
    const OpenService reading{L"KeloStopped", GENERIC_READ};
    EXPECT_EQ(StateOf(reading), static_cast<DWORD>(SERVICE_STOPPED));
    EXPECT_EQ(Start(reading), 5);
    const OpenService executing{L"KeloDisabled", GENERIC_EXECUTE};
    EXPECT_EQ(Start(executing), 1058);
    SERVICE_STATUS status{};
    EXPECT_EQ(ErrorOf(QueryServiceStatus(executing, &status)), 5);
    const OpenService all{L"KeloDisabled", GENERIC_ALL};
    EXPECT_EQ(Start(all), 1058);
    EXPECT_EQ(ErrorOf(QueryServiceStatus(all, &status)), 0);
}

TEST(ServiceRights, AreAllThatThereAreWhenTheMostIsAskedFor)
{
    const OpenService most{L"KeloDisabled", MAXIMUM_ALLOWED};
    SERVICE_STATUS status{};
    EXPECT_EQ(ErrorOf(QueryServiceStatus(most, &status)), 0);
    EXPECT_EQ(Start(most), 1058);
}

TEST(OpenServiceW, NeedsAName)
{
    const SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
    EXPECT_TRUE(OpenServiceW(manager, nullptr, SERVICE_QUERY_STATUS) == nullptr);
    EXPECT_EQ(GetLastError(), 487u);
    EXPECT_TRUE(CloseServiceHandle(manager));
}

TEST(QueryServiceStatus, NeedsAPlaceForTheStatus)
{
    const OpenService service{L"KeloStopped"};
    EXPECT_EQ(ErrorOf(QueryServiceStatus(service, nullptr)), 487);
}

} // namespace
