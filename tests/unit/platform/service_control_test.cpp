// Proves how services are inspected, started, stopped and restarted by name: which calls are made, how often and how
// long the program waits, and every line that it logs.
#include "tests/support/run_tests.h"
#include "tests/support/service_script.h"
#include "tests/support/windows_script.h"

#include <gtest/gtest.h>

#include <optional>

namespace
{

using winsim::Json;

constexpr char kName[] = "tcsd_x86";
constexpr unsigned kQueryAccess = 0x4;
constexpr unsigned kControlAccess = 0x34;
constexpr unsigned kPollMs = 250;

const std::string kStartCall = Call("StartServiceA", {"service#1", 0, nullptr}, 1);

winsim::Machine MachineWith(const Json& service)
{
    return winsim::Machine::FromJson({{"services", {{kName, service}}}});
}

winsim::Machine MachineWith(const char* service)
{
    return MachineWith(Json::parse(service));
}

SimulatedRun CallWithName(const std::string& operation, const winsim::Machine& machine,
                          const SimulatedRunOptions& options = {})
{
    return CallFunction(machine, operation, {kName}, options);
}

SimulatedRun IsRunning(const winsim::Machine& machine, const SimulatedRunOptions& options = {})
{
    return CallWithName("IsServiceRunning", machine, options);
}
SimulatedRun Start(const winsim::Machine& machine, const SimulatedRunOptions& options = {})
{
    return CallWithName("StartServiceByName", machine, options);
}
SimulatedRun Stop(const winsim::Machine& machine, const SimulatedRunOptions& options = {})
{
    return CallWithName("StopServiceByName", machine, options);
}
SimulatedRun Restart(const winsim::Machine& machine, const SimulatedRunOptions& options = {})
{
    return CallWithName("RestartServiceByName", machine, options);
}

// The beginning that the four operations share, up to the first status line.
Script Found(unsigned access, const ReportedStatus& status, const std::string& name = kName)
{
    return {kOpenManager, OpenService(name, access), "log: Found service: " + name, QueryStatus(status),
            fmt::format("log:  {} current status: {}, {}", name, status.state, static_cast<int>(status.controls))};
}

// One poll of a wait, from one status to the next.
Script Polled(const ReportedStatus& from, const ReportedStatus& to)
{
    return {fmt::format("log: {}  current status: {}, {}", kName, from.state, static_cast<int>(from.controls)),
            Sleep(250), QueryStatus(to)};
}

std::string Tick(unsigned sinceStart)
{
    return Call("GetTickCount", {}, 600000 + sinceStart);
}

// The script as it ends when the occurrence-th status query fails.
Script CutAtQuery(const Script& script, unsigned occurrence)
{
    Script cut;
    for (const std::string& line : script)
    {
        if (line.starts_with("QueryServiceStatus(") && --occurrence == 0)
            break;
        cut.push_back(line);
    }
    return {cut, Failing(QueryStatus(kStopped), 0), "log: Cannot query status of service", kCloseBoth};
}

// Makes each status query of a run fail in turn.
void ExpectEachFailedQueryEnds(const std::string& operation, const winsim::Machine& machine)
{
    const Script whole = CallWithName(operation, machine).script;
    const std::size_t queries = CountOf("QueryServiceStatus", whole);
    for (unsigned n = 1; n <= queries; ++n)
    {
        SCOPED_TRACE(fmt::format("query {} of {}", n, queries));
        ExpectRun(CallWithName(operation, machine, {.faults = {fmt::format("QueryServiceStatus#{}=6", n)}}), "false",
                  CutAtQuery(whole, n));
    }
}

// ---- Opening ----

struct Operation
{
    const char* name;
    unsigned access;
    const char* unknownLine; // for the errors 123 and 1060
    const char* failedLine;  // for any other error; null for none
};

constexpr Operation kOperations[] = {
    {"IsServiceRunning", kQueryAccess, "log: Cannot open service: {}", nullptr},
    {"StartServiceByName", kControlAccess, "log: Cannot open service: {}", nullptr},
    {"StopServiceByName", kControlAccess, "log: Service {} not found", "log: Cannot open service: {}"},
    {"RestartServiceByName", kControlAccess, "log: Cannot open service: {}", "log: Cannot open service: {}"},
};

void ExpectOpenFailure(const Operation& operation, const winsim::Machine& machine, const std::string& name,
                       const char* line, const SimulatedRunOptions& options = {})
{
    SCOPED_TRACE(std::string(operation.name) + " of " + name);
    Script script{kOpenManager, Failing(OpenService(name, operation.access))};
    if (line != nullptr)
        script.push_back(fmt::format(fmt::runtime(line), name));
    script.push_back(kCloseManager);
    ExpectRun(CallFunction(machine, operation.name, {name}, options), "false", script);
}

TEST(ServiceOpening, UnknownServiceHasItsLine)
{
    for (const Operation& operation : kOperations)
        ExpectOpenFailure(operation, MachineOf("{}"), kName, operation.unknownLine);
}

TEST(ServiceOpening, InvalidNameIsAnUnknownService)
{
    for (const Operation& operation : kOperations)
    {
        for (const char* name : {"", "tcsd/x86",
                                 "a service's name that has more than the 256 characters it may have: "
                                 "0123456789012345678901234567890123456789012345678901234567890123456789"
                                 "0123456789012345678901234567890123456789012345678901234567890123456789"
                                 "0123456789012345678901234567890123456789012345678901234567890123456789"})
            ExpectOpenFailure(operation, MachineOf("{}"), name, operation.unknownLine);
    }
}

TEST(ServiceOpening, DeniedAccessIsLoggedByStopAndRestartAlone)
{
    for (const Operation& operation : kOperations)
        ExpectOpenFailure(operation, MachineWith(R"({"deniedAccess": 4})"), kName, operation.failedLine);
}

TEST(ServiceOpening, TheErrorDecidesOnTheLine)
{
    constexpr std::pair<int, bool> kRows[] = {{2, false},  {5, false},   {6, false},
                                              {123, true}, {1060, true}, {1722, false}};
    for (const Operation& operation : kOperations)
    {
        for (const auto& [error, isUnknown] : kRows)
            ExpectOpenFailure(operation, MachineWith("{}"), kName,
                              isUnknown ? operation.unknownLine : operation.failedLine,
                              {.faults = {fmt::format("OpenServiceW={}", error)}});
    }
}

TEST(ServiceOpening, ManagerThatCannotBeOpenedIsLoggedWithItsError)
{
    for (const Operation& operation : kOperations)
    {
        SCOPED_TRACE(operation.name);
        ExpectRun(CallWithName(operation.name, MachineWith("{}"), {.faults = {"OpenSCManagerW=5"}}), "false",
                  {Failing(kOpenManager), "log: OpenSCManager failed (5)"});
    }
}

TEST(ServiceOpening, FailedFirstQueryIsLogged)
{
    for (const Operation& operation : kOperations)
    {
        SCOPED_TRACE(operation.name);
        ExpectRun(CallWithName(operation.name, MachineWith("{}"), {.faults = {"QueryServiceStatus=6"}}), "false",
                  {kOpenManager, OpenService(kName, operation.access), "log: Found service: tcsd_x86",
                   Failing(QueryStatus(kStopped), 0), "log: Cannot query status of service", kCloseBoth});
    }
}

TEST(ServiceOpening, NameIsOpenedAsItStandsAndLoggedInTheAnsiCodePage)
{
    const char* machine = R"({"services": {"Schlüssel 鍵 %s%n": {"state": "running"}}})";
    ExpectRun(CallFunction(MachineOf(machine), "IsServiceRunning", {"Schlüssel 鍵 %s%n"}), "true",
              {kOpenManager, OpenService("Schlüssel 鍵 %s%n", kQueryAccess), "log: Found service: Schlüssel ? %s%n",
               QueryStatus(kRunning), "log:  Schlüssel ? %s%n current status: 4, 1", kCloseBoth});
}

// ---- IsServiceRunning ----

struct StateRow
{
    const char* name;
    ReportedStatus status;
};

constexpr StateRow kStatesThatRun[] = {
    {"startPending", kStartPending}, {"stopPending", kStopPending}, {"running", kRunning},
    {"continuePending", {5}},        {"pausePending", {6}},         {"paused", kPaused},
};

TEST(IsServiceRunning, EveryStateButStoppedCountsAsRunning)
{
    for (const StateRow& row : kStatesThatRun)
    {
        SCOPED_TRACE(row.name);
        const winsim::Machine machine = MachineWith({{"state", row.name}});
        const SimulatedRun run = IsRunning(machine);
        ExpectRun(run, "true", {Found(kQueryAccess, row.status), kCloseBoth});
        EXPECT_EQ(run.After().services, machine.services);
    }
}

TEST(IsServiceRunning, StoppedServiceIsNot)
{
    ExpectRun(IsRunning(MachineWith("{}")), "false", {Found(kQueryAccess, kStopped), kCloseBoth});
}

TEST(IsServiceRunning, LogsTheControlsThatTheServiceAccepts)
{
    for (const unsigned controls : {197u, 0x80000000u})
    {
        const ReportedStatus status{.state = 4, .controls = controls};
        ExpectRun(IsRunning(MachineWith({{"state", "running"}, {"controlsAccepted", controls}})), "true",
                  {Found(kQueryAccess, status), kCloseBoth});
    }
}

// ---- StartServiceByName ----

const Script kNotStarted = {"log: Unable to start service in timely manner", kCloseBoth};
const Script kStarting = {Found(kControlAccess, kStopped), kStartCall, "log: Starting service"};
const Script kStarted = {"log: service started", "log: tcsd_x86 has been sucessfully started", kCloseBoth};

TEST(StartServiceByName, ServiceInAnyOtherStateThanStoppedIsTakenToRun)
{
    for (const StateRow& row : kStatesThatRun)
    {
        SCOPED_TRACE(row.name);
        ExpectRun(Start(MachineWith({{"state", row.name}})), "true",
                  {Found(kControlAccess, row.status), "log: tcsd_x86 service is already running", kCloseBoth});
    }
}

TEST(StartServiceByName, ServiceIsPolledUntilItRuns)
{
    const SimulatedRun run = Start(MachineWith(R"({
        "onStart": {"states": [{"afterMs": 0, "state": "startPending", "checkPoint": 1, "waitHint": 9000},
                               {"afterMs": 600, "state": "running"}]}})"));
    // The first query sees the state before the start.
    const ReportedStatus pending = WithHint(WithCheckPoint(kStartPending, 1), 9000);
    ExpectRun(run, "true",
              {kStarting, Polled(kStopped, pending), Polled(pending, pending), Polled(pending, kRunning),
               QueryStatus(kRunning), kStarted});
    EXPECT_EQ(run.outcome.clockMs, 3 * kPollMs);
}

TEST(StartServiceByName, RefusedStartIsLoggedWithItsErrorInHexadecimal)
{
    constexpr std::pair<const char*, const char*> kRows[] = {
        {R"({"start": "disabled"})", "0x422"},
        {R"({"onStart": {"error": 1053, "states": []}})", "0x41D"},
        {R"({"dependencies": ["IFXTCS"]})", "0x433"},
        {R"({"onStart": {"error": 2, "states": []}})", "0x2"},
        {R"({"onStart": {"error": 3735928559, "states": []}})", "0xDEADBEEF"},
    };
    for (const auto& [service, error] : kRows)
    {
        SCOPED_TRACE(service);
        ExpectRun(Start(MachineWith(service)), "false",
                  {Found(kControlAccess, kStopped), Failing(kStartCall, 0),
                   std::string("log: Cannot start tcsd_x86 service: ") + error, kCloseBoth});
    }
}

// The service stays in one state after its start, for ever or until a given time.
Json Lingering(const char* state, std::optional<unsigned> runsAfterMs = std::nullopt)
{
    Json states = {{{"afterMs", 0}, {"state", state}}};
    if (runsAfterMs)
        states.push_back({{"afterMs", *runsAfterMs}, {"state", "running"}});
    return {{"onStart", {{"states", states}}}};
}

TEST(StartServiceByName, GivesUpAfterThe101stPoll)
{
    const SimulatedRun run = Start(MachineWith(Lingering("startPending")));
    ExpectRun(run, "false",
              {kStarting, Polled(kStopped, kStartPending), Times(100, Polled(kStartPending, kStartPending)),
               QueryStatus(kStartPending), kNotStarted});
    EXPECT_EQ(CountOf("Sleep", run.script), 101u);
    EXPECT_EQ(run.outcome.clockMs, 101u * kPollMs);
}

const auto kStarts =
    RunTests("StartServiceByName", &Start)
        .Run("ServiceThatFallsBackToStoppedIsStillPolled101Times", MachineWith(Lingering("stopped")), "false",
             {kStarting, Times(101, Polled(kStopped, kStopped)), QueryStatus(kStopped), kNotStarted})
        .Run("ServiceThatRunsByThe101stPollIsStarted", MachineWith(Lingering("startPending", 101 * kPollMs)), "true",
             {kStarting, Polled(kStopped, kStartPending), Times(99, Polled(kStartPending, kStartPending)),
              Polled(kStartPending, kRunning), QueryStatus(kRunning), kStarted})
        .Run("ServiceThatRunsOneMillisecondLaterIsNot", MachineWith(Lingering("startPending", 101 * kPollMs + 1)),
             "false",
             {kStarting, Polled(kStopped, kStartPending), Times(100, Polled(kStartPending, kStartPending)),
              QueryStatus(kStartPending), kNotStarted});

TEST(StartServiceByName, EachFailedQueryEndsTheWait)
{
    ExpectEachFailedQueryEnds("StartServiceByName", MachineWith(Lingering("startPending")));
}

// ---- StopServiceByName ----

Script Stopping(const ReportedStatus& status)
{
    return {SendStop(status), "log: Stopping service"};
}

constexpr char kHasStopped[] = "log: tcsd_x86 service stopped";
constexpr char kStopDone[] = "log: tcsd_x86 has been sucessfully stopped";
const Script kStopEnded = {kHasStopped, kStopDone, kCloseBoth};

const auto kStops =
    RunTests("StopServiceByName", &Stop)
        .Run("AlreadyStoppedServiceLogsBothLinesAndSucceeds", MachineWith("{}"), "true",
             {Found(kControlAccess, kStopped), "log: tcsd_x86 service is already stopped", kStopDone, kCloseBoth})
        .Run("TheStateThatTheStopControlReportsIsLookedAtFirst", MachineWith(R"({
                 "state": "running", "onStop": {"states": [{"afterMs": 0, "state": "stopped"}]}})"),
             "true", {Found(kControlAccess, kRunning), Stopping(kStopped), kStopEnded})
        .Run("ServiceIsPolledUntilItHasStopped", MachineWith(R"({
                 "state": "paused",
                 "onStop": {"states": [{"afterMs": 0, "state": "stopPending", "waitHint": 5000},
                     {"afterMs": 500, "state": "stopped"}]}})"),
             "true",
             {Found(kControlAccess, kPaused), Stopping(WithHint(kStopPending, 5000)),
              Polled(kStopPending, WithHint(kStopPending, 5000)), Polled(kStopPending, kStopped), kStopEnded});

