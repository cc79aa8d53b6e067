// Proves what a set-up is asked to do: by its options, and by what the last removal left in the registry.
#include "tests/support/simulated_run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using Words = std::vector<std::string>;

constexpr char kVendorLine[] = "TSS Vendor: KELO";
constexpr char kVscFlagLine[] = "TPM VSC Flag set... install VSC";
constexpr char kNotInstalledLine[] = "VSC was not previously fully installed";
constexpr char kReinstallLine[] = "When Toolkit was last uninstalled... the VSC was present, so must reinstall...";
constexpr char kWin8Line[] = "TPM_WIN8 flag set, disable Win8 AutoProvisioning";
constexpr char kProductTypeLine[] = "ProductType flag set, disable Win8 AutoProvisioning";

constexpr char kOpen[] = R"(RegOpenKeyExA("HKEY_LOCAL_MACHINE", "SOFTWARE\\Kelo Systems Corp\\Common", 0, 983103) = )";
constexpr char kQuery[] = R"(RegQueryValueExA("key#1", "KlVSC Installed", null, 4) = )";
constexpr char kClose[] = R"(RegCloseKey("key#1") = 0)";

SimulatedRun Read(Words options, const winsim::Machine& machine = MachineOf("{}"), const SimulatedRunOptions& how = {})
{
    options.insert(options.begin(), {"C:\\kelo.exe", "/Setup"});
    return CallFunction(machine, "ReadSetupOptions", options, how);
}

// A machine whose common key holds "KlVSC Installed" as described.
winsim::Machine WithVscInstalled(const std::string& value)
{
    return MachineOf(R"({"registry": {"HKLM\\SOFTWARE\\Kelo Systems Corp\\Common": {"values": {"KlVSC Installed": )" +
                     value + "}}}}");
}

TEST(ReadSetupOptions, NothingIsAskedForWithoutOptions)
{
    const SimulatedRun run = Read({});
    EXPECT_EQ(run.result, "[]");
    EXPECT_THAT(run.script, ElementsAre(kOpen + std::string("2")));
}

