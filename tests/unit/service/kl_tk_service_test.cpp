// Proves the timed stop of an open service: the order of the calls, the 30 seconds to the last poll, and the results.
#include "tests/support/run_tests.h"
#include "tests/support/service_script.h"
#include "tests/support/windows_script.h"

#include <gtest/gtest.h>

#include <optional>

namespace
{

using winsim::Json;

constexpr unsigned kStartTick = 600000;
constexpr char kStdoutLine[] = "Service stop pending...\n";

winsim::Machine MachineWith(const Json& service, unsigned yieldMs = 1)
{
    return winsim::Machine::FromJson({{"services", {{"KlPCR", service}}}, {"clock", {{"yieldMs", yieldMs}}}});
}

winsim::Machine MachineWith(const char* service, unsigned yieldMs = 1)
{
    return MachineWith(Json::parse(service), yieldMs);
}

// The service runs. After a stop control, its stop is pending for ever or until the given time.
winsim::Machine Stopping(unsigned waitHint, std::optional<unsigned> stoppedAfterMs = std::nullopt)
{
    Json states = {{{"afterMs", 0}, {"state", "stopPending"}, {"waitHint", waitHint}}};
    if (stoppedAfterMs)
        states.push_back({{"afterMs", *stoppedAfterMs}, {"state", "stopped"}});
    return MachineWith({{"state", "running"}, {"onStop", {{"states", states}}}});
}

// The same service, with its stop pending from the beginning.
winsim::Machine Pending(unsigned waitHint, std::optional<unsigned> stoppedAfterMs = std::nullopt)
{
    Json service = {{"state", "stopPending"}, {"waitHint", waitHint}};
    if (stoppedAfterMs)
        service["states"] = {{{"afterMs", *stoppedAfterMs}, {"state", "stopped"}}};
    return MachineWith(service);
}

const winsim::Machine kStopsAtOnce =
    MachineWith(Json::parse(R"({"state": "running", "onStop": {"states": [{"state": "stopped"}]}})"));

SimulatedRun StopService(const winsim::Machine& machine, const SimulatedRunOptions& options = {})
{
    return CallFunction(machine, "StopService", {"KlPCR"}, options);
}

// A pending stop with a wait hint.
ReportedStatus PendingFor(unsigned waitHint)
{
    return WithHint(kStopPending, waitHint);
}

std::string Tick(unsigned sinceStart)
{
    return Call("GetTickCount", {}, kStartTick + sinceStart);
}

// The whole run: the caller's own steps around the stop.
Script Whole(const Script& stop)
{
    return {Call("OpenSCManagerW", {nullptr, nullptr, 1}, "serviceManager#1"), OpenService("KlPCR", 36), Tick(0), stop,
            kCloseBoth};
}

// One poll that returns a status at a given time.
Script Poll(const ReportedStatus& status, unsigned ms)
{
    return {Sleep(status.waitHint), QueryStatusEx(status), Tick(ms)};
}

// Polls that all return the same status, from the first to the last time; `stepMs` is the real length of a pause.
Script Polls(const ReportedStatus& status, unsigned firstMs, unsigned lastMs, unsigned stepMs)
{
    Script polls;
    for (unsigned ms = firstMs; ms <= lastMs; ms += stepMs)
        polls.Append({Poll(status, ms)});
    return polls;
}

// The same polls when a stop was already pending: each is announced on standard output.
Script PendingPolls(const ReportedStatus& status, unsigned firstMs, unsigned lastMs, unsigned stepMs)
{
    Script polls;
    for (unsigned ms = firstMs; ms <= lastMs; ms += stepMs)
        polls.Append({kAnnounced, Poll(status, ms)});
    return polls;
}

std::string Repeated(const char* text, unsigned count)
{
    std::string all;
    for (; count > 0; --count)
        all += text;
    return all;
}

// ---- The stop control and the wait after it ----

const auto kStops =
    RunTests("TimedStop", &StopService)
        .Run("ServiceThatStopsAtOnceIsNotWaitedFor", kStopsAtOnce, "0",
             Whole({QueryStatusEx(kRunning), SendStop(kStopped)}))
        .Run("StoppedServiceIsSentTheControlAllTheSame", MachineWith("{}"), "0",
             Whole({QueryStatusEx(kStopped), SendRefusedStop(kStopped)}))
        .Run("WaitHintIsSleptInFull", Stopping(1000, 2500), "0",
             Whole({QueryStatusEx(kRunning), SendStop(PendingFor(1000)), Polls(PendingFor(1000), 1000, 2000, 1000),
                    Sleep(1000), QueryStatusEx(kStopped)}),
             [](const SimulatedRun& run) { EXPECT_EQ(run.outcome.standardOutput, ""); })
        .Run("TheNewestWaitHintIsTheOneThatIsSlept", MachineWith(R"({
                 "state": "running", "onStop": {"states": [{"afterMs": 0, "state": "stopPending", "waitHint": 700},
                     {"afterMs": 600, "state": "stopPending", "waitHint": 20},
                     {"afterMs": 710, "state": "stopped"}]}})"),
             "0",
             Whole({QueryStatusEx(kRunning), SendStop(PendingFor(700)), Sleep(700), QueryStatusEx(PendingFor(20)),
                    Tick(700), Sleep(20), QueryStatusEx(kStopped)}))
        .Run("WaitHintBeyondTheLimitIsSleptOnce", Stopping(40000), "-1",
             Whole({QueryStatusEx(kRunning), SendStop(PendingFor(40000)), Polls(PendingFor(40000), 40000, 40000, 40000),
                    "log: Wait timed out"}))
        .Run("WaitHintOneMillisecondBeyondTheLimitIsSleptOnceToo", Stopping(30001), "-1",
             Whole({QueryStatusEx(kRunning), SendStop(PendingFor(30001)), Poll(PendingFor(30001), 30001),
                    "log: Wait timed out"}))
        .Run("ServiceThatStopsDuringAWaitBeyondTheLimitHasStopped", Stopping(40000, 39999), "0",
             Whole({QueryStatusEx(kRunning), SendStop(PendingFor(40000)), Sleep(40000), QueryStatusEx(kStopped)}))
        // Each Sleep(0) takes 100 ms on this machine, to keep the script short.
        .Run(
            "WithoutAWaitHintPollsWithoutAPause",
            MachineWith(R"({"state": "running", "onStop": {"states": [{"afterMs": 0, "state": "stopPending"}]}})", 100),
            "-1",
            Whole({QueryStatusEx(kRunning), SendStop(kStopPending), Polls(kStopPending, 100, 30100, 100),
                   "log: Wait timed out"}),
            [](const SimulatedRun& run) { EXPECT_EQ(CountOf("Sleep", run.script), 301u); });

