// Proves how the toolkit's service is installed, configured, started, stopped, unregistered and deleted.
#include "tests/support/run_tests.h"
#include "tests/support/service_script.h"
#include "tests/support/windows_script.h"

#include <gtest/gtest.h>

namespace
{

using winsim::Json;

constexpr char kDirectory[] = R"(C:\Toolkit)";

// A machine with the service program, which registers the service in two seconds, and the services of the stacks.
const Json kToolkit = Json::parse(R"({
    "files": {"C:\\Toolkit": {"directory": true}},
    "programs": {"C:\\Toolkit\\KlPCR.exe": {"runs": [
        {"arguments": "-Service", "runMs": 2000,
         "effects": {"services": {"KlPCR": {"displayName": "Kelo PCR", "binaryPath": "\"C:\\Toolkit\\KlPCR.exe\""}}}}]}},
    "services": {"IFXTCS": {"state": "running"}, "tcsd_win32.exe": {"state": "running"},
                 "tcsd_x86": {"state": "running"}}})");

winsim::Machine ToolkitMachine(const char* changes = "{}")
{
    Json description = kToolkit;
    description.merge_patch(Json::parse(changes));
    return winsim::Machine::FromJson(description);
}

// The same machine with the service registered.
winsim::Machine MachineWithService(const char* service)
{
    Json description = kToolkit;
    description["services"]["KlPCR"] = {{"binaryPath", R"("C:\Toolkit\KlPCR.exe" -Service)"}};
    description["services"]["KlPCR"].merge_patch(Json::parse(service));
    return winsim::Machine::FromJson(description);
}

// The same machine with other runs of the service program.
winsim::Machine RunningInstead(const winsim::Machine& machine, const char* runs)
{
    return Changed(machine, {{"programs", {{R"(C:\Toolkit\KlPCR.exe)", {{"runs", Json::parse(runs)}}}}}});
}

const winsim::Service& ServiceOf(const SimulatedRun& run)
{
    const winsim::Service* service = run.After().services.Find("KlPCR");
    if (service == nullptr)
        throw std::logic_error("the service is not there");
    return *service;
}

const std::string kOpenForAll = OpenService("KlPCR", 0xF01FF);
const std::string kNotOpened = Failing(kOpenForAll);
const std::string kStopBegins = Call("GetTickCount", {}, 600000);
const std::string kManagerRefused = Failing(kOpenManager);

// ---- Installation ----

SimulatedRun InstallFor(const std::string& vendor, const winsim::Machine& machine)
{
    return CallFunction(machine, "InstallTkService", {vendor, kDirectory});
}

SimulatedRun Install(const winsim::Machine& machine, const SimulatedRunOptions& options = {})
{
    return CallFunction(machine, "InstallTkService", {"KELO", kDirectory}, options);
}

constexpr char kBegin[] = "log: InstallTkService - Make sure that the Service isn't running first!";

const Script kNotInstalled = {kBegin, kOpenManager, kNotOpened, kCloseManager,
                              "log: InstallTkService - failed to open the KlPCR Service. 1060 (this is expected)"};

constexpr char kRegister[] = "log: KlTKService - now properly install/register the service";
constexpr char kUnknownVendor[] =
    "log: InstallTkService - A unknown TSS name was provided, set to have no TSS dependencies";
constexpr char kWin8Line[] = "log: This is Win8, no TBS Service....";
const Script kDependenciesChosen = {kRegister, AskForVersion(6, 0, true), AskForVersion(6, 2, true), kWin8Line};

const std::string kRun = StartProgram(R"(C:\Toolkit\KlPCR.exe)", "-Service", 0x8000000);
const Script kRegistered = {kRun, kWaitForProgram, kCloseProgram};
const Script kUpToRegistration = {kNotInstalled, kDependenciesChosen, kRegistered};

const Script kFinalOpened = {kOpenManager, OpenService("KlPCR", 0x12)};

std::string Configured(const Script& dependencies)
{
    return Call("ChangeServiceConfigW",
                {"service#1", 0xFFFFFFFF, 2, 0xFFFFFFFF, nullptr, "SmartcardGroup", nullptr, dependencies, nullptr,
                 nullptr, nullptr},
                1);
}

const std::string kKeloConfigured = Configured({"tcsd_x86", "RPCSS"});
const Script kNotRegistered = {kOpenManager, Failing(OpenService("KlPCR", 18)),
                               "log: InstallTkService - failed to open the KlPCR Service! 1060", kCloseManager};
