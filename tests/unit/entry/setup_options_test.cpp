// Proves what a set-up is asked to do: by its options, and by the values that the last removal left in the registry.
#include "tests/support/run_tests.h"
#include "tests/support/windows_script.h"

#include <gtest/gtest.h>

namespace
{

using Words = std::vector<std::string>;

constexpr char kVendorLine[] = "log: TSS Vendor: KELO";
constexpr char kVscFlagLine[] = "log: TPM VSC Flag set... install VSC";
constexpr char kNotInstalledLine[] = "log: VSC was not previously fully installed";
constexpr char kReinstallLine[] = "log: When Toolkit was last uninstalled... the VSC was present, so must reinstall...";
constexpr char kWin8Line[] = "log: TPM_WIN8 flag set, disable Win8 AutoProvisioning";
constexpr char kProductTypeLine[] = "log: ProductType flag set, disable Win8 AutoProvisioning";

const std::string kOpen = OpenKey(R"(SOFTWARE\Kelo Systems Corp\Common)", kAllOfKey);

std::string Query(unsigned value)
{
    return Call("RegQueryValueExA", {"key#1", "KlVSC Installed", nullptr, 4}, 0,
                {{"lpType", 4}, {"lpcbData", 4}, {"lpData", value}});
}

struct Given
{
    Words options;
    winsim::Machine machine = MachineOf("{}");
};

SimulatedRun Read(const Given& given, const SimulatedRunOptions& options = {})
{
    Words words{"C:\\kelo.exe", "/Setup"};
    words.insert(words.end(), given.options.begin(), given.options.end());
    return CallFunction(given.machine, "ReadSetupOptions", words, options);
}

// A machine with the described value "KlVSC Installed" in its common key.
winsim::Machine WithVscInstalled(const std::string& value)
{
    return MachineOf(R"({"registry": {"HKLM\\SOFTWARE\\Kelo Systems Corp\\Common": {"values": {"KlVSC Installed": )" +
                     value + "}}}}");
}

const auto kSetups =
    RunTests("ReadSetupOptions", &Read)
        .Run("NothingIsAskedForWithoutOptions", {}, "[]", {Failing(kOpen, 2)})
        .Run("AllOptionsAreReadInTheirOrder",
             {{"/ProductType=Enterprise", "/TPM_WIN8=1", "/TPM_VSC=1", "/TSS_VENDOR=KELO"}, WithVscInstalled("1")},
             "[KELO] installVsc disableAutoProvisioning",
             {kVendorLine, kVscFlagLine, kOpen, Query(1), kReinstallLine, kCloseKey, kWin8Line, kProductTypeLine})
        .Log("OptionsWithoutValuesAreAbsent", {{"/TSS_VENDOR=", "/TPM_VSC=", "/TPM_WIN8=", "/ProductType="}}, "[]", {})
        // For a match inside the argument, the value still contains the whole product type.
        .Result("AProductTypeFurtherInsideAnArgumentCounts", {{"x/ProductType=Enterprise"}},
                "[] disableAutoProvisioning")
        .Run("ACommonKeyWithoutTheValueIsLogged",
             {{}, MachineOf(R"({"registry": {"HKLM\\SOFTWARE\\Kelo Systems Corp\\Common": {}}})")}, "[]",
             {kOpen, Failing(Query(0), 2), kNotInstalledLine, kCloseKey})
        // The key with a period in the maker's name is another key.
        .Log("TheKeyOfTheOtherSpellingIsNotRead",
             {{}, MachineOf(R"({"registry": {"HKLM\\SOFTWARE\\Kelo Systems Corp.\\Common":
                 {"values": {"KlVSC Installed": 1}}}})")},
             "[]", {})
        .Run("AZeroChangesNothingAndIsNotLogged", {{}, WithVscInstalled("0")}, "[]", {kOpen, Query(0), kCloseKey})
        .Log("TheRegistryNeverTakesTheFlagAway", {{"/TPM_VSC=1"}, WithVscInstalled("0")}, "[] installVsc", kVscFlagLine)
        .Run("AReadThatFailsIsLoggedAndTheOtherOptionsCount", {{"/TPM_WIN8=1"}, WithVscInstalled("1")},
             {.faults = {"RegQueryValueExA=5"}}, "[] disableAutoProvisioning",
             {kOpen, Failing(Query(0), 5), kNotInstalledLine, kCloseKey, kWin8Line})
        .Log("AKeyThatDoesNotCloseChangesNothing", {{}, WithVscInstalled("1")}, {.faults = {"RegCloseKey=6"}},
             "[] installVsc", kReinstallLine);