const std::string kNoStatus = Failing(SendStop(kStopped), 0);

TEST(StopServiceByName, RefusedControlIsLogged)
{
    const std::tuple<const char*, ReportedStatus, std::string> rows[] = {
        {R"({"state": "startPending"})", kStartPending, SendRefusedStop(kStartPending)},
        {R"({"state": "stopPending"})", kStopPending, SendRefusedStop(kStopPending)},
        {R"({"state": "running", "controlsAccepted": 0})", {4, 0}, SendRefusedStop({4, 0})},
        {R"({"state": "running", "onStop": {"error": 1053, "states": []}})", kRunning, kNoStatus},
    };
    for (const char* operation : {"StopServiceByName", "RestartServiceByName"})
    {
        for (const auto& [service, status, call] : rows)
        {
            SCOPED_TRACE(service);
            ExpectRun(CallWithName(operation, MachineWith(service)), "false",
                      {Found(kControlAccess, status), call, "log: Cannot stop tcsd_x86 service", kCloseBoth});
        }
    }
}

TEST(StopServiceByName, DependentServicesAreNotStopped)
{
    const winsim::Machine machine = MachineOf(R"({"services": {
        "tcsd_x86": {"state": "running"}, "KlPCR": {"state": "running", "dependencies": ["TCSD_X86"]}}})");
    const SimulatedRun run = Stop(machine);
    ExpectRun(run, "false",
              {Found(kControlAccess, kRunning), kNoStatus, "log: Cannot stop tcsd_x86 service", kCloseBoth});
    EXPECT_EQ(run.After().services, machine.services);
}

