// Proves how the two key storage providers are registered with Windows' cryptography configuration, and removed.
#include "tests/support/expected_script.h"
#include "tests/support/simulated_run.h"
#include "tests/support/version_script.h"
#include "winsim/machine/effects.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace
{

using testing::ElementsAreArray;

constexpr char kTcg[] = "Kelo TCG Enabled KSP";
constexpr char kStrongAuth[] = "Kelo TCG-Enabled Strong Authentication KSP";
constexpr char kFailed[] = "4294967294";     // 0xFFFFFFFE
constexpr char kCannotCall[] = "2147500037"; // E_FAIL
constexpr char kNoLibrary[] = R"({"libraries": {"C:\\Windows\\system32\\bcrypt.dll": {"loadError": 126}}})";

// A registered provider of the toolkit, as a machine is described.
std::string Described(const std::string& provider)
{
    return '"' + provider +
           R"(": {"userMode": {"image": "KeloKSP.dll", "interfaces": [{"interface": 65537, "flags": 1, )"
           R"("functions": ["KEY_STORAGE"]}]}})";
}

// A machine on which both are registered, with these providers of the function.
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

constexpr char kLoad[] = R"(LoadLibraryW("bcrypt.dll") = "library#1")";
constexpr char kFree[] = R"(FreeLibrary("library#1") = 1)";

std::string LookUp(const std::string& function, bool isThere = true)
{
    return R"(GetProcAddress("library#1", ")" + function + "\")" +
           (isThere ? " = \"bcrypt.dll!" + function + "\"" : "");
}

std::string RegisterProvider(const std::string& provider, const std::string& status = "0")
{
    return "BCryptRegisterProvider(\"" + provider +
           R"(", 0, {"cAliases":0,"rgpszAliases":null,"pUM":{"pszImage":"KeloKSP.dll","cInterfaces":1,)"
           R"("rgpInterfaces":[{"dwInterface":65537,"dwFlags":1,"cFunctions":1,"rgpszFunctions":["KEY_STORAGE"]}]},)"
           R"("pKM":null}) = )" +
           status;
}

std::string AddFunction(const std::string& provider, const std::string& status = "0")
{
    return R"(BCryptAddContextFunctionProvider(1, null, 65537, "KEY_STORAGE", ")" + provider + R"(", 4294967295) = )" +
           status;
}

std::string RemoveFunction(const std::string& provider, const std::string& status = "0")
{
    return R"(BCryptRemoveContextFunctionProvider(1, null, 65537, "KEY_STORAGE", ")" + provider + R"(") = )" + status;
}

std::string UnregisterProvider(const std::string& provider, const std::string& status = "0")
{
    return "BCryptUnregisterProvider(\"" + provider + "\") = " + status;
}

// One step, with its library around the calls that it makes.
Script RegistrationStep(const Script& calls)
{
    return Joined(
        {{kLoad, LookUp("BCryptRegisterProvider"), LookUp("BCryptAddContextFunctionProvider")}, calls, {kFree}});
}

Script RemovalStep(const Script& calls)
{
    return Joined(
        {{kLoad, LookUp("BCryptUnregisterProvider"), LookUp("BCryptRemoveContextFunctionProvider")}, calls, {kFree}});
}

std::string Announced(const std::string& verb, const std::string& provider)
{
    return "log: " + verb + " the " + provider;
}

void Expect(const SimulatedRun& run, const std::string& result, const Script& script)
{
    EXPECT_EQ(run.result, result);
    EXPECT_THAT(run.script, ElementsAreArray(script));
    EXPECT_THAT(run.log, ElementsAreArray(LogOf(script)));
}

// What serves key storage on a machine, the preferred first.
std::vector<std::string> KeyStorageProviders(const winsim::Machine& machine)
{
    return machine.cng.contextFunctions.at(0).providers;
}

// ---- Registration ----

TEST(RegisterKsps, BothProvidersAreRegisteredBehindAllOthers)
{
    const SimulatedRun run = CallFunction(MachineOf("{}"), "RegisterKsps");
    Expect(run, "0",
           Joined({AskForVersion(6, 0, true),
                   {Announced("Register", kTcg)},
                   RegistrationStep({RegisterProvider(kTcg), AddFunction(kTcg)}),
                   {"log: Successfully registered Kelo TCG Enabled KSP", Announced("Register", kStrongAuth)},
                   RegistrationStep({RegisterProvider(kStrongAuth), AddFunction(kStrongAuth)}),
                   {"log: Successfully registered Kelo TCG-Enabled Strong Authentication KSP"}}));
    EXPECT_THAT(KeyStorageProviders(run.After()),
                testing::ElementsAre("Microsoft Software Key Storage Provider",
                                     "Microsoft Smart Card Key Storage Provider", "Microsoft Platform Crypto Provider",
                                     kTcg, kStrongAuth));
}

TEST(RegisterKsps, TheWholeRecordIsKept)
{
    const winsim::Machine after = CallFunction(MachineOf("{}"), "RegisterKsps").After();
    const winsim::Machine expected =
        MachineOf("{\"cng\": {\"providers\": {" + Described(kTcg) + ", " + Described(kStrongAuth) + "}}}");
    EXPECT_EQ(after.cng.providers, expected.cng.providers);
}

TEST(RegisterKsps, ProvidersThatAreThereCountAsRegistered)
{
    const SimulatedRun run = CallFunction(BothRegistered(), "RegisterKsps");
    constexpr char kCollision[] = "log: BCryptRegisterProvider failed with error code 0xc0000035";
    Expect(run, "0",
           Joined({AskForVersion(6, 0, true),
                   {Announced("Register", kTcg)},
                   RegistrationStep({RegisterProvider(kTcg, "-1073741771"), kCollision}),
                   {"log: Already registered KSP Kelo TCG Enabled KSP", Announced("Register", kStrongAuth)},
                   RegistrationStep({RegisterProvider(kStrongAuth, "-1073741771"), kCollision}),
                   {"log: Already registered Kelo TCG-Enabled Strong Authentication KSP"}}));
    EXPECT_EQ(run.After().cng, run.before.cng);
}

TEST(RegisterKsps, ASecondSetUpChangesNothing)
{
    const SimulatedRun first = CallFunction(MachineOf("{}"), "RegisterKsps");
    const SimulatedRun second = CallFunction(first.After(), "RegisterKsps");
    EXPECT_EQ(second.result, "0");
    EXPECT_EQ(second.After().cng, first.After().cng);
}

TEST(RegisterKsps, AFunctionThatWasTakenAwayByHandIsNotAddedBack)
{
    const SimulatedRun run =
        CallFunction(BothRegistered(R"(["Microsoft Software Key Storage Provider"])"), "RegisterKsps");
    EXPECT_EQ(run.result, "0");
    EXPECT_THAT(KeyStorageProviders(run.After()), testing::ElementsAre("Microsoft Software Key Storage Provider"));
}

TEST(RegisterKsps, OneProviderThatIsThereDoesNotKeepTheOtherOut)
{
    const winsim::Machine machine = MachineOf("{\"cng\": {\"providers\": {" + Described(kTcg) + "}}}");
    const SimulatedRun run = CallFunction(machine, "RegisterKsps");
    EXPECT_EQ(run.result, "0");
    EXPECT_THAT(run.log, testing::ElementsAre("Register the Kelo TCG Enabled KSP",
                                              "BCryptRegisterProvider failed with error code 0xc0000035",
                                              "Already registered KSP Kelo TCG Enabled KSP",
                                              "Register the Kelo TCG-Enabled Strong Authentication KSP",
                                              "Successfully registered Kelo TCG-Enabled Strong Authentication KSP"));
}

TEST(RegisterKsps, AFirstProviderThatCannotBeRegisteredEndsTheRegistration)
{
    const SimulatedRun run =
        CallFunction(MachineOf("{}"), "RegisterKsps", {}, {.faults = {"BCryptRegisterProvider=0xC0000022"}});
    Expect(run, kFailed,
           Joined({AskForVersion(6, 0, true),
                   {Announced("Register", kTcg)},
                   RegistrationStep({RegisterProvider(kTcg, "-1073741790"),
                                     "log: BCryptRegisterProvider failed with error code 0xc0000022"})}));
}

TEST(RegisterKsps, AFirstFunctionThatCannotBeAddedEndsTheRegistration)
{
    const SimulatedRun run = CallFunction(MachineOf(R"({"cng": {"contextFunctions": []}})"), "RegisterKsps");
    Expect(run, kFailed,
           Joined({AskForVersion(6, 0, true),
                   {Announced("Register", kTcg)},
                   RegistrationStep({RegisterProvider(kTcg), AddFunction(kTcg, "-1073741275"),
                                     "log: BCryptAddContextFunctionProvider failed with error code 0xc0000225"})}));
}

TEST(RegisterKsps, ASecondProviderThatCannotBeRegisteredFailsToo)
{
    const SimulatedRun run =
        CallFunction(MachineOf("{}"), "RegisterKsps", {}, {.faults = {"BCryptRegisterProvider#2=0xC0000017"}});
    Expect(run, kFailed,
           Joined({AskForVersion(6, 0, true),
                   {Announced("Register", kTcg)},
                   RegistrationStep({RegisterProvider(kTcg), AddFunction(kTcg)}),
                   {"log: Successfully registered Kelo TCG Enabled KSP", Announced("Register", kStrongAuth)},
                   RegistrationStep({RegisterProvider(kStrongAuth, "-1073741801"),
                                     "log: BCryptRegisterProvider failed with error code 0xc0000017"})}));
}

TEST(RegisterKsps, ANameCollisionOfTheFunctionCountsAsRegisteredToo)
{
    const SimulatedRun run =
        CallFunction(MachineOf("{}"), "RegisterKsps", {}, {.faults = {"BCryptAddContextFunctionProvider=0xC0000035"}});
    EXPECT_EQ(run.result, "0");
    EXPECT_EQ(run.log.at(2), "Already registered KSP Kelo TCG Enabled KSP");
}

TEST(RegisterKsps, AWindowsWithoutTheLibraryEndsTheRegistration)
{
    Expect(
        CallFunction(MachineOf(kNoLibrary), "RegisterKsps"), kFailed,
        Joined({AskForVersion(6, 0, true),
                {Announced("Register", kTcg), R"(LoadLibraryW("bcrypt.dll"))", "log: CNG bcrypt library not found"}}));
}

TEST(RegisterKsps, AWindowsBeforeVistaIsLeftAlone)
{
    for (const char* version : {"5.1", "5.2"})
        Expect(
            CallFunction(MachineOf(std::string(R"({"windows": {"version": ")") + version + R"("}})"), "RegisterKsps"),
            "0",
            Joined(
                {AskForVersion(6, 0, false), {"log: Kelo KSPs will not be installed, target system is not Vista+"}}));
}

TEST(RegisterKsps, VistaIsNotLeftAlone)
{
    const SimulatedRun run = CallFunction(MachineOf(R"({"windows": {"version": "6.0"}})"), "RegisterKsps");
    EXPECT_EQ(run.log.size(), 4u);
    EXPECT_EQ(run.outcome.callCounts.at("BCryptAddContextFunctionProvider"), 2u);
}

// ---- Removal ----

TEST(UnregisterKsps, BothProvidersGoTheFunctionFirst)
{
    const SimulatedRun run = CallFunction(BothRegistered(), "UnregisterKsps");
    Expect(run, "0",
           Joined({AskForVersion(6, 0, true),
                   {Announced("Unregister", kTcg)},
                   RemovalStep({RemoveFunction(kTcg), UnregisterProvider(kTcg)}),
                   {"log: Successfully un-registered Kelo TCG Enabled KSP", Announced("Unregister", kStrongAuth)},
                   RemovalStep({RemoveFunction(kStrongAuth), UnregisterProvider(kStrongAuth)}),
                   {"log: Successfully un-registered Kelo TCG-Enabled Strong Authentication KSP"}}));
    EXPECT_THAT(KeyStorageProviders(run.After()), testing::ElementsAre("Microsoft Software Key Storage Provider"));
    EXPECT_EQ(run.After().cng.providers, MachineOf("{}").cng.providers);
}

TEST(UnregisterKsps, WhatTheSetUpRegisteredIsGone)
{
    const SimulatedRun setUp = CallFunction(MachineOf("{}"), "RegisterKsps");
    EXPECT_EQ(CallFunction(setUp.After(), "UnregisterKsps").After().cng, MachineOf("{}").cng);
}

TEST(UnregisterKsps, ProvidersThatAreNotThereAreTwoFailuresAndNoError)
{
    constexpr char kNotFound[] = "log: BCryptRemoveContextFunctionProvider failed with error code 0xc0000225";
    const SimulatedRun run = CallFunction(MachineOf("{}"), "UnregisterKsps");
    Expect(run, "0",
           Joined({AskForVersion(6, 0, true),
                   {Announced("Unregister", kTcg)},
                   RemovalStep({RemoveFunction(kTcg, "-1073741275"), kNotFound}),
                   {Announced("Unregister", kStrongAuth)},
                   RemovalStep({RemoveFunction(kStrongAuth, "-1073741275"), kNotFound})}));
    EXPECT_EQ(run.After().cng, run.before.cng);
}

TEST(UnregisterKsps, AFunctionThatCannotBeTakenAwayKeepsItsProvider)
{
    const SimulatedRun run = CallFunction(BothRegistered(), "UnregisterKsps", {},
                                          {.faults = {"BCryptRemoveContextFunctionProvider#1=0xC0000022"}});
    Expect(run, "0",
           Joined({AskForVersion(6, 0, true),
                   {Announced("Unregister", kTcg)},
                   RemovalStep({RemoveFunction(kTcg, "-1073741790"),
                                "log: BCryptRemoveContextFunctionProvider failed with error code 0xc0000022"}),
                   {Announced("Unregister", kStrongAuth)},
                   RemovalStep({RemoveFunction(kStrongAuth), UnregisterProvider(kStrongAuth)}),
                   {"log: Successfully un-registered Kelo TCG-Enabled Strong Authentication KSP"}}));
    EXPECT_TRUE(run.After().cng.providers.contains(kTcg));
}

TEST(UnregisterKsps, AProviderThatCannotBeUnregisteredStopsNothing)
{
    const SimulatedRun run =
        CallFunction(BothRegistered(), "UnregisterKsps", {}, {.faults = {"BCryptUnregisterProvider#1=0xC0000022"}});
    Expect(run, "0",
           Joined({AskForVersion(6, 0, true),
                   {Announced("Unregister", kTcg)},
                   RemovalStep({RemoveFunction(kTcg), UnregisterProvider(kTcg, "-1073741790"),
                                "log: BCryptUnregisterProvider failed with error code 0xc0000022"}),
                   {Announced("Unregister", kStrongAuth)},
                   RemovalStep({RemoveFunction(kStrongAuth), UnregisterProvider(kStrongAuth)}),
                   {"log: Successfully un-registered Kelo TCG-Enabled Strong Authentication KSP"}}));
}

TEST(UnregisterKsps, AWindowsWithoutTheLibraryFailsForEachProvider)
{
    Expect(CallFunction(MachineOf(kNoLibrary), "UnregisterKsps"), "0",
           Joined({AskForVersion(6, 0, true),
                   {Announced("Unregister", kTcg), R"(LoadLibraryW("bcrypt.dll"))", "log: CNG bcrypt library not found",
                    Announced("Unregister", kStrongAuth), R"(LoadLibraryW("bcrypt.dll"))",
                    "log: CNG bcrypt library not found"}}));
}

TEST(UnregisterKsps, AWindowsBeforeVistaIsLeftAloneInTheWordsOfTheRegistration)
{
    for (const char* version : {"5.1", "5.2"})
        Expect(
            CallFunction(MachineOf(std::string(R"({"windows": {"version": ")") + version + R"("}})"), "UnregisterKsps"),
            "0",
            Joined(
                {AskForVersion(6, 0, false), {"log: Kelo KSPs will not be installed, target system is not Vista+"}}));
}

// ---- The single steps ----

struct Step
{
    const char* name;
    const char* provider;
    bool isRegistration;
    const char* firstLookUp;
    const char* secondLookUp;
};

class KspStep : public testing::TestWithParam<Step>
{
protected:
    static Script Calls(const std::string& firstStatus, const std::string& secondStatus)
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
                         testing::Values(Step{"RegisterTcgKsp", kTcg, true, "BCryptRegisterProvider",
                                              "BCryptAddContextFunctionProvider"},
                                         Step{"RegisterStrongAuthKsp", kStrongAuth, true, "BCryptRegisterProvider",
                                              "BCryptAddContextFunctionProvider"},
                                         Step{"UnregisterTcgKsp", kTcg, false, "BCryptUnregisterProvider",
                                              "BCryptRemoveContextFunctionProvider"},
                                         Step{"UnregisterStrongAuthKsp", kStrongAuth, false, "BCryptUnregisterProvider",
                                              "BCryptRemoveContextFunctionProvider"}),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(KspStep, BothCallsSucceed)
{
    Expect(CallFunction(Ready(), GetParam().name), "0", WithLibrary(Calls("0", "0")));
}

TEST_P(KspStep, AFirstCallThatFailsSkipsTheSecondAndGivesItsStatus)
{
    const SimulatedRun run = CallFunction(Ready(), GetParam().name, {}, {.faults = {NameOfCall(0) + "=0xC0000001"}});
    Expect(run, "3221225473",
           WithLibrary({Calls("-1073741823", "")[0], "log: " + NameOfCall(0) + " failed with error code 0xc0000001"}));
}

TEST_P(KspStep, ASecondCallThatFailsGivesItsStatus)
{
    const SimulatedRun run = CallFunction(Ready(), GetParam().name, {}, {.faults = {NameOfCall(1) + "=0x0000000F"}});
    const Script calls = Calls("0", "15");
    Expect(run, "15",
           WithLibrary({calls[0], calls[1], "log: " + NameOfCall(1) + " failed with error code 0x0000000f"}));
}

TEST_P(KspStep, WithoutTheLibraryNothingIsCalled)
{
    Expect(CallFunction(MachineOf(kNoLibrary), GetParam().name), kCannotCall,
           {R"(LoadLibraryW("bcrypt.dll"))", "log: CNG bcrypt library not found"});
}

// A library that lacks a function is described with its name; a lookup behind the first missing one is still made, and
// so is the first call when only the second one's function is missing.
TEST_P(KspStep, AMissingFunctionEndsTheStepWhereItWouldBeCalled)
{
    const auto lacks = [](const std::vector<std::string>& names) {
        winsim::Machine machine = Ready();
        winsim::ApplyEffects(
            machine, winsim::Json{{"libraries", {{"C:\\Windows\\system32\\bcrypt.dll", {{"missing", names}}}}}});
        return machine;
    };
    const auto lookUp = [](const std::string& name, bool isThere) {
        if (isThere)
            return Script{LookUp(name)};
        return Script{LookUp(name, false), "log:  Failed to GetProcAddress for " + name};
    };
    for (const auto& [lacksFirst, lacksSecond] : {std::pair{true, false}, {false, true}, {true, true}})
    {
        std::vector<std::string> missing;
        if (lacksFirst)
            missing.push_back(NameOfCall(0));
        if (lacksSecond)
            missing.push_back(NameOfCall(1));
        const auto isThere = [&](const std::string& name) {
            return std::find(missing.begin(), missing.end(), name) == missing.end();
        };
        const std::string firstLookUp = GetParam().firstLookUp;
        const std::string secondLookUp = GetParam().secondLookUp;
        Expect(CallFunction(lacks(missing), GetParam().name), kCannotCall,
               Joined({{kLoad},
                       lookUp(firstLookUp, isThere(firstLookUp)),
                       lookUp(secondLookUp, isThere(secondLookUp)),
                       lacksFirst ? Script{} : Script{Calls("0", "")[0]},
                       {kFree}}));
    }
}

} // namespace
