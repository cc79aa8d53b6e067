// Proves how the two services that smart cards need are set to start automatically, and started.
#include "tests/unit/smartcard/card_script.h"

#include <gtest/gtest.h>

namespace
{

// One of the two operations, and its own texts.
struct Operation
{
    const char* name;
    const char* service;
    const char* changeFailed;
    const char* startFailed;
};

constexpr Operation kOperations[] = {
    {"ConfigureSmartCardService", "SCardSvr",
     "log: CTPMSmartCard::ConfigureSmartCardService - Failed to change Service to 'Auto' ",
     "log: CTPMSmartCard::ConfigureSmartCardService - failed to StartService "},
    {"ConfigureCertPropService", "CertPropSvc",
     "log: CTPMSmartCard::ConfigureCertPropService - Failed to change Service to 'Auto' ",
     "log: CTPMSmartCard::ConfigureCertPropService - failed to StartService "},
};

void PrintTo(const Operation& operation, std::ostream* stream)
{
    *stream << operation.name;
}

const std::string kChangeToAuto =
    Call("ChangeServiceConfigW",
         {"service#1", 0xFFFFFFFF, 2, 0xFFFFFFFF, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}, 1);
const std::string kStart = Call("StartServiceW", {"service#1", 0, nullptr}, 1);

class CardService : public testing::TestWithParam<Operation>
{
protected:
    // A machine whose service can be read completely; `members` describe the rest of the service.
    static winsim::Machine With(const std::string& members)
    {
        return MachineOf(std::string(R"({"services": {")") + GetParam().service +
                         R"(": {"displayName": "Card", "grantsEveryRight": true, )" + members + "}}}");
    }

    static SimulatedRun Configure(const winsim::Machine& machine, const SimulatedRunOptions& options = {})
    {
        return CallFunction(machine, GetParam().name, {}, options);
    }

    static Script OpenBoth() { return {AskForWow64(), kOpenManager, OpenService(GetParam().service, 19)}; }

    static Script ReadStartType(unsigned startType) { return ReadConfig(startType, "Card"); }

    static Script StartFailed(int error)
    {
        return {Failing(kStart, 0), GetParam().startFailed + std::to_string(error)};
    }

    static const winsim::Service& ServiceAfter(const SimulatedRun& run)
    {
        return *run.After().services.Find(GetParam().service);
    }
};

INSTANTIATE_TEST_SUITE_P(Each, CardService, testing::ValuesIn(kOperations),
                         [](const auto& test) { return std::string(test.param.service); });

TEST_P(CardService, AStoppedServiceOnDemandBecomesAutomaticAndIsStarted)
{
    const SimulatedRun run = Configure(With(R"("start": "demand")"));
    ExpectRun(run, "0", {OpenBoth(), ReadStartType(3), kChangeToAuto, QueryStatusEx(kStopped), kStart, kCloseBoth});
    EXPECT_EQ(ServiceAfter(run).startType, 2u);
    EXPECT_EQ(ServiceAfter(run).status.state, 2u); // the program does not wait for it
}

TEST_P(CardService, ADisabledServiceBecomesAutomaticAndIsStarted)
{
    ExpectRun(Configure(With(R"("start": "disabled")")), "0",
              {OpenBoth(), ReadStartType(4), kChangeToAuto, QueryStatusEx(kStopped), kStart, kCloseBoth});
}

TEST_P(CardService, AnAutomaticServiceThatRunsIsNeitherChangedNorStarted)
{
    const winsim::Machine machine = With(R"("start": "auto", "state": "running")");
    const SimulatedRun run = Configure(machine);
    ExpectRun(run, "0", {OpenBoth(), ReadStartType(2), QueryStatusEx(kRunning), kCloseBoth});
    EXPECT_EQ(run.After().services, machine.services);
}

TEST_P(CardService, AnAutomaticServiceThatIsStoppedIsStarted)
{
    ExpectRun(Configure(With(R"("start": "auto")")), "0",
              {OpenBoth(), ReadStartType(2), QueryStatusEx(kStopped), kStart, kCloseBoth});
}

TEST_P(CardService, ARunningServiceOnDemandIsChangedAndNotStarted)
{
    ExpectRun(Configure(With(R"("start": "demand", "state": "running")")), "0",
              {OpenBoth(), ReadStartType(3), kChangeToAuto, QueryStatusEx(kRunning), kCloseBoth});
}

TEST_P(CardService, AServiceWhoseStartIsPendingIsNotStartedAgain)
{
    ExpectRun(Configure(With(
                  R"("start": "auto", "state": "startPending", "states": [{"afterMs": 500, "state": "running"}])")),
              "0", {OpenBoth(), ReadStartType(2), QueryStatusEx(kStartPending), kCloseBoth});
}

TEST_P(CardService, AnyOtherStateIsStartedAndAFailureIsOnlyLogged)
{
    const std::pair<const char*, ReportedStatus> states[] = {
        {"stopPending", kStopPending}, {"continuePending", {5}}, {"pausePending", {6}}, {"paused", kPaused}};
    for (const auto& [name, status] : states)
        ExpectRun(Configure(With(std::string(R"("start": "auto", "state": ")") + name + "\"")), "0",
                  {OpenBoth(), ReadStartType(2), QueryStatusEx(status), StartFailed(1056), kCloseBoth});
}