const std::string kDescribed =
    Call("ChangeServiceConfig2W", {"service#1", 1, {{"lpDescription", "Kelo Toolkit Service"}}}, 1);
const std::string kStarted = Call("StartServiceW", {"service#1", 0, nullptr}, 1);
const Script kInstalled = {kCloseBoth, "log: KlTKService - service installed/registered"};
const Script kFinalPhase = {kFinalOpened, kKeloConfigured, kDescribed, kStarted, kInstalled};
const Script kFirstInstallation = {kUpToRegistration, kFinalPhase};

TEST(InstallTkService, FirstInstallation)
{
    const SimulatedRun run = Install(ToolkitMachine());
    ExpectRun(run, "0", kFirstInstallation);
    const winsim::Service& service = ServiceOf(run);
    EXPECT_EQ(service.startType, 2u);
    EXPECT_EQ(service.loadOrderGroup, "SmartcardGroup");
    EXPECT_EQ(service.description, "Kelo Toolkit Service");
    EXPECT_EQ(service.dependencies, (Script{"tcsd_x86", "RPCSS"}));
    EXPECT_EQ(service.type, 0x10u);
    EXPECT_EQ(service.errorControl, 1u);
    EXPECT_EQ(service.account, "LocalSystem");
    EXPECT_EQ(service.displayName, "Kelo PCR");
    EXPECT_EQ(service.binaryPath, R"("C:\Toolkit\KlPCR.exe")");
}

TEST(InstallTkService, WithoutAFullPathNothingIsRun)
{
    for (const char* directory : {"", "C:", R"(C:Toolkit\)", R"(Toolkit\)", R"(\)"})
    {
        const SimulatedRun run = CallFunction(MachineOf(R"({"programs": {"C:\\KlPCR.exe": {"runs": [
        {"effects": {"services": {"KlPCR": {"binaryPath": "planted"}}}}]}}})"),
                                              "InstallTkService", {"KELO", directory});
        EXPECT_EQ(run.result, "-1") << directory;
        EXPECT_EQ(run.log.back(), "InstallTkService - failed to open the KlPCR Service! 1060") << directory;
        EXPECT_FALSE(run.outcome.callCounts.contains("CreateProcessW")) << directory;
    }
}

TEST(InstallTkService, ADirectoryThatCannotBeConvertedIsNone)
{
    const SimulatedRun run =
        CallFunction(ToolkitMachine(), "InstallTkService", {"KELO", R"(C:\Toolkit\)"}, {{"MultiByteToWideChar=8"}});
    EXPECT_EQ(run.result, "-1");
    EXPECT_EQ(run.outcome.callCounts.count("CreateProcessW"), 0u);
}

TEST(InstallTkService, TheStartIsNotWaitedFor)
{
    const SimulatedRun run = Install(ToolkitMachine());
    EXPECT_EQ(ServiceOf(run).status.state, 2u);
    EXPECT_EQ(run.outcome.clockMs, 2000u);
}

TEST(InstallTkService, RegistrationIsWaitedForWithoutALimitAndItsExitCodeNotLookedAt)
{
    const SimulatedRun run = Install(ToolkitMachine(R"({"programs": {"C:\\Toolkit\\KlPCR.exe": {"runs": [
        {"arguments": "-Service", "runMs": 36000000, "exitCode": 1,
         "effects": {"services": {"KlPCR": {"binaryPath": "x"}}}}]}}})"));
    ExpectRun(run, "0", kFirstInstallation);
    EXPECT_EQ(run.outcome.clockMs, 36000000u);
}

TEST(InstallTkService, RegistrationThatNeverEndsIsWaitedForForEver)
{
    const SimulatedRun run = Install(ToolkitMachine(R"({"programs": {"C:\\Toolkit\\KlPCR.exe": {"runs": [
                                         {"arguments": "-Service", "neverEnds": true}]}}})"),
                                     {.faults = {}, .mayBeEndless = true});
    EXPECT_TRUE(run.outcome.isEndless);
    EXPECT_EQ(CountOf("WaitForSingleObject", run.script), 1u);
}

// ---- The dependencies ----

struct VendorRow
{
    const char* vendor;
    const char* stackService; // null for none
};