TEST(TimedStop, ServiceThatDoesNotStopTimesOutAtTheFirstPollAfter30Seconds)
{
    // The 30th poll is exactly 30000 ms after the start, which is not yet too long.
    const ReportedStatus pending = PendingFor(1000);
    const SimulatedRun run = StopService(Stopping(1000));
    ExpectRun(
        run, "-1",
        Whole({QueryStatusEx(kRunning), SendStop(pending), Polls(pending, 1000, 31000, 1000), "log: Wait timed out"}));
    EXPECT_EQ(CountOf("Sleep", run.script), 31u);
    EXPECT_EQ(CountOf("GetTickCount", run.script), 32u);
}

TEST(TimedStop, RefusedControlIsWaitedForAllTheSame)
{
    const ReportedStatus running{.state = 4, .controls = 0, .waitHint = 10000};
    ExpectRun(StopService(MachineWith(R"({"state": "running", "controlsAccepted": 0, "waitHint": 10000})")), "-1",
              Whole({QueryStatusEx(running), SendRefusedStop(running), Polls(running, 10000, 40000, 10000),
                     "log: Wait timed out"}));
}

TEST(TimedStop, ControlThatReportsNoStatusLeavesTheQueriedOne)
{
    // Error 1051: a running service depends on this one, and is left alone.
    const winsim::Machine machine = MachineOf(R"({"services": {
        "KlPCR": {"state": "running", "waitHint": 20000},
        "Other": {"state": "running", "dependencies": ["KlPCR"]}}})");
    const ReportedStatus running = WithHint(kRunning, 20000);
    const SimulatedRun run = StopService(machine);
    ExpectRun(run, "-1",
              Whole({QueryStatusEx(running), Failing(SendStop(kStopped), 0), Polls(running, 20000, 40000, 20000),
                     "log: Wait timed out"}));
    EXPECT_EQ(run.After().services, machine.services);
}