TEST(ReadSetupOptions, TheVendorIsHandedOnAsItStands)
{
    ExpectLog(Read({{"/TSS_VENDOR=no such %s vendor"}}), "[no such %s vendor]", "log: TSS Vendor: no such %s vendor");
    EXPECT_EQ(Read({{"x/TSS_VENDOR=ABC"}}).result, "[=ABC]");
}

TEST(ReadSetupOptions, EachOptionCountsByItsValue)
{
    const std::tuple<const char*, Words, const char*, Script> cases[] = {
        {"any value sets the smart-card flag",
         {"/TPM_VSC=1", "/TPM_VSC=0", "/TPM_VSC=no", "/TPM_VSC= "},
         "[] installVsc",
         kVscFlagLine},
        {"any value sets the Windows 8 flag",
         {"/TPM_WIN8=1", "/TPM_WIN8=0", "/TPM_WIN8=no"},
         "[] disableAutoProvisioning",
         kWin8Line},
        {"an enterprise product disables automatic provisioning",
         {"/ProductType=Enterprise", "/ProductType=Enterprise N", "/ProductType=NonEnterprise"},
         "[] disableAutoProvisioning",
         kProductTypeLine},
        {"any other product changes nothing",
         {"/ProductType=enterprise", "/ProductType=ENTERPRISE", "/ProductType=Professional", "/ProductType=Enterpris"},
         "[]",
         {}},
    };
    for (const auto& [rule, options, result, log] : cases)
    {
        SCOPED_TRACE(rule);
        for (const std::string& option : options)
        {
            SCOPED_TRACE(option);
            ExpectLog(Read({{option}}), result, log);
        }
    }
}

TEST(ReadSetupOptions, OnlyTheFirstOfTwoProductTypesCounts)
{
    EXPECT_EQ(Read({{"/ProductType=Home", "/ProductType=Enterprise"}}).result, "[]");
    EXPECT_EQ(Read({{"/ProductType=", "/ProductType=Enterprise"}}).result, "[]");
}

TEST(ReadSetupOptions, AnyNumberButZeroReinstallsTheSmartCard)
{
    for (const unsigned value : {1u, 2u, 2147483648u, 4294967295u})
        ExpectRun(Read({{}, WithVscInstalled(std::to_string(value))}), "[] installVsc",
                  {kOpen, Query(value), kReinstallLine, kCloseKey});
}

TEST(ReadSetupOptions, OnlyAWholeDwordIsANumber)
{
    for (const char* value :
         {R"("1")", R"({"type": "REG_SZ", "text": ""})", R"({"type": "REG_EXPAND_SZ", "text": "1"})",
          R"({"type": "REG_DWORD", "hex": "01"})", R"({"type": "REG_DWORD", "hex": ""})",
          R"({"type": "REG_DWORD", "hex": "0100000000000000"})", R"({"type": "REG_BINARY", "hex": "01000000"})",
          R"({"type": "REG_QWORD", "hex": "0100000000000000"})"})
    {
        const SimulatedRun run = Read({{}, WithVscInstalled(value)});
        SCOPED_TRACE(value);
        ExpectLog(run, "[]", kNotInstalledLine);
        EXPECT_EQ(run.script.back(), kCloseKey);
    }
}

TEST(ReadSetupOptions, AKeyThatCannotBeOpenedIsPassedOverInSilence)
{
    // The key is opened with all access: the denial of any single right is enough to refuse it.
    for (const char* denied : {"1", "2", "4", "65536", "983103"})
    {
        winsim::Machine machine = WithVscInstalled("1");
        machine.registry.Find("HKLM\\SOFTWARE\\Kelo Systems Corp\\Common")->security.deniedAccess =
            static_cast<std::uint32_t>(std::stoul(denied));
        SCOPED_TRACE(denied);
        ExpectRun(Read({{}, machine}), "[]", Failing(kOpen, 5));
    }
}

TEST(ReadSetupOptions, LeavesTheMachineAsItIs)
{
    const SimulatedRun run = Read({{"/TSS_VENDOR=KELO", "/TPM_VSC=1"}, WithVscInstalled("1")});
    EXPECT_EQ(run.After().registry, run.before.registry);
}

} // namespace