constexpr char kNeverStops[] =
    R"({"state": "running", "onStop": {"states": [{"afterMs": 0, "state": "stopPending"}]}})";

TEST(StopServiceByName, WaitsForEverForAServiceThatNeverStops)
{
    for (const char* operation : {"StopServiceByName", "RestartServiceByName"})
    {
        SCOPED_TRACE(operation);
        const SimulatedRun run =
            CallWithName(operation, MachineWith(kNeverStops), {.faults = {}, .mayBeEndless = true});
        EXPECT_TRUE(run.outcome.isEndless);
        // The poll that exceeds the bound is the last in the recording.
        Script script = {Found(kControlAccess, kRunning), Stopping(kStopPending),
                         Times(winsim::kForEverMs / kPollMs + 1, Polled(kStopPending, kStopPending))};
        script.pop_back();
        ExpectLines(run.script, script, "the script");
    }
}

// The service stops later than the bound for a machine on which nothing more happens.
TEST(StopServiceByName, WaitsForAServiceThatStopsAtLast)
{
    constexpr auto kStopsAfterMs = static_cast<unsigned>(winsim::kForEverMs) + 60000;
    const Json states = {{{"afterMs", 0}, {"state", "stopPending"}},
                         {{"afterMs", kStopsAfterMs}, {"state", "stopped"}}};
    const SimulatedRun run = Stop(MachineWith({{"state", "running"}, {"onStop", {{"states", states}}}}));
    EXPECT_FALSE(run.outcome.isEndless);
    EXPECT_EQ(run.outcome.clockMs, kStopsAfterMs);
}