constexpr VendorRow kVendors[] = {
    {"IFX", "IFXTCS"},          {"ifx", "IFXTCS"},          {"iFx", "IFXTCS"},    {"NTRU", "tcsd_win32.exe"},
    {"ntru", "tcsd_win32.exe"}, {"Ntru", "tcsd_win32.exe"}, {"KELO", "tcsd_x86"}, {"kelo", "tcsd_x86"},
    {"Kelo", "tcsd_x86"},       {"NTRU12", nullptr},        {"", nullptr},        {"KEL", nullptr},
    {"KELO ", nullptr},         {"Other", nullptr},
};

struct VersionRow
{
    const char* version;
    Script lines;
};

constexpr char kVistaLine[] = "log: This is Vista/Win7, add TBS Service to dependencies....";
const VersionRow kVersions[] = {{"5.1", {}},        {"5.2", {}},        {"6.0", kVistaLine}, {"6.1", kVistaLine},
                                {"6.2", kWin8Line}, {"6.3", kWin8Line}, {"10.0", kWin8Line}};

TEST(InstallTkService, VendorAndVersionChooseTheDependencies)
{
    for (const VendorRow& vendor : kVendors)
    {
        for (const VersionRow& version : kVersions)
        {
            SCOPED_TRACE(std::string(vendor.vendor) + " on " + version.version);
            const SimulatedRun run =
                InstallFor(vendor.vendor, Changed(ToolkitMachine(), {{"windows", {{"version", version.version}}}}));
            Script dependencies;
            Script log = {kNotInstalled, kRegister};
            if (vendor.stackService != nullptr)
                dependencies.push_back(vendor.stackService);
            else
                log.push_back(kUnknownVendor);
            log.Append({version.lines});
            if (version.lines == Script{kVistaLine})
                dependencies.push_back("TBS");
            dependencies.push_back("RPCSS");
            EXPECT_EQ(ServiceOf(run).dependencies, dependencies);
            ExpectLog(run, "0", {log, kInstalled});
        }
    }
}

TEST(InstallTkService, BeforeVistaTheSecondProbeIsNotMade)
{
    ExpectRun(InstallFor("Other", ToolkitMachine(R"({"windows": {"version": "5.2"}})")), "0",
              {kNotInstalled, kRegister, kUnknownVendor, AskForVersion(6, 0, false), kRegistered, kFinalOpened,
               Configured({"RPCSS"}), kDescribed, kStarted, kInstalled});
}

TEST(InstallTkService, OnVistaAndWindows7TheListHoldsTbs)
{
    ExpectRun(InstallFor("ntru", ToolkitMachine(R"({"windows": {"version": "6.1"}})")), "0",
              {kNotInstalled, kRegister, AskForVersion(6, 0, true), AskForVersion(6, 2, false), kVistaLine, kRegistered,
               kFinalOpened, Configured({"tcsd_win32.exe", "TBS", "RPCSS"}), kDescribed, kStarted, kInstalled});
}

// ---- A service left from before ----

const Script kOldFound = {kBegin, kOpenManager, kOpenForAll, kStopBegins};

// The rest of the installation after the first phase when the service existed: it is registered anew and started.
const Script kInstalledAnew = {kDependenciesChosen, kRegistered, kFinalPhase};
const Script kRunningAlready = Replaced(
    kInstalledAnew, kStarted, {Failing(kStarted, 0), "log: InstallTkService failed to start the KlPCR Service 1056"});

winsim::Machine InstalledBefore(const char* service)
{
    // The program finds the service registered and does not change it.
    return RunningInstead(MachineWithService(service), R"([{"arguments": "-Service"}])");
}

constexpr char kStopLine[] = "log: InstallTkService - Stopped the KlPCR Service";
constexpr char kNoManager[] = "log: InstallTkService - failed to open the SCM. 5";
constexpr ReportedStatus kUnstoppable{.state = 4, .controls = 0, .waitHint = 31000};

