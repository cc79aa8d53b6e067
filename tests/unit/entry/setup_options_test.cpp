// Proves what a set-up is asked to do: by its options, and by the values that the last removal left in the registry.
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

SimulatedRun Read(Words options, const winsim::Machine& machine = MachineOf("{}"), const SimulatedRunOptions& how = {})
{
    options.insert(options.begin(), {"C:\\kelo.exe", "/Setup"});
    return CallFunction(machine, "ReadSetupOptions", options, how);
}

// A machine with the described value "KlVSC Installed" in its common key.
winsim::Machine WithVscInstalled(const std::string& value)
{
    return MachineOf(R"({"registry": {"HKLM\\SOFTWARE\\Kelo Systems Corp\\Common": {"values": {"KlVSC Installed": )" +
                     value + "}}}}");
}

TEST(ReadSetupOptions, NothingIsAskedForWithoutOptions)
{
    ExpectRun(Read({}), "[]", {Failing(kOpen, 2)});
}

TEST(ReadSetupOptions, AllOptionsAreReadInTheirOrder)
{
    ExpectRun(Read({"/ProductType=Enterprise", "/TPM_WIN8=1", "/TPM_VSC=1", "/TSS_VENDOR=KELO"}, WithVscInstalled("1")),
              "[KELO] installVsc disableAutoProvisioning",
              {kVendorLine, kVscFlagLine, kOpen, Query(1), kReinstallLine, kCloseKey, kWin8Line, kProductTypeLine});
}

TEST(ReadSetupOptions, OptionsWithoutValuesAreAbsent)
{
    ExpectLog(Read({"/TSS_VENDOR=", "/TPM_VSC=", "/TPM_WIN8=", "/ProductType="}), "[]", {});
}

TEST(ReadSetupOptions, TheVendorIsHandedOnAsItStands)
{
    ExpectLog(Read({"/TSS_VENDOR=no such %s vendor"}), "[no such %s vendor]", "log: TSS Vendor: no such %s vendor");
    EXPECT_EQ(Read({"x/TSS_VENDOR=ABC"}).result, "[=ABC]");
}

TEST(ReadSetupOptions, AnyValueSetsTheSmartCardFlag)
{
    for (const char* option : {"/TPM_VSC=1", "/TPM_VSC=0", "/TPM_VSC=no", "/TPM_VSC= "})
    {
        SCOPED_TRACE(option);
        ExpectLog(Read({option}), "[] installVsc", kVscFlagLine);
    }
}

TEST(ReadSetupOptions, AnyValueSetsTheWindows8Flag)
{
    for (const char* option : {"/TPM_WIN8=1", "/TPM_WIN8=0", "/TPM_WIN8=no"})
    {
        SCOPED_TRACE(option);
        ExpectLog(Read({option}), "[] disableAutoProvisioning", kWin8Line);
    }
}

TEST(ReadSetupOptions, AnEnterpriseProductDisablesAutoProvisioning)
{
    for (const char* option : {"/ProductType=Enterprise", "/ProductType=Enterprise N", "/ProductType=NonEnterprise"})
    {
        SCOPED_TRACE(option);
        ExpectLog(Read({option}), "[] disableAutoProvisioning", kProductTypeLine);
    }
}

TEST(ReadSetupOptions, AnyOtherProductChangesNothing)
{
    for (const char* option :
         {"/ProductType=enterprise", "/ProductType=ENTERPRISE", "/ProductType=Professional", "/ProductType=Enterpris"})
    {
        SCOPED_TRACE(option);
        ExpectLog(Read({option}), "[]", {});
    }
}

TEST(ReadSetupOptions, OnlyTheFirstOfTwoProductTypesCounts)
{
    EXPECT_EQ(Read({"/ProductType=Home", "/ProductType=Enterprise"}).result, "[]");
    EXPECT_EQ(Read({"/ProductType=", "/ProductType=Enterprise"}).result, "[]");
}

// For a match inside the argument, the value still contains the whole product type.
TEST(ReadSetupOptions, AProductTypeFurtherInsideAnArgumentCounts)
{
    EXPECT_EQ(Read({"x/ProductType=Enterprise"}).result, "[] disableAutoProvisioning");
}

TEST(ReadSetupOptions, ACommonKeyWithoutTheValueIsLogged)
{
    ExpectRun(Read({}, MachineOf(R"({"registry": {"HKLM\\SOFTWARE\\Kelo Systems Corp\\Common": {}}})")), "[]",
              {kOpen, Failing(Query(0), 2), kNotInstalledLine, kCloseKey});
}

// The key with a period in the maker's name is another key.
TEST(ReadSetupOptions, TheKeyOfTheOtherSpellingIsNotRead)
{
    ExpectLog(Read({}, MachineOf(R"({"registry": {"HKLM\\SOFTWARE\\Kelo Systems Corp.\\Common":
        {"values": {"KlVSC Installed": 1}}}})")),
              "[]", {});
}

TEST(ReadSetupOptions, AnyNumberButZeroReinstallsTheSmartCard)
{
    for (const unsigned value : {1u, 2u, 2147483648u, 4294967295u})
        ExpectRun(Read({}, WithVscInstalled(std::to_string(value))), "[] installVsc",
                  {kOpen, Query(value), kReinstallLine, kCloseKey});
}

TEST(ReadSetupOptions, AZeroChangesNothingAndIsNotLogged)
{
    ExpectRun(Read({}, WithVscInstalled("0")), "[]", {kOpen, Query(0), kCloseKey});
}

TEST(ReadSetupOptions, TheRegistryNeverTakesTheFlagAway)
{
    ExpectLog(Read({"/TPM_VSC=1"}, WithVscInstalled("0")), "[] installVsc", kVscFlagLine);
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
        ExpectRun(Read({}, machine), "[]", Failing(kOpen, 5));
    }
}

TEST(ReadSetupOptions, AReadThatFailsIsLoggedAndTheOtherOptionsCount)
{
    ExpectRun(Read({"/TPM_WIN8=1"}, WithVscInstalled("1"), {.faults = {"RegQueryValueExA=5"}}),
              "[] disableAutoProvisioning", {kOpen, Failing(Query(0), 5), kNotInstalledLine, kCloseKey, kWin8Line});
}

TEST(ReadSetupOptions, AKeyThatDoesNotCloseChangesNothing)
{
    ExpectLog(Read({}, WithVscInstalled("1"), {.faults = {"RegCloseKey=6"}}), "[] installVsc", kReinstallLine);
}

TEST(ReadSetupOptions, LeavesTheMachineAsItIs)
{
    const SimulatedRun run = Read({"/TSS_VENDOR=KELO", "/TPM_VSC=1"}, WithVscInstalled("1"));
    EXPECT_EQ(run.After().registry, run.before.registry);
}

} // namespace