TEST(StopServiceByName, EachFailedQueryEndsTheWait)
{
    ExpectEachFailedQueryEnds("StopServiceByName", MachineWith(R"({
        "state": "running", "onStop": {"states": [{"afterMs": 0, "state": "stopPending"},
                                                  {"afterMs": 2000, "state": "stopped"}]}})"));
}

// ---- RestartServiceByName ----

const Script kRestarted = {"log: service started", "log: tcsd_x86 has been sucessfully restarted", kCloseBoth};
const Script kFoundStopped = {Found(kControlAccess, kStopped), "log: tcsd_x86 service is already stopped"};

const auto kRestarts =
    RunTests("RestartServiceByName", &Restart)
        .Run("RunningServiceIsStoppedAndStarted", MachineWith(R"({
                 "state": "running",
                 "onStop": {"states": [{"afterMs": 0, "state": "stopPending"}, {"afterMs": 300, "state": "stopped"}]},
                 "onStart": {"states": [{"afterMs": 0, "state": "startPending"}, {"afterMs": 300, "state": "running"}]}})"),
             "true",
             {Found(kControlAccess, kRunning), Stopping(kStopPending), Polled(kStopPending, kStopPending),
              Polled(kStopPending, kStopped), kHasStopped, "log: Starting service", kStartCall,
              QueryStatus(kStartPending), Tick(500), Polled(kStartPending, kStartPending), Tick(750),
              Polled(kStartPending, kRunning), Tick(1000), kRestarted})
        .Run("StoppedServiceIsOnlyStarted", MachineWith(R"({
                 "onStart": {"states": [{"afterMs": 0, "state": "running"}]}})"),
             "true", {kFoundStopped, "log: Starting service", kStartCall, QueryStatus(kRunning), Tick(0), kRestarted})
        .Run("RefusedStartIsLoggedAfterItsAnnouncement", MachineWith(R"({"start": "disabled"})"), "false",
             {kFoundStopped, "log: Starting service", Failing(kStartCall, 0),
              "log: Cannot start tcsd_x86 service: 0x422", kCloseBoth});