const auto kServicesLeft =
    RunTests("InstallTkService", &Install)
        .Run("RunningServiceIsStoppedFirst",
             InstalledBefore(R"({"state": "running", "onStop": {"states": [{"afterMs": 0, "state": "stopped"}]}})"),
             "0", {kOldFound, QueryStatusEx(kRunning), SendStop(kStopped), kStopLine, kCloseBoth, kInstalledAnew})
        .Run("SlowStopIsWaitedFor", InstalledBefore(R"({"state": "running", "onStop": {"states": [
                 {"afterMs": 0, "state": "stopPending", "waitHint": 6000}, {"afterMs": 12000, "state": "stopped"}]}})"),
             "0",
             {kOldFound, QueryStatusEx(kRunning), SendStop(WithHint(kStopPending, 6000)), Sleep(6000),
              QueryStatusEx(WithHint(kStopPending, 6000)), Call("GetTickCount", {}, 606000), Sleep(6000),
              QueryStatusEx(kStopped), kStopLine, kCloseBoth, kInstalledAnew})
        .Run("ServiceThatDoesNotStopIsLoggedAndTheInstallationGoesOn",
             InstalledBefore(R"({"state": "running", "controlsAccepted": 0, "waitHint": 31000})"), "0",
             {kOldFound, QueryStatusEx(kUnstoppable), SendRefusedStop(kUnstoppable), Sleep(31000),
              QueryStatusEx(kUnstoppable), Call("GetTickCount", {}, 631000), "log: Wait timed out",
              "log: InstallTkService - failed to stop the KlPCR Service. -1", kCloseBoth, kRunningAlready})
        .Run("PendingStopThatEndsCountsAsAFailureToStop",
             InstalledBefore(
                 R"({"state": "stopPending", "waitHint": 1000, "states": [{"afterMs": 900, "state": "stopped"}]})"),
             "0",
             {kOldFound, QueryStatusEx(WithHint(kStopPending, 1000)), kAnnounced, Sleep(1000), QueryStatusEx(kStopped),
              "log: Service stopped successfully.", "log: InstallTkService - failed to stop the KlPCR Service. 1",
              kCloseBoth, kInstalledAnew})
        .Log("FailedQueryCountsAsAFailureToStop", InstalledBefore(R"({"state": "running"})"),
             {.faults = {"QueryServiceStatusEx#2=6"}}, "0",
             {kBegin, "log: QueryServiceStatusEx failed (6)",
              "log: InstallTkService - failed to stop the KlPCR Service. -2", kRunningAlready});

// ---- Failures ----

const auto kInstallationFailures =
    RunTests("InstallTkService", &Install)
        .Run("ManagerThatCannotBeOpenedAtFirstIsLogged", ToolkitMachine(), {.faults = {"OpenSCManagerW#1=1115"}}, "0",
             {kBegin, kManagerRefused, "log: InstallTkService - failed to open the SCM. 1115", kDependenciesChosen,
              kRegistered, kFinalPhase})
        .Run("ErrorOfTheFirstOpeningIsReadAfterTheManagerIsClosed", ToolkitMachine(),
             {.faults = {"CloseServiceHandle#1=6"}}, "0",
             {kBegin, kOpenManager, kNotOpened, Failing(kCloseManager, 0),
              "log: InstallTkService - failed to open the KlPCR Service. 6 (this is expected)", kDependenciesChosen,
              kRegistered, kFinalPhase})
        .Run("ProgramThatCannotBeStartedIsNeitherWaitedForNorClosed",
             ToolkitMachine(R"({"programs": {"C:\\Toolkit\\KlPCR.exe": null}})"), "-1",
             {kNotInstalled, kDependenciesChosen, Failing(kRun, 0), kNotRegistered})
        .Run("ServiceThatIsThereIsConfiguredThoughItsProgramCannotBeStarted", InstalledBefore("{}"),
             {.faults = {"CreateProcessW=5"}}, "0",
             {kOldFound, QueryStatusEx(kStopped), SendRefusedStop(kStopped), kStopLine, kCloseBoth, kDependenciesChosen,
              Failing(kRun, 0), kFinalPhase})
        .Run("ManagerThatCannotBeOpenedForTheFinalPhaseIsAFailure", ToolkitMachine(),
             {.faults = {"OpenSCManagerW#2=5"}}, "-1", {kUpToRegistration, kManagerRefused, kNoManager})
        .Run("ManagerThatCanNeverBeOpenedIsLoggedTwice", ToolkitMachine(), {.faults = {"OpenSCManagerW=5"}}, "-1",
             {kBegin, kManagerRefused, kNoManager, kDependenciesChosen, kRegistered, kManagerRefused, kNoManager})
        .Run("ServiceThatItsProgramDidNotRegisterIsAFailure",
             ToolkitMachine(R"({"programs": {"C:\\Toolkit\\KlPCR.exe": {"runs": []}}})"), "-1",
             {kUpToRegistration, kNotRegistered})
        .Run("FailedConfigurationIsLoggedAndTheRestDone", ToolkitMachine(), {.faults = {"ChangeServiceConfigW=1057"}},
             "0",
             Replaced(kFirstInstallation, kKeloConfigured,
                      {Failing(kKeloConfigured, 0),
                       "log: InstallTkService failed to change KlPCR Service configuration 1057"}))
        .Run("FailedDescriptionIsIgnored", ToolkitMachine(), {.faults = {"ChangeServiceConfig2W=5"}}, "0",
             Replaced(kFirstInstallation, kDescribed, Failing(kDescribed, 0)))
        .Run("FailedStartIsLoggedAndIsNoFailure", ToolkitMachine(R"({"services": {"tcsd_x86": null}})"), "0",
             Replaced(kFirstInstallation, kStarted,
                      {Failing(kStarted, 0), "log: InstallTkService failed to start the KlPCR Service 1075"}));