TEST(ReadSetupOptions, AllOptionsAreReadInTheirOrder)
{
    const SimulatedRun run =
        Read({"/ProductType=Enterprise", "/TPM_WIN8=1", "/TPM_VSC=1", "/TSS_VENDOR=KELO"}, WithVscInstalled("1"));
    EXPECT_EQ(run.result, "[KELO] installVsc disableAutoProvisioning");
    EXPECT_THAT(run.log, ElementsAre(kVendorLine, kVscFlagLine, kReinstallLine, kWin8Line, kProductTypeLine));
    EXPECT_THAT(run.script, ElementsAre("log: " + std::string(kVendorLine), "log: " + std::string(kVscFlagLine),
                                        kOpen + std::string(R"(0 phkResult:"key#1")"),
                                        kQuery + std::string("0 lpType:4 lpcbData:4 lpData:1"),
                                        "log: " + std::string(kReinstallLine), kClose, "log: " + std::string(kWin8Line),
                                        "log: " + std::string(kProductTypeLine)));
}

TEST(ReadSetupOptions, OptionsWithoutValuesAreAbsent)
{
    const SimulatedRun run = Read({"/TSS_VENDOR=", "/TPM_VSC=", "/TPM_WIN8=", "/ProductType="});
    EXPECT_EQ(run.result, "[]");
    EXPECT_THAT(run.log, IsEmpty());
}

TEST(ReadSetupOptions, TheVendorIsHandedOnAsItStands)
{
    EXPECT_EQ(Read({"/TSS_VENDOR=no such %s vendor"}).result, "[no such %s vendor]");
    EXPECT_THAT(Read({"/TSS_VENDOR=no such %s vendor"}).log, ElementsAre("TSS Vendor: no such %s vendor"));
    EXPECT_EQ(Read({"x/TSS_VENDOR=ABC"}).result, "[=ABC]");
}

TEST(ReadSetupOptions, AnyValueSetsTheSmartCardFlag)
{
    for (const char* option : {"/TPM_VSC=1", "/TPM_VSC=0", "/TPM_VSC=no", "/TPM_VSC= "})
    {
        const SimulatedRun run = Read({option});
        EXPECT_EQ(run.result, "[] installVsc") << option;
        EXPECT_THAT(run.log, ElementsAre(kVscFlagLine)) << option;
    }
}

TEST(ReadSetupOptions, AnyValueSetsTheWindows8Flag)
{
    for (const char* option : {"/TPM_WIN8=1", "/TPM_WIN8=0", "/TPM_WIN8=no"})
    {
        const SimulatedRun run = Read({option});
        EXPECT_EQ(run.result, "[] disableAutoProvisioning") << option;
        EXPECT_THAT(run.log, ElementsAre(kWin8Line)) << option;
    }
}

TEST(ReadSetupOptions, AnEnterpriseProductDisablesAutoProvisioning)
{
    for (const char* option : {"/ProductType=Enterprise", "/ProductType=Enterprise N", "/ProductType=NonEnterprise"})
    {
        const SimulatedRun run = Read({option});
        EXPECT_EQ(run.result, "[] disableAutoProvisioning") << option;
        EXPECT_THAT(run.log, ElementsAre(kProductTypeLine)) << option;
    }
}

TEST(ReadSetupOptions, AnyOtherProductChangesNothing)
{
    for (const char* option :
         {"/ProductType=enterprise", "/ProductType=ENTERPRISE", "/ProductType=Professional", "/ProductType=Enterpris"})
    {
        const SimulatedRun run = Read({option});
        EXPECT_EQ(run.result, "[]") << option;
        EXPECT_THAT(run.log, IsEmpty()) << option;
    }
}

TEST(ReadSetupOptions, OnlyTheFirstOfTwoProductTypesCounts)
{
    EXPECT_EQ(Read({"/ProductType=Home", "/ProductType=Enterprise"}).result, "[]");
    EXPECT_EQ(Read({"/ProductType=", "/ProductType=Enterprise"}).result, "[]");
}

// The value of an inside match begins before the product's name ends: still long enough to hold it.
TEST(ReadSetupOptions, AProductTypeFurtherInsideAnArgumentCounts)
{
    EXPECT_EQ(Read({"x/ProductType=Enterprise"}).result, "[] disableAutoProvisioning");
}

TEST(ReadSetupOptions, ACommonKeyWithoutTheValueIsLogged)
{
    const SimulatedRun run = Read({}, MachineOf(R"({"registry": {"HKLM\\SOFTWARE\\Kelo Systems Corp\\Common": {}}})"));
    EXPECT_EQ(run.result, "[]");
    EXPECT_THAT(run.log, ElementsAre(kNotInstalledLine));
    EXPECT_THAT(run.script, ElementsAre(kOpen + std::string(R"(0 phkResult:"key#1")"), kQuery + std::string("2"),
                                        "log: " + std::string(kNotInstalledLine), kClose));
}

// The maker's name with a period is another key.
TEST(ReadSetupOptions, TheKeyOfTheOtherSpellingIsNotRead)
{
    const SimulatedRun run = Read({}, MachineOf(R"({"registry": {"HKLM\\SOFTWARE\\Kelo Systems Corp.\\Common":
        {"values": {"KlVSC Installed": 1}}}})"));
    EXPECT_EQ(run.result, "[]");
    EXPECT_THAT(run.log, IsEmpty());
}

TEST(ReadSetupOptions, AnyNumberButZeroReinstallsTheSmartCard)
{
    for (const char* value : {"1", "2", "2147483648", "4294967295"})
    {
        const SimulatedRun run = Read({}, WithVscInstalled(value));
        EXPECT_EQ(run.result, "[] installVsc") << value;
        EXPECT_THAT(run.log, ElementsAre(kReinstallLine)) << value;
        EXPECT_THAT(run.script, ElementsAre(kOpen + std::string(R"(0 phkResult:"key#1")"),
                                            kQuery + std::string("0 lpType:4 lpcbData:4 lpData:") + value,
                                            "log: " + std::string(kReinstallLine), kClose));
    }
}

TEST(ReadSetupOptions, AZeroChangesNothingAndIsNotLogged)
{
    EXPECT_EQ(Read({}, WithVscInstalled("0")).result, "[]");
    EXPECT_THAT(Read({}, WithVscInstalled("0")).script,
                ElementsAre(kOpen + std::string(R"(0 phkResult:"key#1")"),
                            kQuery + std::string("0 lpType:4 lpcbData:4 lpData:0"), kClose));
}

TEST(ReadSetupOptions, TheRegistryNeverTakesTheFlagAway)
{
    const SimulatedRun run = Read({"/TPM_VSC=1"}, WithVscInstalled("0"));
    EXPECT_EQ(run.result, "[] installVsc");
    EXPECT_THAT(run.log, ElementsAre(kVscFlagLine));
}

TEST(ReadSetupOptions, OnlyAWholeDwordIsANumber)
{
    for (const char* value :
         {R"("1")", R"({"type": "REG_SZ", "text": ""})", R"({"type": "REG_EXPAND_SZ", "text": "1"})",
          R"({"type": "REG_DWORD", "hex": "01"})", R"({"type": "REG_DWORD", "hex": ""})",
          R"({"type": "REG_DWORD", "hex": "0100000000000000"})", R"({"type": "REG_BINARY", "hex": "01000000"})",
          R"({"type": "REG_QWORD", "hex": "0100000000000000"})"})
    {
        const SimulatedRun run = Read({}, WithVscInstalled(value));
        EXPECT_EQ(run.result, "[]") << value;
        EXPECT_THAT(run.log, ElementsAre(kNotInstalledLine)) << value;
        EXPECT_EQ(run.script.back(), kClose) << value;
    }
}

TEST(ReadSetupOptions, AKeyThatCannotBeOpenedIsPassedOverInSilence)
{
    // Each right that the whole access asks for is enough to be refused by.
    for (const char* denied : {"1", "2", "4", "65536", "983103"})
    {
        winsim::Machine machine = WithVscInstalled("1");
        machine.registry.Find("HKLM\\SOFTWARE\\Kelo Systems Corp\\Common")->security.deniedAccess =
            static_cast<std::uint32_t>(std::stoul(denied));
        const SimulatedRun run = Read({}, machine);
        EXPECT_EQ(run.result, "[]") << denied;
        EXPECT_THAT(run.script, ElementsAre(kOpen + std::string("5"))) << denied;
    }
}

TEST(ReadSetupOptions, AReadThatFailsIsLoggedAndTheOtherOptionsCount)
{
    const SimulatedRun run = Read({"/TPM_WIN8=1"}, WithVscInstalled("1"), {.faults = {"RegQueryValueExA=5"}});
    EXPECT_EQ(run.result, "[] disableAutoProvisioning");
    EXPECT_THAT(run.script,
                ElementsAre(kOpen + std::string(R"(0 phkResult:"key#1")"), kQuery + std::string("5"),
                            "log: " + std::string(kNotInstalledLine), kClose, "log: " + std::string(kWin8Line)));
}

TEST(ReadSetupOptions, AKeyThatDoesNotCloseChangesNothing)
{
    const SimulatedRun run = Read({}, WithVscInstalled("1"), {.faults = {"RegCloseKey=6"}});
    EXPECT_EQ(run.result, "[] installVsc");
    EXPECT_THAT(run.log, ElementsAre(kReinstallLine));
}

TEST(ReadSetupOptions, LeavesTheMachineAsItIs)
{
    const SimulatedRun run = Read({"/TSS_VENDOR=KELO", "/TPM_VSC=1"}, WithVscInstalled("1"));
    EXPECT_EQ(run.After().registry, run.before.registry);
}

} // namespace