TEST(RestartServiceByName, ServiceThatEndsItsStartElsewhereIsReportedWithItsExitCodes)
{
    constexpr std::pair<const char*, ReportedStatus> kRows[] = {{"stopped", {1, 0, 1066, 4242}},
                                                                {"paused", {7, 1, 0, 0}},
                                                                {"stopPending", {3, 0, 5, 6}},
                                                                {"stopped", {1, 0, 0xC0000005, 0xFFFFFFFF}}};
    for (const auto& [state, status] : kRows)
    {
        SCOPED_TRACE(state);
        const Json end = {{"afterMs", 100},
                          {"state", state},
                          {"exitCode", status.exitCode},
                          {"serviceExitCode", status.serviceExitCode}};
        const Json service = {{"onStart", {{"states", {{{"afterMs", 0}, {"state", "startPending"}}, end}}}}};
        ExpectRun(
            Restart(MachineWith(service)), "false",
            {kFoundStopped, "log: Starting service", kStartCall, QueryStatus(kStartPending), Tick(0),
             Polled(kStartPending, status), Tick(250),
             fmt::format("log: tcsd_x86 failed to restart. State: {} \tExit Code: {} \tService Exit Code: "
                         "{}",
                         status.state, static_cast<int>(status.exitCode), static_cast<int>(status.serviceExitCode)),
             kCloseBoth});
    }
}

