// Proves the timed stop of an open service: the calls in their order, the 30 seconds to the single poll, the results.
#include "tests/support/service_script.h"

#include <gtest/gtest.h>

namespace
{

using winsim::Json;

constexpr unsigned kStartTick = 600000;
constexpr char kStdoutLine[] = "Service stop pending...\n";

winsim::Machine MachineWith(const char* service, unsigned yieldMs = 1)
{
    return winsim::Machine::FromJson(
        {{"services", {{"KlPCR", Json::parse(service)}}}, {"clock", {{"yieldMs", yieldMs}}}});
}

SimulatedRun StopService(const winsim::Machine& machine, const SimulatedRunOptions& options = {})
{
    return CallFunction(machine, "StopService", {"KlPCR"}, options);
}

std::string Tick(unsigned sinceStart)
{
    return fmt::format("GetTickCount() = {}", kStartTick + sinceStart);
}

// What the caller does around the stop itself.
template <typename... Parts>
Script WholeScript(const Parts&... parts)
{
    return Joined(R"(OpenSCManagerW(null, null, 1) = "serviceManager#1")",
                  R"(OpenServiceW("serviceManager#1", "KlPCR", 36) = "service#1")", Tick(0), parts..., kCloseBoth);
}

std::string Slept(unsigned ms)
{
    return fmt::format("Sleep({})", ms);
}

// One poll that finds a status, at a time.
Script Poll(const ReportedStatus& status, unsigned ms)
{
    return {Slept(status.waitHint), QueryStatusEx(status), Tick(ms)};
}

// Polls by one hint that all find the same status, from one time to another; `stepMs` is how long a pause really is.
Script Polls(const ReportedStatus& status, unsigned firstMs, unsigned lastMs, unsigned stepMs)
{
    Script polls;
    for (unsigned ms = firstMs; ms <= lastMs; ms += stepMs)
        polls = Joined(polls, Poll(status, ms));
    return polls;
}

// The same during a stop that was pending already: each is announced on standard output.
constexpr char kAnnounced[] = R"(printf("Service stop pending...\n") = 24)";

Script PendingPolls(const ReportedStatus& status, unsigned firstMs, unsigned lastMs, unsigned stepMs)
{
    Script polls;
    for (unsigned ms = firstMs; ms <= lastMs; ms += stepMs)
        polls = Joined(polls, kAnnounced, Poll(status, ms));
    return polls;
}

std::string Repeated(const char* text, unsigned count)
{
    std::string all;
    for (; count > 0; --count)
        all += text;
    return all;
}

// ---- The stop control and the wait behind it ----------------------------------------------------------------------

TEST(TimedStop, ServiceThatStopsAtOnceIsNotWaitedFor)
{
    ExpectRun(StopService(MachineWith(R"({"state": "running",
                                          "onStop": {"states": [{"afterMs": 0, "state": "stopped"}]}})")),
              "0", WholeScript(QueryStatusEx(kRunning), SendStop(kStopped)));
}

TEST(TimedStop, StoppedServiceIsSentTheControlAllTheSame)
{
    ExpectRun(StopService(MachineWith("{}")), "0", WholeScript(QueryStatusEx(kStopped), SendRefusedStop(kStopped)));
}

TEST(TimedStop, WaitHintIsSleptInFull)
{
    const ReportedStatus pending = WithHint(kStopPending, 1000);
    const SimulatedRun run = StopService(MachineWith(R"({
        "state": "running", "onStop": {"states": [{"afterMs": 0, "state": "stopPending", "waitHint": 1000},
                                                  {"afterMs": 2500, "state": "stopped"}]}})"));
    ExpectRun(run, "0",
              WholeScript(QueryStatusEx(kRunning), SendStop(pending), Polls(pending, 1000, 2000, 1000), Slept(1000),
                          QueryStatusEx(kStopped)));
    EXPECT_EQ(run.outcome.standardOutput, "");
}

TEST(TimedStop, TheNewestWaitHintIsTheOneThatIsSlept)
{
    const SimulatedRun run = StopService(MachineWith(R"({
        "state": "running", "onStop": {"states": [{"afterMs": 0, "state": "stopPending", "waitHint": 700},
                                                  {"afterMs": 600, "state": "stopPending", "waitHint": 20},
                                                  {"afterMs": 710, "state": "stopped"}]}})"));
    ExpectRun(run, "0",
              WholeScript(QueryStatusEx(kRunning), SendStop(WithHint(kStopPending, 700)), Slept(700),
                          QueryStatusEx(WithHint(kStopPending, 20)), Tick(700), Slept(20), QueryStatusEx(kStopped)));
}

TEST(TimedStop, ServiceThatDoesNotStopTimesOutAtTheFirstPollAfter30Seconds)
{
    // The 30th poll is exactly 30000 ms behind the start, which is not yet too long.
    const ReportedStatus pending = WithHint(kStopPending, 1000);
    const SimulatedRun run = StopService(MachineWith(R"({
        "state": "running", "onStop": {"states": [{"afterMs": 0, "state": "stopPending", "waitHint": 1000}]}})"));
    ExpectRun(run, "-1",
              WholeScript(QueryStatusEx(kRunning), SendStop(pending), Polls(pending, 1000, 31000, 1000),
                          "log: Wait timed out"));
    EXPECT_EQ(CountOf("Sleep", run.script), 31u);
    EXPECT_EQ(CountOf("GetTickCount", run.script), 32u);
}

TEST(TimedStop, WaitHintBeyondTheLimitIsSleptOnce)
{
    const ReportedStatus pending = WithHint(kStopPending, 40000);
    ExpectRun(StopService(MachineWith(R"({
                  "state": "running",
                  "onStop": {"states": [{"afterMs": 0, "state": "stopPending", "waitHint": 40000}]}})")),
              "-1",
              WholeScript(QueryStatusEx(kRunning), SendStop(pending), Polls(pending, 40000, 40000, 40000),
                          "log: Wait timed out"));
}

TEST(TimedStop, ServiceThatStopsDuringAWaitBeyondTheLimitHasStopped)
{
    ExpectRun(StopService(MachineWith(R"({
                  "state": "running",
                  "onStop": {"states": [{"afterMs": 0, "state": "stopPending", "waitHint": 40000},
                                        {"afterMs": 39999, "state": "stopped"}]}})")),
              "0",
              WholeScript(QueryStatusEx(kRunning), SendStop(WithHint(kStopPending, 40000)), Slept(40000),
                          QueryStatusEx(kStopped)));
}

TEST(TimedStop, WithoutAWaitHintPollsWithoutAPause)
{
    // Each Sleep(0) gives way for a moment: 100 ms here, for a short script.
    const SimulatedRun run = StopService(
        MachineWith(R"({"state": "running", "onStop": {"states": [{"afterMs": 0, "state": "stopPending"}]}})", 100));
    ExpectRun(run, "-1",
              WholeScript(QueryStatusEx(kRunning), SendStop(kStopPending), Polls(kStopPending, 100, 30100, 100),
                          "log: Wait timed out"));
    EXPECT_EQ(CountOf("Sleep", run.script), 301u);
}

TEST(TimedStop, RefusedControlIsWaitedForAllTheSame)
{
    const ReportedStatus running{.state = 4, .controls = 0, .waitHint = 10000};
    ExpectRun(StopService(MachineWith(R"({"state": "running", "controlsAccepted": 0, "waitHint": 10000})")), "-1",
              WholeScript(QueryStatusEx(running), SendRefusedStop(running), Polls(running, 10000, 40000, 10000),
                          "log: Wait timed out"));
}

TEST(TimedStop, ControlThatReportsNoStatusLeavesTheQueriedOne)
{
    // The error 1051: a running service depends on this one, which is left alone.
    const winsim::Machine machine = MachineOf(R"({"services": {
        "KlPCR": {"state": "running", "waitHint": 20000},
        "Other": {"state": "running", "dependencies": ["KlPCR"]}}})");
    const ReportedStatus running = WithHint(kRunning, 20000);
    const SimulatedRun run = StopService(machine);
    ExpectRun(run, "-1",
              WholeScript(QueryStatusEx(running), R"(ControlService("service#1", 1) = 0)",
                          Polls(running, 20000, 40000, 20000), "log: Wait timed out"));
    EXPECT_EQ(run.After().services, machine.services);
}