TEST(InstallTkService, DirectoryIsUsedAsItStands)
{
    const auto start = [](const char* program) { return StartProgram(program, "-Service", 0x8000000); };
    // The second directory is in code page 1252 and does not exist.
    const std::pair<const char*, std::string> cases[] = {
        {R"(C:\Toolkit\)", start(R"(C:\Toolkit\\KlPCR.exe)")},
        {"C:\\Schl\xFCssel", Failing(start(R"(C:\Schlüssel\KlPCR.exe)"), 0)},
    };
    for (const auto& [directory, call] : cases)
    {
        const SimulatedRun run = CallFunction(ToolkitMachine(), "InstallTkService", {"KELO", directory});
        EXPECT_EQ(std::count(run.script.begin(), run.script.end(), call), 1) << call;
    }
}

// ---- Removal ----

SimulatedRun UnInstall(const winsim::Machine& machine, const SimulatedRunOptions& options = {})
{
    return CallFunction(machine, "UnInstallTkService", {}, options);
}

constexpr char kEnter[] = "log: UnInstallTkService - Enter";

// The lookup of the program's path, with its own handles. `path` is the path in the service's configuration.
Script LookedUp(const char* path = R"("C:\Toolkit\KlPCR.exe" -Service)")
{
    return {OpenManager(2), OpenService("KlPCR", 1, 2), QueryConfig(4096, 3, path, "KlPCR", 2), CloseBoth(2)};
}

constexpr char kNoPath[] = "log: UnInstallTkService - failed to get path to KlPCR Service";
const Script kOpened = {kEnter, kOpenManager, kOpenForAll};
const Script kStoppedAlready = {kStopBegins, QueryStatusEx(kStopped), SendRefusedStop(kStopped)};

// The unregistration run: the lookup's result is started as the program; a directory cannot be run.
Script Unregistered(const std::string& program = R"(C:\Toolkit)")
{
    return {"log: UnInstallTkService - unregister the service",
            Failing(StartProgram(program, "-UnregServer", 0x8000000), 0),
            "log: UnInstallTkService - Unregisted the COM portion of the service"};
}

constexpr char kNotUnregistered[] = "log: UnInstallTkService - failed to stop KlPCR Service, can't fully uninstall";
const std::string kDelete = Call("DeleteService", {"service#1"}, 1);
const Script kDeleted = {kDelete, "log: UnInstallTkService - Deleted KlPCR Service from SCM", kCloseBoth,
                         "log: UnInstallTkService - completed"};

bool IsGone(const SimulatedRun& run)
{
    return run.After().services.Find("KlPCR") == nullptr;
}

void ExpectGone(const SimulatedRun& run)
{
    EXPECT_TRUE(IsGone(run));
}

// Windows keeps a running service until it stops.
void ExpectMarkedForDeletion(const SimulatedRun& run)
{
    EXPECT_TRUE(ServiceOf(run).isMarkedForDeletion);
}

const Script kStopSeen = {kOpened, LookedUp(), kStopBegins};
constexpr ReportedStatus kNeverStops{.state = 4, .controls = 0, .waitHint = 10000};

// A poll of the service that never stops.
Script NeverStopsAt(int tick)
{
    return {Sleep(10000), QueryStatusEx(kNeverStops), Call("GetTickCount", {}, tick)};
}

