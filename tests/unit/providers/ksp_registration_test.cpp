// Proves how the two key storage providers are registered with Windows' cryptography configuration, and removed.
#include "tests/support/run_tests.h"
#include "tests/support/simulated_run.h"
#include "tests/support/windows_script.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace
{

using winsim::Json;

constexpr char kTcg[] = "Kelo TCG Enabled KSP";
constexpr char kStrongAuth[] = "Kelo TCG-Enabled Strong Authentication KSP";
constexpr char kFailed[] = "4294967294";     // 0xFFFFFFFE
constexpr char kCannotCall[] = "2147500037"; // E_FAIL
constexpr char kNoLibrary[] = R"({"libraries": {"C:\\Windows\\system32\\bcrypt.dll": {"loadError": 126}}})";

// One of the toolkit's providers as a machine description registers it.
std::string Described(const std::string& provider)
{
    return '"' + provider +
           R"(": {"userMode": {"image": "KeloKSP.dll", "interfaces": [{"interface": 65537, "flags": 1, )"
           R"("functions": ["KEY_STORAGE"]}]}})";
}

// A machine where both are registered, with the given providers for the function.
winsim::Machine BothRegistered(const std::string& functionProviders)
{
    return MachineOf(R"({"cng": {"providers": {)" + Described(kTcg) + ", " + Described(kStrongAuth) +
                     R"(}, "contextFunctions": [{"table": 1, "context": "Default", "interface": 65537, )"
                     R"("function": "KEY_STORAGE", "providers": )" +
                     functionProviders + "}]}}");
}

winsim::Machine BothRegistered()
{
    return BothRegistered(winsim::Json{"Microsoft Software Key Storage Provider", kTcg, kStrongAuth}.dump());
}

const std::string kLoad = Call("LoadLibraryW", {"bcrypt.dll"}, "library#1");
const std::string kFree = Call("FreeLibrary", {"library#1"}, 1);

std::string LookUp(const std::string& function)
{
    return Call("GetProcAddress", {"library#1", function}, "bcrypt.dll!" + function);
}

std::string RegisterProvider(const std::string& provider, int status = 0)
{
    const Json interfaces = {
        {{"dwInterface", 65537}, {"dwFlags", 1}, {"cFunctions", 1}, {"rgpszFunctions", Json::array({"KEY_STORAGE"})}}};
    return Call("BCryptRegisterProvider",
                {provider,
                 0,
                 {{"cAliases", 0},
                  {"rgpszAliases", nullptr},
                  {"pUM", {{"pszImage", "KeloKSP.dll"}, {"cInterfaces", 1}, {"rgpInterfaces", interfaces}}},
                  {"pKM", nullptr}}},
                status);
}

std::string AddFunction(const std::string& provider, int status = 0)
{
    return Call("BCryptAddContextFunctionProvider", {1, nullptr, 65537, "KEY_STORAGE", provider, 0xFFFFFFFF}, status);
}

std::string RemoveFunction(const std::string& provider, int status = 0)
{
    return Call("BCryptRemoveContextFunctionProvider", {1, nullptr, 65537, "KEY_STORAGE", provider}, status);
}

std::string UnregisterProvider(const std::string& provider, int status = 0)
{
    return Call("BCryptUnregisterProvider", {provider}, status);
}

// One step: loading and freeing its library around the given calls.
Script RegistrationStep(const Script& calls)
{
    return {kLoad, LookUp("BCryptRegisterProvider"), LookUp("BCryptAddContextFunctionProvider"), calls, kFree};
}

Script RemovalStep(const Script& calls)
{
    return {kLoad, LookUp("BCryptUnregisterProvider"), LookUp("BCryptRemoveContextFunctionProvider"), calls, kFree};
}

Script Registration(const char* provider, const Script& calls)
{
    return {std::string("log: Register the ") + provider, RegistrationStep(calls)};
}

Script Removal(const char* provider, const Script& calls)
{
    return {std::string("log: Unregister the ") + provider, RemovalStep(calls)};
}

// Both steps when they succeed.
const Script kTcgRegistered = {Registration(kTcg, {RegisterProvider(kTcg), AddFunction(kTcg)}),
                               "log: Successfully registered Kelo TCG Enabled KSP"};
const Script kStrongAuthRemoved = {Removal(kStrongAuth, {RemoveFunction(kStrongAuth), UnregisterProvider(kStrongAuth)}),
                                   "log: Successfully un-registered Kelo TCG-Enabled Strong Authentication KSP"};

// The providers of key storage on a machine, the preferred one first.
std::vector<std::string> KeyStorageProviders(const winsim::Machine& machine)
{
    return machine.cng.contextFunctions.at(0).providers;
}

// ---- Registration ----

SimulatedRun Register(const winsim::Machine& machine, const SimulatedRunOptions& options = {})
{
    return CallFunction(machine, "RegisterKsps", {}, options);
}

const auto kRegistrations =
    RunTests("RegisterKsps", &Register)
        .Run("BothProvidersAreRegisteredAfterAllOthers", MachineOf("{}"), "0",
             {AskForVersion(6, 0, true), kTcgRegistered,
              Registration(kStrongAuth, {RegisterProvider(kStrongAuth), AddFunction(kStrongAuth)}),
              "log: Successfully registered Kelo TCG-Enabled Strong Authentication KSP"},
             [](const SimulatedRun& run) {
                 EXPECT_THAT(KeyStorageProviders(run.After()),
                             testing::ElementsAre("Microsoft Software Key Storage Provider",
                                                  "Microsoft Smart Card Key Storage Provider",
                                                  "Microsoft Platform Crypto Provider", kTcg, kStrongAuth));
             })
        .Result("AFunctionThatWasTakenAwayByHandIsNotAddedBack",
                BothRegistered(R"(["Microsoft Software Key Storage Provider"])"), "0",
                [](const SimulatedRun& run) {
                    EXPECT_THAT(KeyStorageProviders(run.After()),
                                testing::ElementsAre("Microsoft Software Key Storage Provider"));
                })
        .Log("OneProviderThatIsThereDoesNotKeepTheOtherOut",
             MachineOf("{\"cng\": {\"providers\": {" + Described(kTcg) + "}}}"), "0",
             {"log: Register the Kelo TCG Enabled KSP", "log: BCryptRegisterProvider failed with error code 0xc0000035",
              "log: Already registered KSP Kelo TCG Enabled KSP",
              "log: Register the Kelo TCG-Enabled Strong Authentication KSP",
              "log: Successfully registered Kelo TCG-Enabled Strong Authentication KSP"})
        .Run("AFirstProviderThatCannotBeRegisteredEndsTheRegistration", MachineOf("{}"),
             {.faults = {"BCryptRegisterProvider=0xC0000022"}}, kFailed,
             {AskForVersion(6, 0, true),
              Registration(kTcg, {RegisterProvider(kTcg, -1073741790),
                                  "log: BCryptRegisterProvider failed with error code 0xc0000022"})})
        .Run("AFirstFunctionThatCannotBeAddedEndsTheRegistration", MachineOf(R"({"cng": {"contextFunctions": []}})"),
             kFailed,
             {AskForVersion(6, 0, true),
              Registration(kTcg, {RegisterProvider(kTcg), AddFunction(kTcg, -1073741275),
                                  "log: BCryptAddContextFunctionProvider failed with error code 0xc0000225"})})
        .Run("ASecondProviderThatCannotBeRegisteredFailsToo", MachineOf("{}"),
             {.faults = {"BCryptRegisterProvider#2=0xC0000017"}}, kFailed,
             {AskForVersion(6, 0, true), kTcgRegistered,
              Registration(kStrongAuth, {RegisterProvider(kStrongAuth, -1073741801),
                                         "log: BCryptRegisterProvider failed with error code 0xc0000017"})})
        .Result(
            "ANameCollisionOfTheFunctionCountsAsRegisteredToo", MachineOf("{}"),
            {.faults = {"BCryptAddContextFunctionProvider=0xC0000035"}}, "0",
            [](const SimulatedRun& run) { EXPECT_EQ(run.log.at(2), "Already registered KSP Kelo TCG Enabled KSP"); })
        .Run("AWindowsWithoutTheLibraryEndsTheRegistration", MachineOf(kNoLibrary), kFailed,
             {AskForVersion(6, 0, true), "log: Register the Kelo TCG Enabled KSP", Failing(kLoad),
              "log: CNG bcrypt library not found"});

TEST(RegisterKsps, TheWholeRecordIsKept)
{
    const winsim::Machine after = Register(MachineOf("{}")).After();
    const winsim::Machine expected =
        MachineOf("{\"cng\": {\"providers\": {" + Described(kTcg) + ", " + Described(kStrongAuth) + "}}}");
    EXPECT_EQ(after.cng.providers, expected.cng.providers);
}

TEST(RegisterKsps, ProvidersThatAreThereCountAsRegistered)
{
    const SimulatedRun run = Register(BothRegistered());
    constexpr char kCollision[] = "log: BCryptRegisterProvider failed with error code 0xc0000035";
    ExpectRun(run, "0",
              {AskForVersion(6, 0, true), Registration(kTcg, {RegisterProvider(kTcg, -1073741771), kCollision}),
               "log: Already registered KSP Kelo TCG Enabled KSP",
               Registration(kStrongAuth, {RegisterProvider(kStrongAuth, -1073741771), kCollision}),
               "log: Already registered Kelo TCG-Enabled Strong Authentication KSP"});
    EXPECT_EQ(run.After().cng, run.before.cng);
}

TEST(RegisterKsps, ASecondSetUpChangesNothing)
{
    const SimulatedRun first = Register(MachineOf("{}"));
    const SimulatedRun second = Register(first.After());
    EXPECT_EQ(second.result, "0");
    EXPECT_EQ(second.After().cng, first.After().cng);
}

TEST(RegisterKsps, AWindowsBeforeVistaIsLeftAlone)
{
    for (const char* version : {"5.1", "5.2"})
        ExpectRun(Register(WindowsOf(version)), "0",
                  {AskForVersion(6, 0, false), "log: Kelo KSPs will not be installed, target system is not Vista+"});
}

TEST(RegisterKsps, VistaIsNotLeftAlone)
{
    const SimulatedRun run = Register(MachineOf(R"({"windows": {"version": "6.0"}})"));
    EXPECT_EQ(run.log.size(), 4u);
    EXPECT_EQ(run.outcome.callCounts.at("BCryptAddContextFunctionProvider"), 2u);
}

// ---- Removal ----

SimulatedRun Unregister(const winsim::Machine& machine, const SimulatedRunOptions& options = {})
{
    return CallFunction(machine, "UnregisterKsps", {}, options);
}

TEST(UnregisterKsps, BothProvidersGoTheFunctionFirst)
{
    const SimulatedRun run = Unregister(BothRegistered());
    ExpectRun(run, "0",
              {AskForVersion(6, 0, true), Removal(kTcg, {RemoveFunction(kTcg), UnregisterProvider(kTcg)}),
               "log: Successfully un-registered Kelo TCG Enabled KSP", kStrongAuthRemoved});
    EXPECT_THAT(KeyStorageProviders(run.After()), testing::ElementsAre("Microsoft Software Key Storage Provider"));
    EXPECT_EQ(run.After().cng.providers, MachineOf("{}").cng.providers);
}

TEST(UnregisterKsps, WhatTheSetUpRegisteredIsGone)
{
    EXPECT_EQ(Unregister(Register(MachineOf("{}")).After()).After().cng, MachineOf("{}").cng);
}

TEST(UnregisterKsps, ProvidersThatAreNotThereAreTwoFailuresAndNoError)
{
    constexpr char kNotFound[] = "log: BCryptRemoveContextFunctionProvider failed with error code 0xc0000225";
    const SimulatedRun run = Unregister(MachineOf("{}"));
    ExpectRun(run, "0",
              {AskForVersion(6, 0, true), Removal(kTcg, {RemoveFunction(kTcg, -1073741275), kNotFound}),
               Removal(kStrongAuth, {RemoveFunction(kStrongAuth, -1073741275), kNotFound})});
    EXPECT_EQ(run.After().cng, run.before.cng);
}

const auto kRemovals =
    RunTests("UnregisterKsps", &Unregister)
        .Run("AFunctionThatCannotBeTakenAwayKeepsItsProvider", BothRegistered(),
             {.faults = {"BCryptRemoveContextFunctionProvider#1=0xC0000022"}}, "0",
             {AskForVersion(6, 0, true),
              Removal(kTcg, {RemoveFunction(kTcg, -1073741790),
                             "log: BCryptRemoveContextFunctionProvider failed with error code 0xc0000022"}),
              kStrongAuthRemoved},
             [](const SimulatedRun& run) { EXPECT_TRUE(run.After().cng.providers.contains(kTcg)); })
        .Run("AProviderThatCannotBeUnregisteredStopsNothing", BothRegistered(),
             {.faults = {"BCryptUnregisterProvider#1=0xC0000022"}}, "0",
             {AskForVersion(6, 0, true),
              Removal(kTcg, {RemoveFunction(kTcg), UnregisterProvider(kTcg, -1073741790),
                             "log: BCryptUnregisterProvider failed with error code 0xc0000022"}),
              kStrongAuthRemoved})
        .Run("AWindowsWithoutTheLibraryFailsForEachProvider", MachineOf(kNoLibrary), "0",
             {AskForVersion(6, 0, true), "log: Unregister the Kelo TCG Enabled KSP", Failing(kLoad),
              "log: CNG bcrypt library not found", "log: Unregister the Kelo TCG-Enabled Strong Authentication KSP",
              Failing(kLoad), "log: CNG bcrypt library not found"});

TEST(UnregisterKsps, AWindowsBeforeVistaIsLeftAloneInTheWordsOfTheRegistration)
{
    for (const char* version : {"5.1", "5.2"})
        ExpectRun(Unregister(WindowsOf(version)), "0",
                  {AskForVersion(6, 0, false), "log: Kelo KSPs will not be installed, target system is not Vista+"});
}

// ---- The single steps ----

struct Step
{
    const char* name;
    const char* provider;
    bool isRegistration;
};

class KspStep : public testing::TestWithParam<Step>
{
protected:
    static Script Calls(int firstStatus, int secondStatus)
    {
        const std::string provider = GetParam().provider;
        if (GetParam().isRegistration)
            return {RegisterProvider(provider, firstStatus), AddFunction(provider, secondStatus)};
        return {RemoveFunction(provider, firstStatus), UnregisterProvider(provider, secondStatus)};
    }

    static Script WithLibrary(const Script& calls)
    {
        return GetParam().isRegistration ? RegistrationStep(calls) : RemovalStep(calls);
    }

    static winsim::Machine Ready() { return GetParam().isRegistration ? MachineOf("{}") : BothRegistered(); }

    static std::string NameOfCall(int index)
    {
        if (GetParam().isRegistration)
            return index == 0 ? "BCryptRegisterProvider" : "BCryptAddContextFunctionProvider";
        return index == 0 ? "BCryptRemoveContextFunctionProvider" : "BCryptUnregisterProvider";
    }
};

INSTANTIATE_TEST_SUITE_P(Each, KspStep,
                         testing::Values(Step{"RegisterTcgKsp", kTcg, true},
                                         Step{"RegisterStrongAuthKsp", kStrongAuth, true},
                                         Step{"UnregisterTcgKsp", kTcg, false},
                                         Step{"UnregisterStrongAuthKsp", kStrongAuth, false}),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(KspStep, BothCallsSucceed)
{
    ExpectRun(CallFunction(Ready(), GetParam().name), "0", WithLibrary(Calls(0, 0)));
}

TEST_P(KspStep, AFirstCallThatFailsSkipsTheSecondAndGivesItsStatus)
{
    ExpectRun(CallFunction(Ready(), GetParam().name, {}, {.faults = {NameOfCall(0) + "=0xC0000001"}}), "3221225473",
              WithLibrary({Calls(-1073741823, 0)[0], "log: " + NameOfCall(0) + " failed with error code 0xc0000001"}));
}

TEST_P(KspStep, ASecondCallThatFailsGivesItsStatus)
{
    const SimulatedRun run = CallFunction(Ready(), GetParam().name, {}, {.faults = {NameOfCall(1) + "=0x0000000F"}});
    const Script calls = Calls(0, 15);
    ExpectRun(run, "15",
              WithLibrary({calls[0], calls[1], "log: " + NameOfCall(1) + " failed with error code 0x0000000f"}));
}

TEST_P(KspStep, WithoutTheLibraryNothingIsCalled)
{
    ExpectRun(CallFunction(MachineOf(kNoLibrary), GetParam().name), kCannotCall,
              {Failing(kLoad), "log: CNG bcrypt library not found"});
}

// A library that lacks a function is described with its name. After the first missing function the second is still
// looked up, and if only the second one is missing, the first call is still made.
TEST_P(KspStep, AMissingFunctionEndsTheStepWhereItWouldBeCalled)
{
    const auto lacks = [](const Script& names) {
        return Changed(Ready(), {{"libraries", {{R"(C:\Windows\system32\bcrypt.dll)", {{"missing", names}}}}}});
    };
    const auto lookUp = [](const std::string& name, bool isThere) {
        if (isThere)
            return Script{LookUp(name)};
        return Script{Failing(LookUp(name)), "log:  Failed to GetProcAddress for " + name};
    };
    for (const auto& [lacksFirst, lacksSecond] : {std::pair{true, false}, {false, true}, {true, true}})
    {
        Script missing;
        if (lacksFirst)
            missing.push_back(NameOfCall(0));
        if (lacksSecond)
            missing.push_back(NameOfCall(1));
        const auto isThere = [&](const std::string& name) {
            return std::find(missing.begin(), missing.end(), name) == missing.end();
        };
        // A removal looks up the function that it calls last before the other one.
        const std::string firstLookUp = NameOfCall(GetParam().isRegistration ? 0 : 1);
        const std::string secondLookUp = NameOfCall(GetParam().isRegistration ? 1 : 0);
        ExpectRun(CallFunction(lacks(missing), GetParam().name), kCannotCall,
                  Script{kLoad, lookUp(firstLookUp, isThere(firstLookUp)), lookUp(secondLookUp, isThere(secondLookUp)),
                         lacksFirst ? Script{} : Script{Calls(0, 0)[0]}, kFree});
    }
}

} // namespace