TEST(TimedStop, EachFailedQueryBehindTheControlEndsTheWait)
{
    const ReportedStatus pending = WithHint(kStopPending, 5000);
    for (unsigned n = 1; n <= 6; ++n)
    {
        SCOPED_TRACE(n);
        ExpectRun(StopService(MachineWith(R"({"state": "running", "onStop": {"states": [
                                  {"afterMs": 0, "state": "stopPending", "waitHint": 5000}]}})"),
                              {.faults = {fmt::format("QueryServiceStatusEx#{}=6", n + 1)}}),
                  "-2",
                  WholeScript(QueryStatusEx(kRunning), SendStop(pending), Polls(pending, 5000, 5000 * (n - 1), 5000),
                              Slept(5000), R"(QueryServiceStatusEx("service#1", 0, 36) = 0)",
                              "log: QueryServiceStatusEx failed (6)"));
    }
}

// ---- A failed first query -----------------------------------------------------------------------------------------

constexpr char kFailedQuery[] = R"(QueryServiceStatusEx("service#1", 0, 36) = 0)";
constexpr char kFailedFirst[] = "log: CKlTkService::StopService - failed to query Service Status 5";

TEST(TimedStop, FailedFirstQueryIsLoggedAndTheControlSent)
{
    ExpectRun(StopService(MachineWith(R"({"state": "running",
                                          "onStop": {"states": [{"afterMs": 0, "state": "stopped"}]}})"),
                          {.faults = {"QueryServiceStatusEx#1=5"}}),
              "0", WholeScript(kFailedQuery, kFailedFirst, SendStop(kStopped)));
}