const auto kRemovals =
    RunTests("UnInstallTkService", &UnInstall)
        .Run("AbsentServiceIsAFailure", ToolkitMachine(), "-1",
             {kEnter, kOpenManager, kNotOpened, "log: UnInstallTkService - failed to open the KlPCR Service! 1060",
              kCloseManager})
        .Run("ManagerThatCannotBeOpenedIsAFailure", MachineWithService("{}"), {.faults = {"OpenSCManagerW=5"}}, "-1",
             {kEnter, kManagerRefused, "log: UnInstallTkService - failed to open the SCM. 5"})
        .Run("RunningServiceIsStoppedUnregisteredAndDeleted",
             MachineWithService(R"({"state": "running", "onStop": {"states": [{"afterMs": 0, "state": "stopped"}]}})"),
             "0", {kStopSeen, QueryStatusEx(kRunning), SendStop(kStopped), Unregistered(), kDeleted}, &ExpectGone)
        .Run("SlowStopIsWaitedFor", MachineWithService(R"({"state": "running", "onStop": {"states": [
                 {"afterMs": 0, "state": "stopPending", "waitHint": 15000}, {"afterMs": 29999, "state": "stopped"}]}})"),
             "0",
             {kStopSeen, QueryStatusEx(kRunning), SendStop(WithHint(kStopPending, 15000)), Sleep(15000),
              QueryStatusEx(WithHint(kStopPending, 15000)), Call("GetTickCount", {}, 615000), Sleep(15000),
              QueryStatusEx(kStopped), Unregistered(), kDeleted},
             &ExpectGone)
        .Run("StoppedServiceIsUnregisteredAndDeleted", MachineWithService("{}"), "0",
             {kOpened, LookedUp(), kStoppedAlready, Unregistered(), kDeleted}, &ExpectGone)
        .Run("PendingStopThatEndsIsNotUnregisteredButDeleted",
             MachineWithService(
                 R"({"state": "stopPending", "waitHint": 1000, "states": [{"afterMs": 500, "state": "stopped"}]})"),
             "0",
             {kStopSeen, QueryStatusEx(WithHint(kStopPending, 1000)), kAnnounced, Sleep(1000), QueryStatusEx(kStopped),
              "log: Service stopped successfully.", kNotUnregistered, kDeleted},
             &ExpectGone)
        .Run("ServiceThatDoesNotStopIsNotUnregisteredButDeleted",
             MachineWithService(R"({"state": "running", "controlsAccepted": 0, "waitHint": 10000})"), "0",
             {kStopSeen, QueryStatusEx(kNeverStops), SendRefusedStop(kNeverStops), NeverStopsAt(610000),
              NeverStopsAt(620000), NeverStopsAt(630000), NeverStopsAt(640000), "log: Wait timed out", kNotUnregistered,
              kDeleted},
             &ExpectMarkedForDeletion)
        .Run("ServiceWhoseStopCannotBeFollowedIsNotUnregisteredButDeleted",
             MachineWithService(R"({"state": "running", "onStop": {"states": [
                 {"afterMs": 0, "state": "stopPending", "waitHint": 500}]}})"),
             {.faults = {"QueryServiceStatusEx#2=6"}}, "0",
             {kStopSeen, QueryStatusEx(kRunning), SendStop(WithHint(kStopPending, 500)), Sleep(500),
              Failing(QueryStatusEx(kStopped), 0), "log: QueryServiceStatusEx failed (6)", kNotUnregistered, kDeleted},
             &ExpectMarkedForDeletion)
        .Run("FailedDeletionIsLoggedWithItsErrorAndIsNoFailure", MachineWithService("{}"),
             {.faults = {"DeleteService=5"}}, "0",
             {kOpened, LookedUp(), kStoppedAlready, Unregistered(), Failing(kDelete, 0),
              "log: UnInstallTkService - failed to delete the service 5", kCloseBoth,
              "log: UnInstallTkService - completed"},
             [](const SimulatedRun& run) { EXPECT_FALSE(ServiceOf(run).isMarkedForDeletion); });

