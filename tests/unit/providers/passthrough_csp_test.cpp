// Proves which provider the pass-through CSP is given, and how a registry that refuses access is handled.
#include "tests/support/windows_script.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <span>

namespace
{

using winsim::Json;

constexpr const char* kProviders[] = {
    "Microsoft Enhanced RSA and AES Cryptographic Provider (Prototype)",
    "Microsoft Enhanced RSA and AES Cryptographic Provider",
    "Microsoft Enhanced Cryptographic Provider v1.0",
    "Microsoft Strong Cryptographic Provider",
    "Microsoft Base Cryptographic Provider v1.0",
};

constexpr char kCapiKey[] = R"(HKLM\SOFTWARE\Kelo Systems Corp.\Keystead CSP Persistent\CAPI)";

// A machine with only these providers.
winsim::Machine MachineWithProviders(std::span<const char* const> providers)
{
    // The plain machine has all of these but the first.
    Json machine = Json::object();
    for (const std::string provider : kProviders)
    {
        const bool isThere = std::find(providers.begin(), providers.end(), provider) != providers.end();
        if (isThere || provider != kProviders[0])
            machine["registry"][R"(HKLM\SOFTWARE\Microsoft\Cryptography\Defaults\Provider\)" + provider] =
                isThere ? Json::object() : Json();
    }
    return winsim::Machine::FromJson(machine);
}

// The value as the machine holds it, or "(none)".
Json ChosenProvider(const winsim::Machine& machine)
{
    const Json registry = machine.ToJson()["registry"];
    if (!registry.contains(kCapiKey) || !registry[kCapiKey].contains("values"))
        return "(none)";
    return registry[kCapiKey]["values"];
}

SimulatedRun Select(const winsim::Machine& machine, const SimulatedRunOptions& options = {})
{
    return CallFunction(machine, "SetPassthroughCsp", {"0"}, options);
}

std::string OpenProvider(const std::string& name)
{
    return OpenKey(R"(SOFTWARE\Microsoft\Cryptography\Defaults\Provider\)" + name, 1);
}

TEST(SetPassthroughCsp, TakesTheBestThatIsThereAndLooksNoFurther)
{
    for (std::size_t best = 0; best < std::size(kProviders); ++best)
    {
        const SimulatedRun run = Select(MachineWithProviders(std::span(kProviders).subspan(best)));
        ExpectLog(run, "0", {});
        EXPECT_EQ(ChosenProvider(run.After()), Json({{"PassthroughCSP", kProviders[best]}}));
        EXPECT_EQ(run.outcome.callCounts.at("RegOpenKeyExA"), best + 1);
    }
}

TEST(SetPassthroughCsp, EachProviderAloneIsTaken)
{
    for (const char* provider : kProviders)
        EXPECT_EQ(ChosenProvider(Select(MachineWithProviders({&provider, 1})).After()),
                  Json({{"PassthroughCSP", provider}}));
}

TEST(SetPassthroughCsp, OpensEachKeyToReadItAndClosesIt)
{
    const SimulatedRun run = Select(MachineWithProviders(std::span(kProviders).last(1)));
    Script passedOver;
    for (const char* provider : std::span(kProviders).first(4))
        passedOver.push_back(Failing(OpenProvider(provider), 2));
    ExpectRun(
        run, "0",
        {passedOver, OpenProvider(kProviders[4]), kCloseKey,
         Call("RegCreateKeyExA",
              {"HKEY_LOCAL_MACHINE", R"(SOFTWARE\Kelo Systems Corp.\Keystead CSP Persistent\CAPI)", 0, nullptr, 0,
               kAllOfKey, nullptr},
              0, {{"lpdwDisposition", 1}, {"phkResult", "key#1"}}),
         Call("RegSetValueExA", {"key#1", "PassthroughCSP", 0, 1, "Microsoft Base Cryptographic Provider v1.0", 43}, 0),
         kCloseKey});
}

TEST(SetPassthroughCsp, WithoutAnyProviderAnEmptyTextOfOneByteIsWritten)
{
    const SimulatedRun run = Select(MachineWithProviders({}));
    EXPECT_EQ(run.result, "0");
    EXPECT_EQ(ChosenProvider(run.After()), Json({{"PassthroughCSP", ""}}));
    EXPECT_THAT(run.script, testing::Contains(Call("RegSetValueExA", {"key#1", "PassthroughCSP", 0, 1, "", 1}, 0)));
}

TEST(SetPassthroughCsp, APlainMachineHasAllButThePrototype)
{
    EXPECT_EQ(ChosenProvider(Select(MachineOf("{}")).After()), Json({{"PassthroughCSP", kProviders[1]}}));
}

TEST(SetPassthroughCsp, AProviderThatMayNotBeReadIsPassedOver)
{
    EXPECT_EQ(ChosenProvider(Select(MachineWithProviders(kProviders), {.faults = {"RegOpenKeyExA#1=5"}}).After()),
              Json({{"PassthroughCSP", kProviders[1]}}));
}

TEST(SetPassthroughCsp, AProviderThatMemoryDoesNotSufficeToLookForIsPassedOver)
{
    Json machine = MachineWithProviders(std::span(kProviders).last(2)).ToJson();
    // Enough memory for the keys of the last three, but not of the first two.
    machine["process"]["largestBlock"] = 100;
    const SimulatedRun run = Select(winsim::Machine::FromJson(machine));
    EXPECT_EQ(ChosenProvider(run.After()), Json({{"PassthroughCSP", kProviders[3]}}));
    EXPECT_EQ(run.outcome.callCounts.at("RegOpenKeyExA"), 2u);
}

TEST(SetPassthroughCsp, ASecondCommitWritesTheSameAgain)
{
    const SimulatedRun second = Select(Select(MachineWithProviders(kProviders)).After());
    EXPECT_EQ(second.result, "0");
    EXPECT_EQ(second.outcome.callCounts.at("RegSetValueExA"), 1u);
    EXPECT_EQ(ChosenProvider(second.After()), Json({{"PassthroughCSP", kProviders[0]}}));
}

TEST(SetPassthroughCsp, AnEarlierChoiceIsReplacedAndOtherValuesStay)
{
    const winsim::Machine machine =
        Changed(MachineWithProviders(std::span(kProviders).last(1)),
                {{"registry", {{kCapiKey, {{"values", {{"PassthroughCSP", 42}, {"Other", "kept"}}}}}}}});
    EXPECT_EQ(ChosenProvider(Select(machine).After()),
              Json({{"Other", "kept"}, {"PassthroughCSP", "Microsoft Base Cryptographic Provider v1.0"}}));
}

TEST(SetPassthroughCsp, AKeyThatCannotBeMadeIs10039)
{
    for (const char* fault : {"RegCreateKeyExA=5", "RegCreateKeyExA=1018", "RegCreateKeyExA=234"})
    {
        const SimulatedRun run = Select(MachineWithProviders(kProviders), {.faults = {fault}});
        ExpectLog(run, "10039", {});
        EXPECT_EQ(ChosenProvider(run.After()), "(none)");
        EXPECT_FALSE(run.outcome.callCounts.contains("RegSetValueExA"));
    }
}

TEST(SetPassthroughCsp, AValueThatCannotBeWrittenIs10040)
{
    const SimulatedRun run = Select(MachineWithProviders(kProviders), {.faults = {"RegSetValueExA=14"}});
    ExpectLog(run, "10040", {});
    EXPECT_EQ(ChosenProvider(run.After()), "(none)");
}

TEST(SetPassthroughCsp, TheFlagIsNotLookedAt)
{
    const winsim::Machine machine = MachineWithProviders(kProviders);
    const Script whole = Select(machine).script;
    for (const char* flag : {"0", "1", "-1"})
        ExpectRun(CallFunction(machine, "SetPassthroughCsp", {flag}), "0", whole);
    ExpectRun(CallFunction(machine, "SelectPassthroughCsp"), "0", whole);
}

// ---- The whole commit ----

TEST(Commit, ALostChoiceLeavesItsMessageAndFails)
{
    for (const auto& [fault, textId] : std::vector<std::pair<const char*, std::uint32_t>>{{"RegCreateKeyExA#1=5", 5055},
                                                                                          {"RegSetValueExA#1=5", 5056}})
    {
        const SimulatedRun run = RunProgram(MachineOf(R"({"files":
            {"C:\\Program Files\\Kelo Systems Corp\\Toolkit\\Internationalization_en.dll": {}}})"),
                                            {"/Commit"}, {.faults = {fault}});
        EXPECT_EQ(run.exitCode, -1);
        const winsim::RegistryValue* text =
            run.After().registry.FindValue(R"(HKLM\SOFTWARE\Kelo Systems Corp.\Installer)", "");
        ASSERT_NE(text, nullptr);
        EXPECT_EQ(run.After().ToJson()["registry"][R"(HKLM\SOFTWARE\Kelo Systems Corp.\Installer)"]["values"][""],
                  winsim::StringTables().at("en").texts.at(textId));
    }
}

TEST(Commit, ASuccessfulChoiceLeavesAnEarlierMessageAlone)
{
    const SimulatedRun run = RunProgram(MachineOf(R"({"registry":
        {"HKLM\\SOFTWARE\\Kelo Systems Corp.\\Installer": {"values": {"": "an earlier text"}}}})"),
                                        {"/Commit"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.After().ToJson()["registry"][R"(HKLM\SOFTWARE\Kelo Systems Corp.\Installer)"]["values"][""],
              "an earlier text");
    EXPECT_EQ(CountOf("LoadLibraryA", run.script), 0u);
}

} // namespace