TEST(TimedStop, PendingStopThatIsNotSeenIsWaitedForBehindTheControl)
{
    const ReportedStatus pending = WithHint(kStopPending, 1000);
    const SimulatedRun run = StopService(MachineWith(R"({"state": "stopPending", "waitHint": 1000,
                                                         "states": [{"afterMs": 1500, "state": "stopped"}]})"),
                                         {.faults = {"QueryServiceStatusEx#1=5"}});
    ExpectRun(run, "0",
              WholeScript(kFailedQuery, kFailedFirst, SendRefusedStop(pending), Polls(pending, 1000, 1000, 1000),
                          Slept(1000), QueryStatusEx(kStopped)));
    EXPECT_EQ(run.outcome.standardOutput, "");
}

TEST(TimedStop, WithNeitherStatusNorControlItPollsWithoutAPause)
{
    ExpectRun(StopService(MachineWith(R"({"state": "stopped", "waitHint": 1000})"),
                          {.faults = {"QueryServiceStatusEx#1=5", "ControlService=5"}}),
              "0",
              WholeScript(kFailedQuery, kFailedFirst, R"(ControlService("service#1", 1) = 0)", Slept(0),
                          QueryStatusEx(WithHint(kStopped, 1000))));
}

TEST(TimedStop, EveryQueryFailing)
{
    ExpectRun(
        StopService(MachineWith(R"({"state": "running"})"), {.faults = {"QueryServiceStatusEx=5", "ControlService=5"}}),
        "-2",
        WholeScript(kFailedQuery, kFailedFirst, R"(ControlService("service#1", 1) = 0)", Slept(0), kFailedQuery,
                    "log: QueryServiceStatusEx failed (5)"));
}

// ---- A stop that is pending already -------------------------------------------------------------------------------

TEST(TimedStop, PendingStopThatEndsGivesTheResultOfItsLogLine)
{
    const ReportedStatus pending = WithHint(kStopPending, 1000);
    const SimulatedRun run = StopService(MachineWith(
        R"({"state": "stopPending", "waitHint": 1000, "states": [{"afterMs": 2500, "state": "stopped"}]})"));
    ExpectRun(run, "1",
              WholeScript(QueryStatusEx(pending), PendingPolls(pending, 1000, 2000, 1000), kAnnounced, Slept(1000),
                          QueryStatusEx(kStopped), "log: Service stopped successfully."));
    EXPECT_EQ(run.outcome.standardOutput, Repeated(kStdoutLine, 3));
}

TEST(TimedStop, PendingStopThatEndsWithoutALogGivesZero)
{
    const SimulatedRun run =
        StopService(MachineWith(R"({"state": "stopPending", "states": [{"afterMs": 1, "state": "stopped"}]})"),
                    {.faults = {"SHCreateDirectoryExA=5"}});
    EXPECT_EQ(run.result, "0");
    EXPECT_TRUE(run.log.empty());
}

TEST(TimedStop, PendingStopTimesOutAtTheFirstPollAfter30Seconds)
{
    const ReportedStatus pending = WithHint(kStopPending, 1000);
    const SimulatedRun run = StopService(MachineWith(R"({"state": "stopPending", "waitHint": 1000})"));
    ExpectRun(
        run, "-1",
        WholeScript(QueryStatusEx(pending), PendingPolls(pending, 1000, 31000, 1000), "log: Service stop timed out."));
    EXPECT_EQ(run.outcome.standardOutput, Repeated(kStdoutLine, 31));
}

TEST(TimedStop, PendingStopWithAHintBeyondTheLimitIsSleptOnce)
{
    const ReportedStatus pending = WithHint(kStopPending, 40000);
    const SimulatedRun run = StopService(MachineWith(R"({"state": "stopPending", "waitHint": 40000})"));
    ExpectRun(run, "-1",
              WholeScript(QueryStatusEx(pending), PendingPolls(pending, 40000, 40000, 40000),
                          "log: Service stop timed out."));
    EXPECT_EQ(run.outcome.standardOutput, kStdoutLine);
}

TEST(TimedStop, PendingStopThatEndsDuringAWaitBeyondTheLimitHasEnded)
{
    ExpectRun(
        StopService(MachineWith(
            R"({"state": "stopPending", "waitHint": 40000, "states": [{"afterMs": 35000, "state": "stopped"}]})")),
        "1",
        WholeScript(QueryStatusEx(WithHint(kStopPending, 40000)), kAnnounced, Slept(40000), QueryStatusEx(kStopped),
                    "log: Service stopped successfully."));
}