TEST(TimedStop, EachFailedQueryAfterTheControlEndsTheWait)
{
    const ReportedStatus pending = PendingFor(5000);
    for (unsigned n = 1; n <= 6; ++n)
    {
        SCOPED_TRACE(n);
        ExpectRun(StopService(Stopping(5000), {.faults = {fmt::format("QueryServiceStatusEx#{}=6", n + 1)}}), "-2",
                  Whole({QueryStatusEx(kRunning), SendStop(pending), Polls(pending, 5000, 5000 * (n - 1), 5000),
                         Sleep(5000), Failing(QueryStatusEx(kStopped), 0), "log: QueryServiceStatusEx failed (6)"}));
    }
}

// ---- A failed first query ----

const std::string kFailedQuery = Failing(QueryStatusEx(kStopped), 0);
constexpr char kFailedFirst[] = "log: CKlTkService::StopService - failed to query Service Status 5";

const auto kFailedFirstQueries =
    RunTests("TimedStop", &StopService)
        .Run("FailedFirstQueryIsLoggedAndTheControlSent", kStopsAtOnce, {.faults = {"QueryServiceStatusEx#1=5"}}, "0",
             Whole({kFailedQuery, kFailedFirst, SendStop(kStopped)}))
        .Run("PendingStopThatIsNotSeenIsWaitedForAfterTheControl", Pending(1000, 1500),
             {.faults = {"QueryServiceStatusEx#1=5"}}, "0",
             Whole({kFailedQuery, kFailedFirst, SendRefusedStop(PendingFor(1000)),
                    Polls(PendingFor(1000), 1000, 1000, 1000), Sleep(1000), QueryStatusEx(kStopped)}),
             [](const SimulatedRun& run) { EXPECT_EQ(run.outcome.standardOutput, ""); })
        .Run("WithNeitherStatusNorControlItPollsWithoutAPause",
             MachineWith(R"({"state": "stopped", "waitHint": 1000})"),
             {.faults = {"QueryServiceStatusEx#1=5", "ControlService=5"}}, "0",
             Whole({kFailedQuery, kFailedFirst, Failing(SendStop(kStopped), 0), Sleep(0),
                    QueryStatusEx(WithHint(kStopped, 1000))}))
        .Run("EveryQueryFailing", MachineWith(R"({"state": "running"})"),
             {.faults = {"QueryServiceStatusEx=5", "ControlService=5"}}, "-2",
             Whole({kFailedQuery, kFailedFirst, Failing(SendStop(kStopped), 0), Sleep(0), kFailedQuery,
                    "log: QueryServiceStatusEx failed (5)"}));

// ---- A stop that is pending already ----