// The check point rises with each poll up to `lastPoll` and then stays; the service runs after the given time, if any.
Json RisingUntil(unsigned lastPoll, std::optional<unsigned> runsAfterMs = std::nullopt)
{
    Json states = Json::array();
    for (unsigned poll = 0; poll <= lastPoll; ++poll)
        states.push_back({{"afterMs", poll * kPollMs}, {"state", "startPending"}, {"checkPoint", poll}});
    if (runsAfterMs)
        states.push_back({{"afterMs", *runsAfterMs}, {"state", "running"}});
    return {{"onStart", {{"states", states}}}};
}

// Polls with a rising check point: the clock is not read.
Script RisingPolls(unsigned lastPoll)
{
    Script polls;
    for (unsigned poll = 1; poll <= lastPoll; ++poll)
        polls.Append({Polled(kStartPending, WithCheckPoint(kStartPending, poll))});
    return polls;
}

// The polls from `first` to `last`, all with the same check point.
Script FrozenPolls(unsigned first, unsigned last, unsigned checkPoint, unsigned pauseMs = kPollMs)
{
    Script polls;
    for (unsigned poll = first; poll <= last; ++poll)
        polls.Append({Polled(kStartPending, WithCheckPoint(kStartPending, checkPoint)), Tick(poll * pauseMs)});
    return polls;
}

const Script kNotRestarted = {"log: tcsd_x86 failed to restart. State: 2 \tExit Code: 0 \tService Exit Code: 0",
                              kCloseBoth};

// 29 of these pauses take 60001 ms.
constexpr unsigned kLatePauseMs = 2069;

const Script kStartOfWait = {kFoundStopped, "log: Starting service", kStartCall, QueryStatus(kStartPending), Tick(0)};

const auto kLongRestarts =
    RunTests("RestartServiceByName", &Restart)
        // The 240th poll is exactly 60000 ms after the start, which is not yet too long.
        .Run("FrozenCheckPointEndsTheWaitAtTheFirstPollAfter60Seconds", MachineWith(Lingering("startPending")), "false",
             {kStartOfWait, FrozenPolls(1, 241, 0), kNotRestarted},
             [](const SimulatedRun& run) { EXPECT_EQ(CountOf("GetTickCount", run.script), 242u); })
        .Run("OneMillisecondMoreThan60SecondsIsTooLong",
             Changed(MachineWith(Lingering("startPending")), {{"clock", {{"lateMs", kLatePauseMs - kPollMs}}}}),
             "false", {kStartOfWait, FrozenPolls(1, 29, 0, kLatePauseMs), kNotRestarted})
        .Run("ServiceThatRunsAtTheFirstPollAfter60SecondsIsRestarted",
             MachineWith(Lingering("startPending", 241 * kPollMs)), "true",
             {kStartOfWait, FrozenPolls(1, 240, 0), Polled(kStartPending, kRunning), Tick(241 * kPollMs), kRestarted})
        .Run("RisingCheckPointKeepsTheWaitGoing", MachineWith(RisingUntil(999, 1000 * kPollMs)), "true",
             {kStartOfWait, RisingPolls(999), Polled(kStartPending, kRunning), Tick(1000 * kPollMs), kRestarted})
        // The check point rises for 30 seconds; the minute still ends 30 seconds after that.
        .Run("ProgressDoesNotMoveTheStartOfTheMinute", MachineWith(RisingUntil(120)), "false",
             {kStartOfWait, RisingPolls(120), FrozenPolls(121, 241, 120), kNotRestarted})
        .Run("TheFirstPollWithoutProgressAfterTheMinuteIsTheLast", MachineWith(RisingUntil(400)), "false",
             {kStartOfWait, RisingPolls(400), FrozenPolls(401, 401, 400), kNotRestarted});