TEST(TimedStop, PendingStopWithoutAHintIsPolledWithoutAPause)
{
    const SimulatedRun run = StopService(MachineWith(R"({"state": "stopPending"})", 100));
    ExpectRun(run, "-1",
              WholeScript(QueryStatusEx(kStopPending), PendingPolls(kStopPending, 100, 30100, 100),
                          "log: Service stop timed out."));
    EXPECT_EQ(run.outcome.standardOutput, Repeated(kStdoutLine, 301));
}

TEST(TimedStop, PendingStopThatTurnsIntoAnotherStateIsSentTheControl)
{
    const SimulatedRun run = StopService(MachineWith(R"({
        "state": "stopPending", "waitHint": 1000, "states": [{"afterMs": 500, "state": "running"}],
        "onStop": {"states": [{"afterMs": 0, "state": "stopped"}]}})"));
    ExpectRun(run, "0",
              WholeScript(QueryStatusEx(WithHint(kStopPending, 1000)), kAnnounced, Slept(1000), QueryStatusEx(kRunning),
                          Tick(1000), SendStop(kStopped)));
    EXPECT_EQ(run.outcome.standardOutput, kStdoutLine);
}

TEST(TimedStop, BothWaitsShareOneLimit)
{
    const ReportedStatus pending = WithHint(kStopPending, 10000);
    ExpectRun(StopService(MachineWith(R"({
                  "state": "stopPending", "waitHint": 10000, "states": [{"afterMs": 20000, "state": "running"}],
                  "onStop": {"states": [{"afterMs": 0, "state": "stopPending", "waitHint": 10000}]}})")),
              "-1",
              WholeScript(QueryStatusEx(pending), kAnnounced, Slept(10000), QueryStatusEx(pending), Tick(10000),
                          kAnnounced, Slept(10000), QueryStatusEx(kRunning), Tick(20000), SendStop(pending),
                          Polls(pending, 30000, 40000, 10000), "log: Wait timed out"));
}

TEST(TimedStop, EachFailedQueryOfAPendingStopEndsTheWait)
{
    const ReportedStatus pending = WithHint(kStopPending, 5000);
    for (unsigned n = 1; n <= 6; ++n)
    {
        SCOPED_TRACE(n);
        const SimulatedRun run = StopService(MachineWith(R"({"state": "stopPending", "waitHint": 5000})"),
                                             {.faults = {fmt::format("QueryServiceStatusEx#{}=1115", n + 1)}});
        ExpectRun(run, "-2",
                  WholeScript(QueryStatusEx(pending), PendingPolls(pending, 5000, 5000 * (n - 1), 5000), kAnnounced,
                              Slept(5000), kFailedQuery, "log: QueryServiceStatusEx failed (1115)"));
        EXPECT_EQ(run.outcome.standardOutput, Repeated(kStdoutLine, n));
    }
}

TEST(TimedStop, TheLimitIsMeasuredAcrossTheTickCountsTurn)
{
    const SimulatedRun run = StopService(MachineOf(R"({
        "clock": {"tickCount": 4294960000}, "services": {"KlPCR": {"state": "stopPending", "waitHint": 1000}}})"));
    EXPECT_EQ(run.result, "-1");
    EXPECT_EQ(CountOf("Sleep", run.script), 31u);
    EXPECT_EQ(run.log, (Script{"Service stop timed out."}));
}

TEST(TimedStop, TheNewestWaitHintIsTheOneThatIsSleptWhileAStopIsPending)
{
    const ReportedStatus first = WithHint(kStopPending, 700);
    const ReportedStatus second = WithHint(kStopPending, 20);
    ExpectRun(StopService(MachineWith(R"({
                  "state": "stopPending", "waitHint": 700,
                  "states": [{"afterMs": 600, "state": "stopPending", "waitHint": 20},
                             {"afterMs": 710, "state": "stopped"}]})")),
              "1",
              WholeScript(QueryStatusEx(first), kAnnounced, Slept(700), QueryStatusEx(second), Tick(700), kAnnounced,
                          Slept(20), QueryStatusEx(kStopped), "log: Service stopped successfully."));
}

TEST(TimedStop, TheWaitHintThatTheControlReportsReplacesTheOneBeforeIt)
{
    ExpectRun(StopService(MachineWith(R"({
                  "state": "running", "waitHint": 9000,
                  "onStop": {"states": [{"afterMs": 0, "state": "stopPending", "waitHint": 30},
                                        {"afterMs": 10, "state": "stopped"}]}})")),
              "0",
              WholeScript(QueryStatusEx(WithHint(kRunning, 9000)), SendStop(WithHint(kStopPending, 30)), Slept(30),
                          QueryStatusEx(kStopped)));
}

} // namespace
