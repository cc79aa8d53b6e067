// Proves where Windows' automatic provisioning of the TPM is switched and by which calls, and that every object is
// released.
#include "tests/support/simulated_run.h"
#include "tests/support/windows_script.h"

#include <gtest/gtest.h>

namespace
{

using winsim::Json;

const std::string kEnter = Call("CoInitializeEx", {nullptr, 0}, 0);
const std::string kLeave = Call("CoUninitialize");
constexpr char kTooOld[] = "log: Target system is not Win8+";

// The calls of the switch, each with its result on success.
const std::string kCreate =
    Call("CoCreateInstance",
         {"{CB8555CC-9128-11D1-AD9B-00C04FD8FDFF}", nullptr, 1, "{DC12A687-737F-11CF-884D-00AA004B2E24}"}, 0,
         {{"ppv", "comObject#1"}});
const std::string kConnect =
    Call("IWbemLocator::ConnectServer",
         {"comObject#1", R"(root\CIMV2\Security\MicrosoftTpm)", nullptr, nullptr, nullptr, 0, nullptr, nullptr}, 0,
         {{"ppNamespace", "comObject#2"}});
const std::string kBlanket = Call("CoSetProxyBlanket", {"comObject#2", 10, 0, nullptr, 3, 3, nullptr, 0}, 0);

std::string Execute(const char* method, const Json& input, unsigned answer = 0)
{
    return Call("IWbemServices::ExecMethod", {"comObject#2", "Win32_TPM=@", method, 0, nullptr, input, true, false}, 0,
                {{"ppOutParams", "comObject#1"}, {"ReturnValue", answer}});
}

const Script kDisable = {
    kCreate,
    kConnect,
    kBlanket,
    Call("IWbemServices::GetObject", {"comObject#2", "Win32_TPM", 0, nullptr, false}, 0, {{"ppObject", "comObject#1"}}),
    Call("IWbemClassObject::GetMethod", {"comObject#1", "DisableAutoProvisioning", 0, true, false}, 0,
         {{"ppInSignature", "comObject#3"}}),
    Call("IWbemClassObject::SpawnInstance", {"comObject#3", 0}, 0, {{"ppNewInstance", "comObject#4"}}),
    Call("IWbemClassObject::Put", {"comObject#4", "OnlyForNextBoot", 0, {{"vt", 11}, {"boolVal", 0}}, 0}, 0),
    Execute("DisableAutoProvisioning", "comObject#4")};

const Script kEnable = {kCreate, kConnect, kBlanket, Execute("EnableAutoProvisioning", nullptr)};

// A call's name, as faults use it.
std::string NameOf(const std::string& call)
{
    return call.substr(0, call.find('('));
}

// The first `count` calls, without the releases between them. The last of them returns another status.
Script CallsUpTo(const Script& calls, std::size_t count, int status)
{
    return {Script(calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(count) - 1),
            Failing(calls[count - 1], status)};
}

bool IsRelease(const std::string& line)
{
    return line.find("::Release(") != std::string::npos;
}

// The calls of a run inside the apartment, without the releases: every run already fails its test if it keeps an
// object.
Script WithoutReleases(const SimulatedRun& run)
{
    Script script = run.script;
    std::erase_if(script, &IsRelease);
    return script;
}

Script InApartment(const Script& script)
{
    return {kEnter, script, kLeave};
}

// Expects these calls, and that nothing is logged. Releases are left out: every run already fails its test if it keeps
// an object.
void ExpectCalls(const SimulatedRun& run, const char* result, const Script& calls)
{
    ExpectLog(run, result, {});
    ExpectLines(WithoutReleases(run), InApartment(calls), "the script");
}

// ---- The gates ----

TEST(Win8Install, OnWindows7NothingIsDone)
{
    for (const char* version : {"5.2", "6.0", "6.1"})
    {
        for (const char* flag : {"true", "false"})
            ExpectRun(CallFunction(WindowsOf(version), "Win8Install", {flag}), "0",
                      InApartment({AskForVersion(6, 2, false), kTooOld}));
    }
}

TEST(Win8Install, FromWindows8OnTheFlagSwitchesOff)
{
    for (const char* version : {"6.2", "6.3", "10.0"})
    {
        const SimulatedRun run = CallFunction(WindowsOf(version), "Win8Install", {"true"});
        ExpectCalls(run, "0", {AskForVersion(6, 2, true), AskForWow64(), kDisable});
        EXPECT_FALSE(run.After().wmi.autoProvisioning);
    }
}

TEST(Win8Install, WithoutTheFlagWindows8IsOnlyChecked)
{
    const SimulatedRun run = CallFunction(WindowsOf("6.2"), "Win8Install", {"false"});
    ExpectRun(run, "0", InApartment({AskForVersion(6, 2, true), AskForWow64()}));
    EXPECT_TRUE(run.After().wmi.autoProvisioning);
}

// Expects a check that ends early, the same for the installation and the removal.
void ExpectCheck(const winsim::Machine& machine, const SimulatedRunOptions& options, const char* result,
                 const Script& script)
{
    for (const char* step : {"Win8Install", "Win8Uninstall"})
    {
        SCOPED_TRACE(step);
        ExpectRun(CallFunction(machine, step, {"true"}, options), result, InApartment(script));
    }
}

TEST(Win8Checks, A32BitProcessOn64BitWindowsIsRefusedInTheWordsOfTheInstallation)
{
    ExpectCheck(MachineOf(R"({"windows": {"wow64": true}})"), {}, "0",
                {AskForVersion(6, 2, true), AskForWow64(true),
                 "log: Win8Install - This is a x86 process running on x64 system don't execute!"});
}

TEST(Win8Checks, AProcessThatCannotBeAskedIsAFailure)
{
    ExpectCheck(MachineOf("{}"), {.faults = {"IsWow64Process=5"}}, "-1",
                {AskForVersion(6, 2, true), AskForWow64()[0], Failing(AskForWow64()[1], 0),
                 "log: Win8Install - failed to detect process on host os type: 5"});
}

TEST(Win8Checks, BeforeWindows8TheLineIsTheSame)
{
    ExpectCheck(WindowsOf("6.1"), {}, "0", {AskForVersion(6, 2, false), kTooOld});
}

TEST(Win8Uninstall, ChecksAndNeverSwitches)
{
    const SimulatedRun run = CallFunction(MachineOf(R"({"wmi": {"autoProvisioning": false}})"), "Win8Uninstall");
    ExpectRun(run, "0", InApartment({AskForVersion(6, 2, true), AskForWow64()}));
    EXPECT_FALSE(run.After().wmi.autoProvisioning);
}

TEST(Win8Install, AFailingSwitchIsNotReported)
{
    for (const std::string& call : kDisable)
    {
        const SimulatedRun run = CallFunction("Win8Install", {"true"}, {.faults = {NameOf(call) + "=0x80041001"}});
        ExpectLog(run, "0", {});
        EXPECT_TRUE(run.After().wmi.autoProvisioning) << NameOf(call);
    }
}

// ---- The switch ----

SimulatedRun Switch(const char* enable, const winsim::Machine& machine = MachineOf("{}"),
                    const SimulatedRunOptions& options = {})
{
    return CallFunction(machine, "SetAutoProvisioning", {enable}, options);
}

std::string Release(const std::string& interface, const char* object)
{
    return Call(interface + "::Release", {object}, 0);
}

TEST(SetAutoProvisioning, SwitchesOffForGoodAndReleasesEverything)
{
    const SimulatedRun run = Switch("false");
    const Script& calls = kDisable;
    ExpectRun(
        run, "0",
        InApartment({calls[0], calls[1], calls[2], Release("IWbemLocator", "comObject#1"), calls[3], calls[4], calls[5],
                     calls[6], Release("IWbemClassObject", "comObject#3"), Release("IWbemClassObject", "comObject#1"),
                     calls[7], Release("IWbemClassObject", "comObject#1"), Release("IWbemClassObject", "comObject#4"),
                     Release("IWbemServices", "comObject#2")}));
    EXPECT_FALSE(run.After().wmi.autoProvisioning);
    EXPECT_EQ(run.outcome.callCounts.at("SysAllocString"), run.outcome.callCounts.at("SysFreeString"));
    EXPECT_EQ(run.outcome.callCounts.at("VariantClear"), 1u);
}

TEST(SetAutoProvisioning, SwitchesOnWithoutInput)
{
    const SimulatedRun run = Switch("true", MachineOf(R"({"wmi": {"autoProvisioning": false}})"));
    const Script& calls = kEnable;
    ExpectRun(run, "0",
              InApartment({calls[0], calls[1], calls[2], Release("IWbemLocator", "comObject#1"), calls[3],
                           Release("IWbemClassObject", "comObject#1"), Release("IWbemServices", "comObject#2")}));
    EXPECT_TRUE(run.After().wmi.autoProvisioning);
}

// Each call in turn fails and is then the last one. A run that keeps an object fails the test by itself.
void ExpectEachFailureEndsIt(const char* enable, const Script& calls)
{
    constexpr std::pair<const char*, int> kStatuses[] = {{"=0x80041001", -2147217407}, {"=0xFFFFFFFF", -1}};
    for (std::size_t i = 0; i < calls.size(); ++i)
    {
        for (const auto& [fault, status] : kStatuses)
        {
            const SimulatedRun run = Switch(enable, MachineOf("{}"), {.faults = {NameOf(calls[i]) + fault}});
            ExpectCalls(run, "-1", CallsUpTo(calls, i + 1, status));
            EXPECT_TRUE(run.After().wmi.autoProvisioning) << NameOf(calls[i]);
        }
    }
}

TEST(SetAutoProvisioning, EachFailingCallEndsTheSwitchingOffOrOn)
{
    ExpectEachFailureEndsIt("false", kDisable);
    ExpectEachFailureEndsIt("true", kEnable);
}

TEST(SetAutoProvisioning, ASuccessThatGivesNoObjectEndsItLikeAFailure)
{
    constexpr std::size_t kGivers[] = {0, 1, 3, 4, 5};
    for (const std::size_t i : kGivers)
    {
        const SimulatedRun run = Switch("false", MachineOf("{}"), {.faults = {NameOf(kDisable[i]) + "=1"}}); // S_FALSE
        ExpectCalls(run, "-1", CallsUpTo(kDisable, i + 1, 1));
        EXPECT_TRUE(run.After().wmi.autoProvisioning) << NameOf(kDisable[i]);
    }
}

TEST(SetAutoProvisioning, EachDescribedFailureEndsTheSwitchingOff)
{
    for (std::size_t i = 0; i < kDisable.size(); ++i)
        ExpectCalls(Switch("false", MachineOf(std::string(R"({"wmi": {"failures": {")") + NameOf(kDisable[i]) +
                                              R"(": "E_FAIL"}}})")),
                    "-1", CallsUpTo(kDisable, i + 1, -2147467259));
}

