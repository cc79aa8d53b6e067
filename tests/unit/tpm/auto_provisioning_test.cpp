// Proves where Windows' automatic provisioning of the TPM is switched, by which calls, and that each is given back.
#include "tests/support/expected_script.h"
#include "tests/support/simulated_run.h"
#include "tests/support/version_script.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using testing::ElementsAreArray;

constexpr char kEnter[] = "CoInitializeEx(null, 0) = 0";
constexpr char kLeave[] = "CoUninitialize()";
constexpr char kTooOld[] = "log: Target system is not Win8+";

const Script kAskForWow64{R"(GetCurrentProcess() = "process#current")",
                          R"(IsWow64Process("process#current") = 1 Wow64Process:0)"};

// The calls of the switch as they are made, and the result and output of each when it succeeds. The locator and the
// class are released on the way, and their numbers taken again.
struct WmiCall
{
    const char* name; // as faults name it
    const char* call;
    const char* outcome;
};

constexpr char kArgumentsOfCreate[] = R"(CoCreateInstance("{CB8555CC-9128-11D1-AD9B-00C04FD8FDFF}", null, 1, )"
                                      R"("{DC12A687-737F-11CF-884D-00AA004B2E24}") = )";
constexpr char kConnect[] = R"(IWbemLocator::ConnectServer("comObject#1", "root\\CIMV2\\Security\\MicrosoftTpm", )"
                            "null, null, null, 0, null, null) = ";

const std::vector<WmiCall> kDisable{
    {"CoCreateInstance", kArgumentsOfCreate, R"(0 ppv:"comObject#1")"},
    {"IWbemLocator::ConnectServer", kConnect, R"(0 ppNamespace:"comObject#2")"},
    {"CoSetProxyBlanket", R"(CoSetProxyBlanket("comObject#2", 10, 0, null, 3, 3, null, 0) = )", "0"},
    {"IWbemServices::GetObject", R"(IWbemServices::GetObject("comObject#2", "Win32_TPM", 0, null, false) = )",
     R"(0 ppObject:"comObject#1")"},
    {"IWbemClassObject::GetMethod",
     R"(IWbemClassObject::GetMethod("comObject#1", "DisableAutoProvisioning", 0, true, false) = )",
     R"(0 ppInSignature:"comObject#3")"},
    {"IWbemClassObject::SpawnInstance", R"(IWbemClassObject::SpawnInstance("comObject#3", 0) = )",
     R"(0 ppNewInstance:"comObject#4")"},
    {"IWbemClassObject::Put",
     R"(IWbemClassObject::Put("comObject#4", "OnlyForNextBoot", 0, {"vt":11,"boolVal":0}, 0) = )", "0"},
    {"IWbemServices::ExecMethod",
     R"(IWbemServices::ExecMethod("comObject#2", "Win32_TPM=@", "DisableAutoProvisioning", 0, null, "comObject#4", )"
     R"(true, false) = )",
     R"(0 ppOutParams:"comObject#1" ReturnValue:0)"},
};

const std::vector<WmiCall> kEnable{
    kDisable[0],
    kDisable[1],
    kDisable[2],
    {"IWbemServices::ExecMethod",
     R"(IWbemServices::ExecMethod("comObject#2", "Win32_TPM=@", "EnableAutoProvisioning", 0, null, null, true, )"
     R"(false) = )",
     R"(0 ppOutParams:"comObject#1" ReturnValue:0)"},
};

// The calls without the releases between them, the last of them with another outcome.
Script CallsOf(const std::vector<WmiCall>& calls, std::size_t count, const std::string& lastOutcome)
{
    Script script;
    for (std::size_t i = 0; i < count; ++i)
        script.push_back(calls[i].call + (i + 1 == count ? lastOutcome : calls[i].outcome));
    return script;
}

Script CallsOf(const std::vector<WmiCall>& calls)
{
    return CallsOf(calls, calls.size(), calls.back().outcome);
}

bool IsRelease(const std::string& line)
{
    return line.find("::Release(") != std::string::npos;
}

// What a run did inside the apartment, without the releases: that all is given back is checked on every run.
Script WithoutReleases(const SimulatedRun& run)
{
    Script script = run.script;
    std::erase_if(script, &IsRelease);
    return script;
}

Script InApartment(const Script& script)
{
    return Joined({{kEnter}, script, {kLeave}});
}

winsim::Machine Windows(const std::string& version)
{
    return MachineOf(R"({"windows": {"version": ")" + version + R"("}})");
}

// ---- The gates ----

TEST(Win8Install, OnWindows7NothingIsDone)
{
    for (const char* version : {"5.2", "6.0", "6.1"})
    {
        for (const char* flag : {"true", "false"})
        {
            const SimulatedRun run = CallFunction(Windows(version), "Win8Install", {flag});
            EXPECT_EQ(run.result, "0");
            EXPECT_THAT(run.script, ElementsAreArray(InApartment(Joined({AskForVersion(6, 2, false), {kTooOld}}))));
        }
    }
}

TEST(Win8Install, FromWindows8OnTheFlagSwitchesOff)
{
    for (const char* version : {"6.2", "6.3", "10.0"})
    {
        const SimulatedRun run = CallFunction(Windows(version), "Win8Install", {"true"});
        EXPECT_EQ(run.result, "0");
        EXPECT_THAT(WithoutReleases(run), ElementsAreArray(InApartment(
                                              Joined({AskForVersion(6, 2, true), kAskForWow64, CallsOf(kDisable)}))));
        EXPECT_THAT(run.log, testing::IsEmpty());
        EXPECT_FALSE(run.After().wmi.autoProvisioning);
    }
}

TEST(Win8Install, WithoutTheFlagWindows8IsOnlyChecked)
{
    const SimulatedRun run = CallFunction(Windows("6.2"), "Win8Install", {"false"});
    EXPECT_EQ(run.result, "0");
    EXPECT_THAT(run.script, ElementsAreArray(InApartment(Joined({AskForVersion(6, 2, true), kAskForWow64}))));
    EXPECT_TRUE(run.After().wmi.autoProvisioning);
}

// What a check that ends early leaves, for the installation and the removal alike.
void ExpectCheck(const winsim::Machine& machine, const SimulatedRunOptions& options, const char* result,
                 const Script& script)
{
    for (const char* step : {"Win8Install", "Win8Uninstall"})
    {
        const SimulatedRun run = CallFunction(machine, step, {"true"}, options);
        EXPECT_EQ(run.result, result) << step;
        EXPECT_THAT(run.script, ElementsAreArray(InApartment(script))) << step;
        EXPECT_THAT(run.log, ElementsAreArray(LogOf(script))) << step;
    }
}

TEST(Win8Checks, A32BitProcessOn64BitWindowsIsRefusedInTheWordsOfTheInstallation)
{
    ExpectCheck(MachineOf(R"({"windows": {"wow64": true}})"), {}, "0",
                Joined({AskForVersion(6, 2, true),
                        {R"(GetCurrentProcess() = "process#current")",
                         R"(IsWow64Process("process#current") = 1 Wow64Process:1)",
                         "log: Win8Install - This is a x86 process running on x64 system don't execute!"}}));
}

TEST(Win8Checks, AProcessThatCannotBeAskedIsAFailure)
{
    ExpectCheck(MachineOf("{}"), {.faults = {"IsWow64Process=5"}}, "-1",
                Joined({AskForVersion(6, 2, true),
                        {R"(GetCurrentProcess() = "process#current")", R"(IsWow64Process("process#current") = 0)",
                         "log: Win8Install - failed to detect process on host os type: 5"}}));
}

TEST(Win8Checks, BeforeWindows8TheLineIsTheSame)
{
    ExpectCheck(Windows("6.1"), {}, "0", Joined({AskForVersion(6, 2, false), {kTooOld}}));
}

TEST(Win8Uninstall, ChecksAndNeverSwitches)
{
    const SimulatedRun run = CallFunction(MachineOf(R"({"wmi": {"autoProvisioning": false}})"), "Win8Uninstall");
    EXPECT_EQ(run.result, "0");
    EXPECT_THAT(run.script, ElementsAreArray(InApartment(Joined({AskForVersion(6, 2, true), kAskForWow64}))));
    EXPECT_FALSE(run.After().wmi.autoProvisioning);
}

TEST(Win8Install, AFailingSwitchIsNotReported)
{
    for (const WmiCall& call : kDisable)
    {
        const SimulatedRun run = CallFunction(MachineOf("{}"), "Win8Install", {"true"},
                                              {.faults = {std::string(call.name) + "=0x80041001"}});
        EXPECT_EQ(run.result, "0") << call.name;
        EXPECT_THAT(run.log, testing::IsEmpty()) << call.name;
        EXPECT_TRUE(run.After().wmi.autoProvisioning) << call.name;
    }
}

// ---- The switch ----

TEST(SetAutoProvisioning, SwitchesOffForGoodAndReleasesEverything)
{
    const SimulatedRun run = CallFunction(MachineOf("{}"), "SetAutoProvisioning", {"false"});
    EXPECT_EQ(run.result, "0");
    const Script calls = CallsOf(kDisable);
    EXPECT_THAT(run.script, ElementsAreArray(InApartment(
                                {calls[0], calls[1], calls[2], R"(IWbemLocator::Release("comObject#1") = 0)", calls[3],
                                 calls[4], calls[5], calls[6], R"(IWbemClassObject::Release("comObject#3") = 0)",
                                 R"(IWbemClassObject::Release("comObject#1") = 0)", calls[7],
                                 R"(IWbemClassObject::Release("comObject#1") = 0)",
                                 R"(IWbemClassObject::Release("comObject#4") = 0)",
                                 R"(IWbemServices::Release("comObject#2") = 0)"})));
    EXPECT_FALSE(run.After().wmi.autoProvisioning);
    EXPECT_EQ(run.outcome.callCounts.at("SysAllocString"), run.outcome.callCounts.at("SysFreeString"));
    EXPECT_EQ(run.outcome.callCounts.at("VariantClear"), 1u);
}

TEST(SetAutoProvisioning, SwitchesOnWithoutInput)
{
    const SimulatedRun run =
        CallFunction(MachineOf(R"({"wmi": {"autoProvisioning": false}})"), "SetAutoProvisioning", {"true"});
    EXPECT_EQ(run.result, "0");
    const Script calls = CallsOf(kEnable);
    EXPECT_THAT(run.script, ElementsAreArray(InApartment({calls[0], calls[1], calls[2],
                                                          R"(IWbemLocator::Release("comObject#1") = 0)", calls[3],
                                                          R"(IWbemClassObject::Release("comObject#1") = 0)",
                                                          R"(IWbemServices::Release("comObject#2") = 0)"})));
    EXPECT_TRUE(run.After().wmi.autoProvisioning);
}

// Every call in turn fails: it is the last one, and a run that keeps anything fails the test by itself.
void ExpectEachFailureEndsIt(const char* enable, const std::vector<WmiCall>& calls)
{
    for (std::size_t i = 0; i < calls.size(); ++i)
    {
        const SimulatedRun run = CallFunction(MachineOf("{}"), "SetAutoProvisioning", {enable},
                                              {.faults = {std::string(calls[i].name) + "=0x80041001"}});
        EXPECT_EQ(run.result, "-1") << calls[i].name;
        EXPECT_THAT(WithoutReleases(run), ElementsAreArray(InApartment(CallsOf(calls, i + 1, "-2147217407"))))
            << calls[i].name;
        EXPECT_THAT(run.log, testing::IsEmpty()) << calls[i].name;
        EXPECT_TRUE(run.After().wmi.autoProvisioning) << calls[i].name;
    }
}

TEST(SetAutoProvisioning, EachFailingCallEndsTheSwitchingOff)
{
    ExpectEachFailureEndsIt("false", kDisable);
}

TEST(SetAutoProvisioning, EachFailingCallEndsTheSwitchingOn)
{
    ExpectEachFailureEndsIt("true", kEnable);
}

TEST(SetAutoProvisioning, ASuccessThatGivesNoObjectEndsItLikeAFailure)
{
    constexpr std::size_t kGivers[] = {0, 1, 3, 4, 5};
    for (const std::size_t i : kGivers)
    {
        const SimulatedRun run = CallFunction(MachineOf("{}"), "SetAutoProvisioning", {"false"},
                                              {.faults = {std::string(kDisable[i].name) + "=1"}}); // S_FALSE
        EXPECT_EQ(run.result, "-1") << kDisable[i].name;
        EXPECT_THAT(WithoutReleases(run), ElementsAreArray(InApartment(CallsOf(kDisable, i + 1, "1"))))
            << kDisable[i].name;
        EXPECT_THAT(run.log, testing::IsEmpty()) << kDisable[i].name;
        EXPECT_TRUE(run.After().wmi.autoProvisioning) << kDisable[i].name;
    }
}

TEST(SetAutoProvisioning, EachDescribedFailureEndsTheSwitchingOff)
{
    for (std::size_t i = 0; i < kDisable.size(); ++i)
    {
        const winsim::Machine machine =
            MachineOf(std::string(R"({"wmi": {"failures": {")") + kDisable[i].name + R"(": "E_FAIL"}}})");
        const SimulatedRun run = CallFunction(machine, "SetAutoProvisioning", {"false"});
        EXPECT_EQ(run.result, "-1") << kDisable[i].name;
        EXPECT_THAT(WithoutReleases(run), ElementsAreArray(InApartment(CallsOf(kDisable, i + 1, "-2147467259"))))
            << kDisable[i].name;
    }
}

TEST(SetAutoProvisioning, EachStringThatCannotBeMadeEndsItBeforeAnyCall)
{
    constexpr unsigned kStrings = 7;
    for (unsigned i = 1; i <= kStrings; ++i)
    {
        for (const char* enable : {"true", "false"})
        {
            const SimulatedRun run = CallFunction(MachineOf("{}"), "SetAutoProvisioning", {enable},
                                                  {.faults = {"SysAllocString#" + std::to_string(i) + "=14"}});
            EXPECT_EQ(run.result, "-1") << i;
            EXPECT_THAT(run.script, testing::ElementsAre(kEnter, kLeave)) << i;
        }
    }
}

TEST(SetAutoProvisioning, TheStringThatIsNotUsedIsMadeToo)
{
    const SimulatedRun run = CallFunction(MachineOf("{}"), "SetAutoProvisioning", {"true"});
    EXPECT_EQ(run.outcome.callCounts.at("SysAllocString"), 7u);
}

TEST(SetAutoProvisioning, ASystemWithoutTheNamespaceFailsAtTheConnection)
{
    const winsim::Machine machine =
        MachineOf(R"({"wmi": {"namespaces": {"root\\CIMV2\\Security\\MicrosoftTpm": null}}})");
    const SimulatedRun run = CallFunction(machine, "SetAutoProvisioning", {"false"});
    EXPECT_EQ(run.result, "-1");
    EXPECT_THAT(WithoutReleases(run), ElementsAreArray(InApartment(CallsOf(kDisable, 2, "-2147217394"))));
}

constexpr char kNamespace[] = R"({"wmi": {"namespaces": {"root\\CIMV2\\Security\\MicrosoftTpm": )";

TEST(SetAutoProvisioning, ANamespaceWithoutTheClassFailsThere)
{
    const SimulatedRun run = CallFunction(MachineOf(std::string(kNamespace) + R"({"classes": {"Win32_TPM": null}}}}})"),
                                          "SetAutoProvisioning", {"false"});
    EXPECT_EQ(run.result, "-1");
    EXPECT_THAT(WithoutReleases(run), ElementsAreArray(InApartment(CallsOf(kDisable, 4, "-2147217406"))));
}

TEST(SetAutoProvisioning, AClassWithoutTheMethodFailsThere)
{
    const SimulatedRun run =
        CallFunction(MachineOf(std::string(kNamespace) +
                               R"({"classes": {"Win32_TPM": {"methods": {"DisableAutoProvisioning": null}}}}}}})"),
                     "SetAutoProvisioning", {"false"});
    EXPECT_EQ(run.result, "-1");
    EXPECT_THAT(WithoutReleases(run), ElementsAreArray(InApartment(CallsOf(kDisable, 5, "-2147217406"))));
}

TEST(SetAutoProvisioning, AMethodThatTakesNothingHasNoDefinitionToFill)
{
    const SimulatedRun run = CallFunction(
        MachineOf(std::string(kNamespace) +
                  R"({"classes": {"Win32_TPM": {"methods": {"DisableAutoProvisioning": {"parameters": null}}}}}}}})"),
        "SetAutoProvisioning", {"false"});
    EXPECT_EQ(run.result, "-1");
    EXPECT_THAT(WithoutReleases(run), ElementsAreArray(InApartment(CallsOf(kDisable, 5, "0 ppInSignature:null"))));
}

TEST(SetAutoProvisioning, AMachineWithoutATpmFailsAtTheMethod)
{
    const SimulatedRun run =
        CallFunction(MachineOf(std::string(kNamespace) + R"({"classes": {"Win32_TPM": {"instances": []}}}}}})"),
                     "SetAutoProvisioning", {"false"});
    EXPECT_EQ(run.result, "-1");
    EXPECT_THAT(WithoutReleases(run), ElementsAreArray(InApartment(CallsOf(kDisable, 8, "-2147217406"))));
}

TEST(SetAutoProvisioning, TheTpmsOwnAnswerIsNotLookedAt)
{
    const SimulatedRun run = CallFunction(
        MachineOf(std::string(kNamespace) +
                  R"({"classes": {"Win32_TPM": {"methods": {"DisableAutoProvisioning": {"returnValue": 5}}}}}}}})"),
        "SetAutoProvisioning", {"false"});
    EXPECT_EQ(run.result, "0");
    EXPECT_THAT(WithoutReleases(run),
                ElementsAreArray(InApartment(CallsOf(kDisable, 8, R"(0 ppOutParams:"comObject#1" ReturnValue:5)"))));
    EXPECT_TRUE(run.After().wmi.autoProvisioning);
}

TEST(SetAutoProvisioning, AnApartmentOfAnotherKindWillDo)
{
    const SimulatedRun run =
        CallFunction(MachineOf("{}"), "SetAutoProvisioning", {"false"}, {.faults = {"CoInitializeEx=0x80010106"}});
    EXPECT_EQ(run.result, "0");
}

TEST(SetAutoProvisioning, AnApartmentThatWasEnteredBeforeWillDo)
{
    const SimulatedRun run =
        CallFunction(MachineOf("{}"), "SetAutoProvisioning", {"false"}, {.faults = {"CoInitializeEx=1"}});
    EXPECT_EQ(run.result, "0");
}

TEST(SetAutoProvisioning, WithoutAnyApartmentTheCallsAreAttemptedAllTheSame)
{
    const SimulatedRun run =
        CallFunction(MachineOf("{}"), "SetAutoProvisioning", {"false"}, {.faults = {"CoInitializeEx=0x8007000E"}});
    EXPECT_EQ(run.result, "-1");
    EXPECT_THAT(run.script, testing::ElementsAre("CoInitializeEx(null, 0) = -2147024882",
                                                 std::string(kArgumentsOfCreate) + "-2147221008", kLeave));
}

} // namespace