TEST(RestartServiceByName, CheckPointThatFallsIsNoProgress)
{
    const SimulatedRun run = Restart(MachineWith(R"({"onStart": {"states": [
        {"afterMs": 0, "state": "startPending", "checkPoint": 9},
        {"afterMs": 250, "state": "startPending", "checkPoint": 8},
        {"afterMs": 500, "state": "startPending", "checkPoint": 9},
        {"afterMs": 750, "state": "startPending", "checkPoint": 10},
        {"afterMs": 1000, "state": "running"}]}})"));
    const auto polled = [](unsigned checkPoint) {
        return Polled(kStartPending, WithCheckPoint(kStartPending, checkPoint));
    };
    ExpectRun(run, "true",
              {kFoundStopped, "log: Starting service", kStartCall, QueryStatus(WithCheckPoint(kStartPending, 9)),
               Tick(0), polled(8), Tick(250), polled(9), Tick(500), polled(10), Polled(kStartPending, kRunning),
               Tick(1000), kRestarted});
}

TEST(RestartServiceByName, TheMinuteIsMeasuredAcrossTheTickCountsTurn)
{
    Json description = {{"services", {{kName, Lingering("startPending")}}}, {"clock", {{"tickCount", 4294960000u}}}};
    const SimulatedRun run = Restart(winsim::Machine::FromJson(description));
    EXPECT_EQ(run.result, "false");
    EXPECT_EQ(CountOf("Sleep", run.script), 241u);
    EXPECT_EQ(run.log.back(), LogOf(kNotRestarted)[0]);
}

TEST(RestartServiceByName, EachFailedQueryEndsTheWait)
{
    ExpectEachFailedQueryEnds("RestartServiceByName", MachineWith(R"({
        "state": "running",
        "onStop": {"states": [{"afterMs": 0, "state": "stopPending"}, {"afterMs": 1000, "state": "stopped"}]},
        "onStart": {"states": [{"afterMs": 0, "state": "startPending"},
                               {"afterMs": 600, "state": "startPending", "checkPoint": 1},
                               {"afterMs": 1000, "state": "running"}]}})"));
}

// ---- Progress lines ----

// A status with different accepted controls; for a wait, the state is the same.
ReportedStatus Accepting(ReportedStatus status, unsigned controls)
{
    status.controls = controls;
    return status;
}

const ReportedStatus kStopping64 = Accepting(kStopPending, 64);
const ReportedStatus kStoppingOther = Accepting(kStopPending, 0x80000080);
const ReportedStatus kStarting64 = Accepting(kStartPending, 64);
const ReportedStatus kStartingOther = Accepting(kStartPending, 0x80000080);

constexpr char kChangingControls[] = R"({"state": "running",
    "onStop": {"states": [{"afterMs": 0, "state": "stopPending", "controlsAccepted": 64},
                          {"afterMs": 300, "state": "stopPending", "controlsAccepted": 2147483776},
                          {"afterMs": 600, "state": "stopped"}]},
    "onStart": {"states": [{"afterMs": 0, "state": "startPending", "controlsAccepted": 64},
                           {"afterMs": 300, "state": "startPending", "controlsAccepted": 2147483776},
                           {"afterMs": 600, "state": "running"}]}})";

const Script kStopsWithChangingControls = {Found(kControlAccess, kRunning),  Stopping(kStopping64),
                                           Polled(kStopping64, kStopping64), Polled(kStopping64, kStoppingOther),
                                           Polled(kStoppingOther, kStopped), kHasStopped};

TEST(ServiceWaits, AStopsProgressLinesShowTheControlsAcceptedThen)
{
    ExpectRun(Stop(MachineWith(kChangingControls)), "true", {kStopsWithChangingControls, kStopDone, kCloseBoth});
}

TEST(ServiceWaits, AStartsProgressLinesShowTheControlsAcceptedThen)
{
    Json service = Json::parse(kChangingControls);
    service["state"] = "stopped";
    ExpectRun(Start(MachineWith(service)), "true",
              {kStarting, Polled(kStopped, kStarting64), Polled(kStarting64, kStartingOther),
               Polled(kStartingOther, kRunning), QueryStatus(kRunning), kStarted});
}

TEST(ServiceWaits, BothOfARestartsProgressLinesShowTheControlsAcceptedThen)
{
    ExpectRun(Restart(MachineWith(kChangingControls)), "true",
              {kStopsWithChangingControls, "log: Starting service", kStartCall, QueryStatus(kStarting64), Tick(750),
               Polled(kStarting64, kStarting64), Tick(1000), Polled(kStarting64, kStartingOther), Tick(1250),
               Polled(kStartingOther, kRunning), Tick(1500), kRestarted});
}

} // namespace