TEST(SetAutoProvisioning, EachStringThatCannotBeMadeEndsItBeforeAnyCall)
{
    constexpr unsigned kStrings = 7;
    for (unsigned i = 1; i <= kStrings; ++i)
    {
        for (const char* enable : {"true", "false"})
            ExpectRun(Switch(enable, MachineOf("{}"), {.faults = {"SysAllocString#" + std::to_string(i) + "=14"}}),
                      "-1", {kEnter, kLeave});
    }
}

TEST(SetAutoProvisioning, TheStringThatIsNotUsedIsMadeToo)
{
    const SimulatedRun run = Switch("true");
    Script strings;
    for (const winsim::CallRecord& call : run.outcome.calls)
    {
        if (call.name == "SysAllocString")
            strings.push_back(call.in["psz"].get<std::string>());
    }
    EXPECT_EQ(strings, (Script{R"(root\CIMV2\Security\MicrosoftTpm)", "Win32_TPM", "Win32_TPM=@",
                               "DisableAutoProvisioning", "EnableAutoProvisioning", "OnlyForNextBoot", "WQL"}));
}

// A machine with changes to the TPM's WMI class.
winsim::Machine WithTpmClass(const char* changes)
{
    const Json classes = {{"Win32_TPM", Json::parse(changes)}};
    return Changed(MachineOf("{}"),
                   {{"wmi", {{"namespaces", {{R"(root\CIMV2\Security\MicrosoftTpm)", {{"classes", classes}}}}}}}});
}

