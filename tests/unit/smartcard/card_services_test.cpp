// Proves how the two services that smart cards need are set to start automatically, and started.
#include "tests/support/simulated_run.h"
#include "tests/unit/smartcard/card_scripts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using testing::ElementsAreArray;

// One of the two operations, and the texts that are its own.
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

class CardService : public testing::TestWithParam<Operation>
{
protected:
    // A machine whose service lets everything be read; `members` say the rest of it.
    static winsim::Machine With(const std::string& members)
    {
        return MachineOf(std::string(R"({"services": {")") + GetParam().service +
                         R"(": {"displayName": "Card", "grantsEveryRight": true, )" + members + "}}}");
    }

    static SimulatedRun Call(const winsim::Machine& machine, const SimulatedRunOptions& options = {})
    {
        return CallFunction(machine, GetParam().name, {}, options);
    }

    static void Expect(const SimulatedRun& run, const char* result, const Script& script)
    {
        EXPECT_EQ(run.result, result);
        EXPECT_THAT(run.script, ElementsAreArray(script));
        EXPECT_THAT(run.log, ElementsAreArray(LogOf(script)));
    }

    static Script OpenBoth()
    {
        return Joined(
            {AskForWow64(),
             {R"(OpenSCManagerW(null, null, 983103) = "serviceManager#1")",
              std::string(R"(OpenServiceW("serviceManager#1", ")") + GetParam().service + R"(", 19) = "service#1")"}});
    }

    static Script CloseBoth()
    {
        return {R"(CloseServiceHandle("service#1") = 1)", R"(CloseServiceHandle("serviceManager#1") = 1)"};
    }

    static std::string AskForSize() { return R"(QueryServiceConfigW("service#1", 0) = 0 pcbBytesNeeded:104)"; }

    static Script ReadStartType(int startType)
    {
        return {AskForSize(),
                R"(QueryServiceConfigW("service#1", 104) = 1 pcbBytesNeeded:104 lpServiceConfig:{"dwServiceType":16,)"
                R"("dwStartType":)" +
                    std::to_string(startType) +
                    R"(,"dwErrorControl":1,"lpBinaryPathName":"","lpLoadOrderGroup":"","dwTagId":0,)"
                    R"("lpDependencies":[],"lpServiceStartName":"LocalSystem","lpDisplayName":"Card"})"};
    }

    static std::string ChangeToAuto(bool succeeds)
    {
        return std::string(R"(ChangeServiceConfigW("service#1", 4294967295, 2, 4294967295, null, null, null, null, )"
                           R"(null, null, null) = )") +
               (succeeds ? "1" : "0");
    }

    static std::string ReadState(int state, int controls)
    {
        return R"(QueryServiceStatusEx("service#1", 0, 36) = 1 pcbBytesNeeded:36 lpBuffer:{"dwServiceType":16,)"
               R"("dwCurrentState":)" +
               std::to_string(state) + R"(,"dwControlsAccepted":)" + std::to_string(controls) +
               R"(,"dwWin32ExitCode":0,"dwServiceSpecificExitCode":0,"dwCheckPoint":0,"dwWaitHint":0,)"
               R"("dwProcessId":0,"dwServiceFlags":0})";
    }

    static std::string StartIt(bool succeeds)
    {
        return std::string(R"(StartServiceW("service#1", 0, null) = )") + (succeeds ? "1" : "0");
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
    const SimulatedRun run = Call(With(R"("start": "demand")"));
    Expect(run, "0",
           Joined({OpenBoth(), ReadStartType(3), {ChangeToAuto(true), ReadState(1, 0), StartIt(true)}, CloseBoth()}));
    EXPECT_EQ(ServiceAfter(run).startType, 2u);
    EXPECT_EQ(ServiceAfter(run).status.state, 2u); // it is not waited for
}

TEST_P(CardService, ADisabledServiceBecomesAutomaticAndIsStarted)
{
    Expect(Call(With(R"("start": "disabled")")), "0",
           Joined({OpenBoth(), ReadStartType(4), {ChangeToAuto(true), ReadState(1, 0), StartIt(true)}, CloseBoth()}));
}

TEST_P(CardService, AnAutomaticServiceThatRunsIsNeitherChangedNorStarted)
{
    const winsim::Machine machine = With(R"("start": "auto", "state": "running")");
    const SimulatedRun run = Call(machine);
    Expect(run, "0", Joined({OpenBoth(), ReadStartType(2), {ReadState(4, 1)}, CloseBoth()}));
    EXPECT_EQ(run.After().services, machine.services);
}

TEST_P(CardService, AnAutomaticServiceThatIsStoppedIsStarted)
{
    Expect(Call(With(R"("start": "auto")")), "0",
           Joined({OpenBoth(), ReadStartType(2), {ReadState(1, 0), StartIt(true)}, CloseBoth()}));
}

TEST_P(CardService, ARunningServiceOnDemandIsChangedAndNotStarted)
{
    Expect(Call(With(R"("start": "demand", "state": "running")")), "0",
           Joined({OpenBoth(), ReadStartType(3), {ChangeToAuto(true), ReadState(4, 1)}, CloseBoth()}));
}

TEST_P(CardService, AServiceWhoseStartIsPendingIsNotStartedAgain)
{
    Expect(Call(With(R"("start": "auto", "state": "startPending", "states": [{"afterMs": 500, "state": "running"}])")),
           "0", Joined({OpenBoth(), ReadStartType(2), {ReadState(2, 0)}, CloseBoth()}));
}

TEST_P(CardService, AnyOtherStateIsStartedAndAFailureIsOnlyLogged)
{
    struct State
    {
        const char* name;
        int number;
        int controls;
    };
    for (const State state : {State{"stopPending", 3, 0}, State{"continuePending", 5, 0}, State{"pausePending", 6, 0},
                              State{"paused", 7, 1}})
    {
        const SimulatedRun run = Call(With(std::string(R"("start": "auto", "state": ")") + state.name + "\""));
        Expect(run, "0",
               Joined({OpenBoth(),
                       ReadStartType(2),
                       {ReadState(state.number, state.controls), StartIt(false),
                        std::string(GetParam().startFailed) + "1056"},
                       CloseBoth()}));
    }
}

TEST_P(CardService, AStartThatFailsIsLoggedAndNotReported)
{
    const SimulatedRun run = Call(With(R"("start": "auto", "onStart": {"error": 1068})"));
    Expect(run, "0",
           Joined({OpenBoth(),
                   ReadStartType(2),
                   {ReadState(1, 0), StartIt(false), std::string(GetParam().startFailed) + "1068"},
                   CloseBoth()}));
}

TEST_P(CardService, AStateThatMayNotBeReadSkipsTheStartInSilence)
{
    const SimulatedRun run = Call(With(R"("start": "demand", "grantsEveryRight": false)"));
    Expect(run, "0",
           Joined({OpenBoth(),
                   ReadStartType(3),
                   {ChangeToAuto(true), R"(QueryServiceStatusEx("service#1", 0, 36) = 0)"},
                   CloseBoth()}));
    EXPECT_EQ(ServiceAfter(run).startType, 2u);
    EXPECT_EQ(ServiceAfter(run).status.state, 1u);
}

TEST_P(CardService, AStartTypeThatCannotBeChangedIsLoggedAndEndsTheStep)
{
    const SimulatedRun run =
        Call(With(R"("start": "demand")"), {.faults = {"ChangeServiceConfigW=1072", "CloseServiceHandle=6"}});
    Expect(run, "-1",
           Joined({OpenBoth(),
                   ReadStartType(3),
                   {ChangeToAuto(false), std::string(GetParam().changeFailed) + "1072",
                    R"(CloseServiceHandle("service#1") = 0)", R"(CloseServiceHandle("serviceManager#1") = 0)"}}));
}

TEST_P(CardService, AManagerThatCannotBeOpenedEndsTheStepInSilence)
{
    Expect(Call(With(R"("start": "demand")"), {.faults = {"OpenSCManagerW=5"}}), "-1",
           Joined({AskForWow64(), {"OpenSCManagerW(null, null, 983103)"}}));
}

TEST_P(CardService, AMissingServiceEndsTheStepInSilence)
{
    const winsim::Machine machine = MachineOf(std::string(R"({"services": {")") + GetParam().service + R"(": null}})");
    Expect(Call(machine), "-1",
           Joined({AskForWow64(),
                   {R"(OpenSCManagerW(null, null, 983103) = "serviceManager#1")",
                    std::string(R"(OpenServiceW("serviceManager#1", ")") + GetParam().service + R"(", 19))",
                    R"(CloseServiceHandle("serviceManager#1") = 1)"}}));
}

TEST_P(CardService, AServiceThatMayNotBeOpenedEndsTheStepInSilence)
{
    for (const char* right : {"1", "2", "16"})
        EXPECT_EQ(Call(With(std::string(R"("deniedAccess": )") + right)).result, "-1") << right;
}

TEST_P(CardService, AFirstQueryThatFailsOtherwiseThanExpectedEndsTheStepInSilence)
{
    for (const char* error : {"5", "87", "234"})
    {
        const SimulatedRun run =
            Call(With(R"("start": "demand")"), {.faults = {std::string("QueryServiceConfigW#1=") + error}});
        Expect(run, "-1", Joined({OpenBoth(), {R"(QueryServiceConfigW("service#1", 0) = 0)"}, CloseBoth()}));
    }
}

TEST_P(CardService, AFirstQueryThatSucceedsEndsTheStepInSilence)
{
    const SimulatedRun run = Call(With(R"("start": "demand")"), {.faults = {"QueryServiceConfigW#1=nothing"}});
    Expect(run, "-1", Joined({OpenBoth(), {R"(QueryServiceConfigW("service#1", 0) = 1)"}, CloseBoth()}));
}

TEST_P(CardService, ASecondQueryThatFailsEndsTheStepInSilence)
{
    const SimulatedRun run = Call(With(R"("start": "demand")"), {.faults = {"QueryServiceConfigW#2=122"}});
    Expect(run, "-1",
           Joined({OpenBoth(), {AskForSize(), R"(QueryServiceConfigW("service#1", 104) = 0)"}, CloseBoth()}));
}

TEST_P(CardService, ALongConfigurationIsReadAsAWhole)
{
    const std::string path(5000, 'x');
    const SimulatedRun run = Call(With(R"("start": "auto", "state": "running", "binaryPath": ")" + path + "\""));
    EXPECT_EQ(run.result, "0");
    EXPECT_EQ(run.script.size(), Joined({OpenBoth(), ReadStartType(2), {ReadState(4, 1)}, CloseBoth()}).size());
}

TEST_P(CardService, A32BitProcessOn64BitWindowsTouchesNoService)
{
    Expect(Call(MachineOf(R"({"windows": {"wow64": true}})")), "0", AskForWow64(true));
}

TEST_P(CardService, AProcessThatCannotBeAskedCountsAs64Bit)
{
    const SimulatedRun run = Call(With(R"("start": "auto", "state": "running")"), {.faults = {"IsWow64Process=6"}});
    EXPECT_EQ(run.result, "0");
    EXPECT_THAT(run.log, testing::ElementsAre("IsWOW64Process - failed to detect process on host os type: 6"));
    EXPECT_EQ(run.outcome.callCounts.at("QueryServiceStatusEx"), 1u);
}

} // namespace