TEST_P(CardService, AStartThatFailsIsLoggedAndNotReported)
{
    ExpectRun(Configure(With(R"("start": "auto", "onStart": {"error": 1068})")), "0",
              {OpenBoth(), ReadStartType(2), QueryStatusEx(kStopped), StartFailed(1068), kCloseBoth});
}

TEST_P(CardService, AStateThatMayNotBeReadSkipsTheStartInSilence)
{
    const SimulatedRun run = Configure(With(R"("start": "demand", "grantsEveryRight": false)"));
    ExpectRun(run, "0",
              {OpenBoth(), ReadStartType(3), kChangeToAuto, Call("QueryServiceStatusEx", {"service#1", 0, 36}, 0),
               kCloseBoth});
    EXPECT_EQ(ServiceAfter(run).startType, 2u);
    EXPECT_EQ(ServiceAfter(run).status.state, 1u);
}

TEST_P(CardService, AStartTypeThatCannotBeChangedIsLoggedAndEndsTheStep)
{
    ExpectRun(
        Configure(With(R"("start": "demand")"), {.faults = {"ChangeServiceConfigW=1072", "CloseServiceHandle=6"}}),
        "-1",
        {OpenBoth(), ReadStartType(3), Failing(kChangeToAuto, 0), std::string(GetParam().changeFailed) + "1072",
         Failing(kCloseService, 0), Failing(kCloseManager, 0)});
}

TEST_P(CardService, AManagerThatCannotBeOpenedEndsTheStepInSilence)
{
    ExpectRun(Configure(With(R"("start": "demand")"), {.faults = {"OpenSCManagerW=5"}}), "-1",
              {AskForWow64(), Failing(kOpenManager)});
}

TEST_P(CardService, AMissingServiceEndsTheStepInSilence)
{
    ExpectRun(Configure(MachineOf(std::string(R"({"services": {")") + GetParam().service + R"(": null}})")), "-1",
              {AskForWow64(), kOpenManager, Failing(OpenService(GetParam().service, 19)), kCloseManager});
}

TEST_P(CardService, AServiceThatMayNotBeOpenedEndsTheStepInSilence)
{
    for (const char* right : {"1", "2", "16"})
        EXPECT_EQ(Configure(With(std::string(R"("deniedAccess": )") + right)).result, "-1") << right;
}

TEST_P(CardService, AFirstQueryThatFailsOtherwiseThanExpectedEndsTheStepInSilence)
{
    for (const char* error : {"5", "87", "234"})
        ExpectRun(Configure(With(R"("start": "demand")"), {.faults = {std::string("QueryServiceConfigW#1=") + error}}),
                  "-1", {OpenBoth(), Call("QueryServiceConfigW", {"service#1", 0}, 0), kCloseBoth});
}

TEST_P(CardService, AFirstQueryThatSucceedsEndsTheStepInSilence)
{
    ExpectRun(Configure(With(R"("start": "demand")"), {.faults = {"QueryServiceConfigW#1=nothing"}}), "-1",
              {OpenBoth(), Call("QueryServiceConfigW", {"service#1", 0}, 1), kCloseBoth});
}

TEST_P(CardService, ASecondQueryThatFailsEndsTheStepInSilence)
{
    ExpectRun(Configure(With(R"("start": "demand")"), {.faults = {"QueryServiceConfigW#2=122"}}), "-1",
              {OpenBoth(), ReadStartType(3)[0], Call("QueryServiceConfigW", {"service#1", 104}, 0), kCloseBoth});
}

TEST_P(CardService, AFirstQueryThatNamesNoSizeIsFollowedByOneWithoutRoom)
{
    const SimulatedRun run = Configure(With(R"("start": "demand")"), {.faults = {"QueryServiceConfigW#1=122"}});
    ExpectRun(run, "-1",
              {OpenBoth(), Call("QueryServiceConfigW", {"service#1", 0}, 0), ReadStartType(3)[0], kCloseBoth});
}

TEST_P(CardService, ALongConfigurationIsReadWithMemoryForItAndNoMore)
{
    const std::string path(5000, 'x');
    winsim::Machine machine = With(R"("start": "auto", "state": "running", "binaryPath": ")" + path + "\"");
    machine.process.largestBlock = static_cast<std::uint32_t>(SizeOfConfig(path, "Card"));
    EXPECT_EQ(Configure(machine).result, "0");
}

TEST_P(CardService, ALongConfigurationIsReadAsAWhole)
{
    const std::string path(5000, 'x');
    const SimulatedRun run = Configure(With(R"("start": "auto", "state": "running", "binaryPath": ")" + path + "\""));
    EXPECT_EQ(run.result, "0");
    EXPECT_EQ(run.script.size(), (Script{OpenBoth(), ReadStartType(2), QueryStatusEx(kRunning), kCloseBoth}).size());
}

TEST_P(CardService, A32BitProcessOn64BitWindowsTouchesNoService)
{
    ExpectRun(Configure(MachineOf(R"({"windows": {"wow64": true}})")), "0", AskForWow64(true));
}

TEST_P(CardService, AProcessThatCannotBeAskedCountsAs64Bit)
{
    const SimulatedRun run =
        Configure(With(R"("start": "auto", "state": "running")"), {.faults = {"IsWow64Process=6"}});
    ExpectLog(run, "0", {"log: IsWOW64Process - failed to detect process on host os type: 6"});
    EXPECT_EQ(run.outcome.callCounts.at("QueryServiceStatusEx"), 1u);
}

} // namespace