TEST(SetAutoProvisioning, WhateverTheMachineLacksFailsThere)
{
    const std::tuple<const char*, winsim::Machine, std::size_t, int> cases[] = {
        {"the namespace", MachineOf(R"({"wmi": {"namespaces": {"root\\CIMV2\\Security\\MicrosoftTpm": null}}})"), 2,
         -2147217394},
        {"the class", WithTpmClass("null"), 4, -2147217406},
        {"the method", WithTpmClass(R"({"methods": {"DisableAutoProvisioning": null}})"), 5, -2147217406},
        {"the TPM", WithTpmClass(R"({"instances": []})"), 8, -2147217406},
    };
    for (const auto& [lacking, machine, calls, status] : cases)
    {
        SCOPED_TRACE(lacking);
        ExpectCalls(Switch("false", machine), "-1", CallsUpTo(kDisable, calls, status));
    }
}

TEST(SetAutoProvisioning, AMethodThatTakesNothingHasNoDefinitionToFill)
{
    ExpectCalls(Switch("false", WithTpmClass(R"({"methods": {"DisableAutoProvisioning": {"parameters": null}}})")),
                "-1",
                {Script(kDisable.begin(), kDisable.begin() + 4),
                 Call("IWbemClassObject::GetMethod", {"comObject#1", "DisableAutoProvisioning", 0, true, false}, 0,
                      {{"ppInSignature", nullptr}})});
}

TEST(SetAutoProvisioning, TheTpmsOwnAnswerIsNotLookedAt)
{
    const SimulatedRun run =
        Switch("false", WithTpmClass(R"({"methods": {"DisableAutoProvisioning": {"returnValue": 5}}})"));
    ExpectCalls(run, "0",
                {Script(kDisable.begin(), kDisable.begin() + 7), Execute("DisableAutoProvisioning", "comObject#4", 5)});
    EXPECT_TRUE(run.After().wmi.autoProvisioning);
}

TEST(SetAutoProvisioning, AnApartmentOfAnotherKindOrOneThatWasEnteredBeforeWillDo)
{
    for (const char* fault : {"CoInitializeEx=0x80010106", "CoInitializeEx=1"})
        EXPECT_EQ(Switch("false", MachineOf("{}"), {.faults = {fault}}).result, "0") << fault;
}

TEST(SetAutoProvisioning, WithoutAnyApartmentTheCallsAreAttemptedAllTheSame)
{
    ExpectRun(Switch("false", MachineOf("{}"), {.faults = {"CoInitializeEx=0x8007000E"}}), "-1",
              {Failing(kEnter, -2147024882), Failing(kCreate, -2147221008), kLeave});
}

} // namespace