const auto kPendingStops =
    RunTests("TimedStop", &StopService)
        .Run("PendingStopThatEndsGivesTheResultOfItsLogLine", Pending(1000, 2500), "1",
             Whole({QueryStatusEx(PendingFor(1000)), PendingPolls(PendingFor(1000), 1000, 2000, 1000), kAnnounced,
                    Sleep(1000), QueryStatusEx(kStopped), "log: Service stopped successfully."}),
             [](const SimulatedRun& run) { EXPECT_EQ(run.outcome.standardOutput, Repeated(kStdoutLine, 3)); })
        .Log("PendingStopThatEndsWithoutALogGivesZero",
             MachineWith(R"({"state": "stopPending", "states": [{"afterMs": 1, "state": "stopped"}]})"),
             {.faults = {"SHCreateDirectoryExA=5"}}, "0", {})
        .Run("PendingStopTimesOutAtTheFirstPollAfter30Seconds", Pending(1000), "-1",
             Whole({QueryStatusEx(PendingFor(1000)), PendingPolls(PendingFor(1000), 1000, 31000, 1000),
                    "log: Service stop timed out."}),
             [](const SimulatedRun& run) { EXPECT_EQ(run.outcome.standardOutput, Repeated(kStdoutLine, 31)); })
        .Run("PendingStopWithAHintBeyondTheLimitIsSleptOnce", Pending(40000), "-1",
             Whole({QueryStatusEx(PendingFor(40000)), PendingPolls(PendingFor(40000), 40000, 40000, 40000),
                    "log: Service stop timed out."}),
             [](const SimulatedRun& run) { EXPECT_EQ(run.outcome.standardOutput, kStdoutLine); })
        .Run("PendingStopThatEndsDuringAWaitBeyondTheLimitHasEnded", Pending(40000, 35000), "1",
             Whole({QueryStatusEx(PendingFor(40000)), kAnnounced, Sleep(40000), QueryStatusEx(kStopped),
                    "log: Service stopped successfully."}))
        .Run("PendingStopWithoutAHintIsPolledWithoutAPause", MachineWith(R"({"state": "stopPending"})", 100), "-1",
             Whole({QueryStatusEx(kStopPending), PendingPolls(kStopPending, 100, 30100, 100),
                    "log: Service stop timed out."}),
             [](const SimulatedRun& run) { EXPECT_EQ(run.outcome.standardOutput, Repeated(kStdoutLine, 301)); })
        .Run("PendingStopThatTurnsIntoAnotherStateIsSentTheControl", MachineWith(R"({
                 "state": "stopPending", "waitHint": 1000, "states": [{"afterMs": 500, "state": "running"}],
                 "onStop": {"states": [{"afterMs": 0, "state": "stopped"}]}})"),
             "0",
             Whole({QueryStatusEx(PendingFor(1000)), kAnnounced, Sleep(1000), QueryStatusEx(kRunning), Tick(1000),
                    SendStop(kStopped)}),
             [](const SimulatedRun& run) { EXPECT_EQ(run.outcome.standardOutput, kStdoutLine); })
        .Run("BothWaitsShareOneLimit", MachineWith(R"({
                 "state": "stopPending", "waitHint": 10000, "states": [{"afterMs": 20000, "state": "running"}],
                 "onStop": {"states": [{"afterMs": 0, "state": "stopPending", "waitHint": 10000}]}})"),
             "-1",
             Whole({QueryStatusEx(PendingFor(10000)), kAnnounced, Sleep(10000), QueryStatusEx(PendingFor(10000)),
                    Tick(10000), kAnnounced, Sleep(10000), QueryStatusEx(kRunning), Tick(20000),
                    SendStop(PendingFor(10000)), Polls(PendingFor(10000), 30000, 40000, 10000), "log: Wait timed out"}))
        .Run("TheNewestWaitHintIsTheOneThatIsSleptWhileAStopIsPending", MachineWith(R"({
                 "state": "stopPending", "waitHint": 700,
                 "states": [{"afterMs": 600, "state": "stopPending", "waitHint": 20},
                     {"afterMs": 710, "state": "stopped"}]})"),
             "1",
             Whole({QueryStatusEx(PendingFor(700)), kAnnounced, Sleep(700), QueryStatusEx(PendingFor(20)), Tick(700),
                    kAnnounced, Sleep(20), QueryStatusEx(kStopped), "log: Service stopped successfully."}))
        .Run("TheWaitHintThatTheControlReportsReplacesTheOneBeforeIt", MachineWith(R"({
                 "state": "running", "waitHint": 9000,
                 "onStop": {"states": [{"afterMs": 0, "state": "stopPending", "waitHint": 30},
                     {"afterMs": 10, "state": "stopped"}]}})"),
             "0",
             Whole({QueryStatusEx(WithHint(kRunning, 9000)), SendStop(PendingFor(30)), Sleep(30),
                    QueryStatusEx(kStopped)}));

TEST(TimedStop, EachFailedQueryOfAPendingStopEndsTheWait)
{
    const ReportedStatus pending = PendingFor(5000);
    for (unsigned n = 1; n <= 6; ++n)
    {
        SCOPED_TRACE(n);
        const SimulatedRun run =
            StopService(Pending(5000), {.faults = {fmt::format("QueryServiceStatusEx#{}=1115", n + 1)}});
        ExpectRun(run, "-2",
                  Whole({QueryStatusEx(pending), PendingPolls(pending, 5000, 5000 * (n - 1), 5000), kAnnounced,
                         Sleep(5000), kFailedQuery, "log: QueryServiceStatusEx failed (1115)"}));
        EXPECT_EQ(run.outcome.standardOutput, Repeated(kStdoutLine, n));
    }
}

TEST(TimedStop, TheLimitIsMeasuredAcrossTheTickCountsTurn)
{
    const SimulatedRun run = StopService(MachineOf(R"({
        "clock": {"tickCount": 4294960000}, "services": {"KlPCR": {"state": "stopPending", "waitHint": 1000}}})"));
    ExpectLog(run, "-1", "log: Service stop timed out.");
    EXPECT_EQ(CountOf("Sleep", run.script), 31u);
}

} // namespace