TEST(UnInstallTkService, ServiceThatIsStillStartingIsNotToldAgainToStop)
{
    const ReportedStatus starting = WithHint(kStartPending, 20000);
    const SimulatedRun run = UnInstall(MachineWithService(
        R"({"state": "startPending", "waitHint": 20000, "states": [{"afterMs": 5000, "state": "running"}]})"));
    Script script = {kOpened,
                     LookedUp(),
                     kStopBegins,
                     QueryStatusEx(starting),
                     SendRefusedStop(starting),
                     Sleep(20000),
                     QueryStatusEx(kRunning),
                     Call("GetTickCount", {}, 620000)};
    // Without a wait hint the polls then follow each other without a pause.
    for (int tick = 620001; tick <= 630001; ++tick)
        script.insert(script.end(), {Sleep(0), QueryStatusEx(kRunning), Call("GetTickCount", {}, tick)});
    ExpectRun(run, "0", {script, "log: Wait timed out", kNotUnregistered, kDeleted});
}

TEST(UnInstallTkService, TheDirectoryOfTheConfiguredPathStandsForTheProgram)
{
    constexpr std::pair<const char*, const char*> kRows[] = {
        {R"("C:\Toolkit\KlPCR.exe" -Service)", R"(C:\Toolkit)"},
        {R"(C:\Toolkit\KlPCR.exe -Service)", R"(:\Toolkit)"},
        {R"("C:\Nowhere\KlPCR.exe")", R"(C:\Nowhere)"},
    };
    for (const auto& [path, program] : kRows)
    {
        Json service = {{"binaryPath", path}};
        ExpectRun(UnInstall(MachineWithService(service.dump().c_str())), "0",
                  {kOpened, LookedUp(path), kStoppedAlready, Unregistered(program), kDeleted});
    }
}

TEST(UnInstallTkService, WithoutAPathTheRunHasAnEmptyName)
{
    constexpr char kNoBackslash[] = "KlPCR.exe";
    ExpectRun(UnInstall(MachineWithService(R"({"binaryPath": "KlPCR.exe"})")), "0",
              {kOpened, LookedUp(kNoBackslash), kNoPath, kStoppedAlready, Unregistered(""), kDeleted});
}

TEST(UnInstallTkService, EachFailureOfTheLookupIsOneLine)
{
    for (const char* fault : {"OpenSCManagerW#2=5", "OpenServiceW#2=5", "LocalAlloc=8", "QueryServiceConfigW=122"})
    {
        SCOPED_TRACE(fault);
        const SimulatedRun run = UnInstall(MachineWithService("{}"), {.faults = {fault}});
        ExpectLog(run, "0", {kOpened, kNoPath, Unregistered(""), kDeleted});
        EXPECT_EQ(CountOf("WaitForSingleObject", run.script), 0u);
        EXPECT_TRUE(IsGone(run));
    }
}

TEST(UnInstallTkService, UnregistrationIsWaitedForWithoutALimit)
{
    // The part after the last backslash is empty here, so the program itself is run.
    const char* path = R"("C:\Toolkit\KlPCR.exe\")";
    const SimulatedRun run =
        UnInstall(RunningInstead(MachineWithService(Json{{"binaryPath", path}}.dump().c_str()),
                                 R"([{"arguments": "-UnregServer", "runMs": 7200000, "exitCode": 3}])"));
    ExpectRun(run, "0",
              {kOpened, LookedUp(path), kStoppedAlready, "log: UnInstallTkService - unregister the service",
               StartProgram(R"(C:\Toolkit\KlPCR.exe)", "-UnregServer", 0x8000000), kWaitForProgram, kCloseProgram,
               "log: UnInstallTkService - Unregisted the COM portion of the service", kDeleted});
    EXPECT_EQ(run.outcome.clockMs, 7200000u);
}

TEST(UnInstallTkService, ServiceThatItsProgramDeletedCannotBeDeletedAgain)
{
    const SimulatedRun run =
        UnInstall(RunningInstead(MachineWithService(Json{{"binaryPath", R"("C:\Toolkit\KlPCR.exe\")"}}.dump().c_str()),
                                 R"([{"arguments": "-UnregServer", "effects": {"services": {"KlPCR": null}}}])"));
    ExpectLog(run, "0",
              {kEnter, Unregistered(), "log: UnInstallTkService - failed to delete the service 1072",
               "log: UnInstallTkService - completed"});
    EXPECT_TRUE(IsGone(run));
}

TEST(UnInstallTkService, UndoesTheInstallation)
{
    winsim::Machine machine = Install(ToolkitMachine()).After();
    machine.Advance(1000);
    const SimulatedRun run = UnInstall(machine);
    EXPECT_EQ(run.result, "0");
    EXPECT_TRUE(IsGone(run));
    EXPECT_EQ(run.After().services, ToolkitMachine().services);
}

} // namespace
