// Proves in which order the stack set-up takes its steps and by what it chooses a stack, and what the removal does.
#include "tests/support/stack_machine.h"
#include "tests/support/step_sequence.h"
#include "tests/support/tss_script.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using winsim::Json;

constexpr char kDoubleRule[] = "===================================================";
constexpr char kRule[] = "--------------------------------------------";
constexpr char kNoVendor[] = "No TSS_VENDOR parameter specified only install if a TSS and proper TPM state is found.";
constexpr char kUnableToInstall[] =
    "No default TSS vendor platform specified AND no valid TSS & TPM state detected --> "
    "Unable to install Toolkit!";
constexpr char kWillFail[] = "No default TPM platform specified - installation will fail.";

SimulatedRun RunSetup(const winsim::Machine& machine, const std::string& vendor,
                      const SimulatedRunOptions& options = {})
{
    return CallFunction(machine, "SetupTCGDLL", {kTarget, vendor}, options);
}

// ---- Expected scripts: the steps in their order
// ----------------------------------------------------------------------

void LogBegin(StepSequence& expected, const std::string& vendor)
{
    expected.Log(kDoubleRule);
    expected.Log("SetupTCGDLL() -->");
    expected.Log(std::string("Target: ") + kTarget);
    expected.Log(vendor == "(null)" ? kNoVendor : "TSS_VENDOR: " + vendor);
}

void UnblockFromVistaOn(StepSequence& expected)
{
    expected.Step("GetWindowsMajorVersion");
    EXPECT_EQ(expected.Step("UnblockTpmCommands"), "0");
    expected.Log("Commands blocked on Vista+");
}

void OpenConfiguration(StepSequence& expected)
{
    EXPECT_EQ(expected.Step("SetPolicyDirectoryAccess"), "1");
    EXPECT_EQ(expected.Step("SetConfigFileAccess"), "1");
}

void BeginWith(StepSequence& expected, const std::string& vendor)
{
    LogBegin(expected, vendor);
    UnblockFromVistaOn(expected);
    OpenConfiguration(expected);
}

void DetectNothing(StepSequence& expected)
{
    EXPECT_EQ(expected.Step("DetectTPMPlatform", {kTarget, "KELO"}), "false 7");
    EXPECT_EQ(expected.Step("DetectTPMPlatform", {kTarget, "NTRU12"}), "false 9");
}

// One look of the set-up's own for a stack's service.
Script Probed(const char* service, bool isInstalled, const char* line)
{
    if (!isInstalled)
        return {CallLine("OpenServiceW", {"serviceManager#1", service, 0x15})};
    return {CallLine("OpenServiceW", {"serviceManager#1", service, 0x15}, "service#1"), kCloseService, LogLine(line)};
}

void ProbeServices(StepSequence& expected, const StackMachine& machine)
{
    expected.Lines(Joined(kOpenManager, Probed("tcsd_x86", machine.hasKeloService, "Found Kelo TSS"),
                          Probed("tcsd_win32.exe", machine.hasNtruService, "Found NTRU TSS"), kCloseManager));
}

void InstallFor(StepSequence& expected, const char* vendor, const char* toolkitVendor)
{
    expected.Step("CopyTCGDLL", {kTarget, vendor});
    EXPECT_EQ(expected.Step("InstallTkService", {toolkitVendor, kTarget}), "0");
}

void SetUpKelo(StepSequence& expected, const std::string& vendor)
{
    expected.Log(kRule);
    expected.Log("Set to default TPM Platform: " + vendor);
    expected.Step("RemoveTSP1File", {"2"});
    if (expected.Step("GetServiceBinaryPath", {"tcsd_x86"}).starts_with("(none)"))
    {
        expected.Log("Kelo TSS not present so copy 'shim' TSPI.dll");
        EXPECT_EQ(expected.Step("CopyShimFile", {kTarget, "NTRU12", "2"}), "true");
    }
    InstallFor(expected, "KELO", "KELO");
}

void SetUpNtru(StepSequence& expected, const std::string& vendor)
{
    expected.Log(kRule);
    expected.Log("Set to default TPM Platform: " + vendor);
    expected.Log("remove old TSP1.dll found in System32 directory...");
    expected.Step("RemoveTSP1File", {"0"});
    expected.Log("if NTRU present and older version then copy to system32 directory...");
    if (expected.Step("CopyTSP1FileImp") == "-1")
    {
        expected.Log("NTRU not present so copy 'shim' TSP1.dll");
        EXPECT_EQ(expected.Step("CopyShimFile", {kTarget, "NTRU12", "0"}), "true");
    }
    InstallFor(expected, "NTRU12", "NTRU");
}

void ExpectSetUp(const SimulatedRun& run, const std::string& result, StepSequence& expected)
{
    expected.Log("<-- SetupTCGDLL()");
    ExpectRun(run, result, expected.Whole());
}

std::string TextOf(const SimulatedRun& run, const std::string& path)
{
    const winsim::File* file = run.After().files.Find(path);
    return file == nullptr ? "(none)" : file->content;
}

constexpr char kProbeLibrary[] = R"(C:\Windows\system32\stkprobe.dll)";

// ---- A usable stack
// --------------------------------------------------------------------------------------------------

TEST(SetupTCGDLL, AUsableKeloStackIsChosenAndNtruIsNeverLookedAt)
{
    const StackMachine stacks{.isKeloUsable = true, .isNtruUsable = true, .hasKeloService = true, .hasShims = true};
    const winsim::Machine machine = stacks.Make();
    for (const char* vendor : {"KELO", "NTRU12", "(null)"})
    {
        const SimulatedRun run = RunSetup(machine, vendor);
        StepSequence expected{machine};
        BeginWith(expected, vendor);
        EXPECT_EQ(expected.Step("DetectTPMPlatform", {kTarget, "KELO"}), "true 0");
        expected.Step("RemoveTSP1File", {"2"});
        InstallFor(expected, "KELO", "KELO");
        ExpectSetUp(run, "0", expected);
        EXPECT_EQ(TextOf(run, kProbeLibrary), "KELO");
        EXPECT_EQ(TextOf(run, kTspi), "(none)");
        // The other stack's shim is left in place.
        EXPECT_EQ(TextOf(run, kTsp1), "old");
    }
}

TEST(SetupTCGDLL, AUsableNtruStackIsChosenWhenKelosIsNot)
{
    const StackMachine stacks{.isNtruUsable = true, .hasNtruService = true, .hasShims = true};
    const winsim::Machine machine = stacks.Make();
    for (const char* vendor : {"KELO", "NTRU12", "(null)"})
    {
        const SimulatedRun run = RunSetup(machine, vendor);
        StepSequence expected{machine};
        BeginWith(expected, vendor);
        EXPECT_EQ(expected.Step("DetectTPMPlatform", {kTarget, "KELO"}), "false 7");
        EXPECT_EQ(expected.Step("DetectTPMPlatform", {kTarget, "NTRU12"}), "true 0");
        expected.Step("RemoveTSP1File", {"0"});
        InstallFor(expected, "NTRU12", "NTRU");
        ExpectSetUp(run, "0", expected);
        EXPECT_EQ(TextOf(run, kProbeLibrary), "NTRU12");
        EXPECT_EQ(TextOf(run, kTsp1), "(none)");
        EXPECT_EQ(TextOf(run, kTspi), "(none)");
    }
}

// ---- The requested stack
// ---------------------------------------------------------------------------------------------

TEST(SetupTCGDLL, TheRequestIsComparedWithoutRegardToCase)
{
    for (const char* vendor : {"KELO", "kelo", "Kelo"})
    {
        const StackMachine stacks;
        const winsim::Machine machine = stacks.Make();
        const SimulatedRun run = RunSetup(machine, vendor);
        StepSequence expected{machine};
        BeginWith(expected, vendor);
        DetectNothing(expected);
        ProbeServices(expected, stacks);
        SetUpKelo(expected, vendor);
        ExpectSetUp(run, "0", expected);
        EXPECT_EQ(TextOf(run, kTspiCopied), "shim");
        EXPECT_EQ(TextOf(run, kProbeLibrary), "KELO");
    }
    for (const char* vendor : {"NTRU12", "ntru12"})
    {
        const StackMachine stacks;
        const winsim::Machine machine = stacks.Make();
        const SimulatedRun run = RunSetup(machine, vendor);
        StepSequence expected{machine};
        BeginWith(expected, vendor);
        DetectNothing(expected);
        ProbeServices(expected, stacks);
        SetUpNtru(expected, vendor);
        ExpectSetUp(run, "0", expected);
        EXPECT_EQ(TextOf(run, kTsp1), "shim");
        EXPECT_EQ(TextOf(run, kProbeLibrary), "NTRU12");
    }
}

TEST(SetupTCGDLL, AnInstalledStackKeepsItsOwnLibrary)
{
    const StackMachine kelo{.hasKeloService = true};
    const SimulatedRun keloRun = RunSetup(kelo.Make(), "KELO");
    StepSequence keloExpected{kelo.Make()};
    BeginWith(keloExpected, "KELO");
    DetectNothing(keloExpected);
    ProbeServices(keloExpected, kelo);
    SetUpKelo(keloExpected, "KELO");
    ExpectSetUp(keloRun, "0", keloExpected);
    EXPECT_EQ(TextOf(keloRun, kTspi), "(none)");

    const StackMachine ntru{.hasNtruService = true};
    const SimulatedRun ntruRun = RunSetup(ntru.Make(), "NTRU12");
    StepSequence ntruExpected{ntru.Make()};
    BeginWith(ntruExpected, "NTRU12");
    DetectNothing(ntruExpected);
    ProbeServices(ntruExpected, ntru);
    SetUpNtru(ntruExpected, "NTRU12");
    ExpectSetUp(ntruRun, "0", ntruExpected);
    EXPECT_EQ(TextOf(ntruRun, kTsp1), "(none)");
}

TEST(SetupTCGDLL, AnUnknownRequestFailsWithTheLastDetectionsResult)
{
    for (const char* vendor : {"NTRU", "OTHER", ""})
    {
        const StackMachine stacks;
        const winsim::Machine machine = stacks.Make();
        const SimulatedRun run = RunSetup(machine, vendor);
        StepSequence expected{machine};
        BeginWith(expected, vendor);
        DetectNothing(expected);
        ProbeServices(expected, stacks);
        expected.Log(kWillFail);
        ExpectSetUp(run, "9", expected);
        EXPECT_EQ(TextOf(run, kProbeLibrary), "(none)");
    }
}

TEST(SetupTCGDLL, NoRequestFailsWithTheLastDetectionsResult)
{
    const StackMachine stacks;
    const winsim::Machine machine = stacks.Make();
    const SimulatedRun run = RunSetup(machine, "(null)");
    StepSequence expected{machine};
    BeginWith(expected, "(null)");
    DetectNothing(expected);
    ProbeServices(expected, stacks);
    expected.Log(kUnableToInstall);
    ExpectSetUp(run, "9", expected);
}

// ---- The single installed stack
// --------------------------------------------------------------------------------------

std::string SwitchLine(const char* found, const char* requested)
{
    return fmt::format("Found a single TCS = {} that is different than the default {}. Set the default to its TSS",
                       found, requested);
}

TEST(SetupTCGDLL, TheOnlyInstalledStackOutweighsTheRequest)
{
    const StackMachine ntru{.hasNtruService = true};
    for (const char* vendor : {"KELO", "kelo", "OTHER", "NTRU", "ntru12"})
    {
        const winsim::Machine machine = ntru.Make();
        const SimulatedRun run = RunSetup(machine, vendor);
        StepSequence expected{machine};
        BeginWith(expected, vendor);
        DetectNothing(expected);
        ProbeServices(expected, ntru);
        expected.Log(SwitchLine("NTRU12", vendor));
        SetUpNtru(expected, "NTRU12");
        ExpectSetUp(run, "0", expected);
    }
    const StackMachine kelo{.hasKeloService = true};
    for (const char* vendor : {"NTRU12", "kelo"})
    {
        const winsim::Machine machine = kelo.Make();
        const SimulatedRun run = RunSetup(machine, vendor);
        StepSequence expected{machine};
        BeginWith(expected, vendor);
        DetectNothing(expected);
        ProbeServices(expected, kelo);
        expected.Log(SwitchLine("KELO", vendor));
        SetUpKelo(expected, "KELO");
        ExpectSetUp(run, "0", expected);
    }
}

TEST(SetupTCGDLL, WithTwoInstalledStacksTheRequestStands)
{
    const StackMachine both{.hasKeloService = true, .hasNtruService = true};
    const winsim::Machine machine = both.Make();
    for (const char* vendor : {"KELO", "NTRU12"})
    {
        const SimulatedRun run = RunSetup(machine, vendor);
        StepSequence expected{machine};
        BeginWith(expected, vendor);
        DetectNothing(expected);
        ProbeServices(expected, both);
        if (vendor == std::string("KELO"))
            SetUpKelo(expected, vendor);
        else
            SetUpNtru(expected, vendor);
        ExpectSetUp(run, "0", expected);
    }
}

TEST(SetupTCGDLL, AnInstalledStackIsNoRequest)
{
    for (const StackMachine& stacks : {StackMachine{.hasKeloService = true}, StackMachine{.hasNtruService = true},
                                       StackMachine{.hasKeloService = true, .hasNtruService = true}})
    {
        const winsim::Machine machine = stacks.Make();
        const SimulatedRun run = RunSetup(machine, "(null)");
        StepSequence expected{machine};
        BeginWith(expected, "(null)");
        DetectNothing(expected);
        ProbeServices(expected, stacks);
        expected.Log(kUnableToInstall);
        ExpectSetUp(run, "9", expected);
    }
}

TEST(SetupTCGDLL, AServiceManagerThatCannotBeOpenedCountsAsNoStackInSilence)
{
    const StackMachine stacks{.version = "5.1", .hasNtruService = true};
    const winsim::Machine machine = stacks.Make();
    // The set-up's own opening comes behind those of the detections.
    StepSequence before{machine};
    DetectNothing(before);
    const std::size_t openings = CountOf("OpenSCManagerW", before.Whole());
    const SimulatedRun run = RunSetup(machine, "OTHER", {.faults = {fmt::format("OpenSCManagerW#{}=5", openings + 1)}});
    StepSequence expected{machine};
    LogBegin(expected, "OTHER");
    expected.Step("GetWindowsMajorVersion");
    expected.Log("Not Vista+ OS");
    OpenConfiguration(expected);
    DetectNothing(expected);
    expected.Line(CallLine("OpenSCManagerW", {nullptr, nullptr, 0xF003F}));
    expected.Log(kWillFail);
    ExpectSetUp(run, "9", expected);
}

// ---- The preparations
// ------------------------------------------------------------------------------------------------

TEST(SetupTCGDLL, BeforeVistaNothingIsUnblockedAndEverythingElseRuns)
{
    const StackMachine stacks{.version = "5.1"};
    const winsim::Machine machine = stacks.Make();
    const SimulatedRun run = RunSetup(machine, "KELO");
    StepSequence expected{machine};
    LogBegin(expected, "KELO");
    expected.Step("GetWindowsMajorVersion");
    expected.Log("Not Vista+ OS");
    OpenConfiguration(expected);
    DetectNothing(expected);
    ProbeServices(expected, stacks);
    SetUpKelo(expected, "KELO");
    ExpectSetUp(run, "0", expected);
    EXPECT_NE(run.After().registry.FindValue(R"(HKLM\SOFTWARE\Microsoft\Tpm\BlockedCommands\List)", "20"), nullptr);
}

TEST(SetupTCGDLL, AVersionThatIsToldOnlyOnceUnblocksNothingAndFailsNothing)
{
    const StackMachine stacks;
    const winsim::Machine machine = stacks.Make();
    const SimulatedRun run = RunSetup(machine, "KELO", {.faults = {"GetVersionExA#2=122", "GetVersionExA#3=122"}});
    StepSequence expected{machine};
    LogBegin(expected, "KELO");
    expected.Step("GetWindowsMajorVersion");
    expected.Lines({CallLine("GetVersionExA", {156}, 0), CallLine("GetVersionExA", {148}, 0), LogLine("Not VISTA OS")});
    OpenConfiguration(expected);
    DetectNothing(expected);
    ProbeServices(expected, stacks);
    SetUpKelo(expected, "KELO");
    ExpectSetUp(run, "0", expected);
    EXPECT_NE(run.After().registry.FindValue(R"(HKLM\SOFTWARE\Microsoft\Tpm\BlockedCommands\List)", "20"), nullptr);
}

TEST(SetupTCGDLL, PreparationsThatFailStopNothing)
{
    winsim::Machine machine = StackMachine{.isKeloUsable = true, .hasKeloService = true}.Make();
    machine.services.Remove("TBS");
    machine.files.Create(R"(C:\ProgramData\Kelo Systems Corp\Common)", true).isDenied = true;
    const SimulatedRun run = RunSetup(machine, "KELO", {.faults = {"SetEntriesInAclW=1336"}});
    EXPECT_EQ(run.result, "0");
    const Script begin(run.log.begin(), run.log.begin() + 12);
    EXPECT_EQ(begin, (Script{kDoubleRule, "SetupTCGDLL() -->", std::string("Target: ") + kTarget, "TSS_VENDOR: KELO",
                             "Vista OS", "Failed SetEntriesInAclW", "Ownership was not taken on registry Key",
                             "Cannot open service: TBS", "Failed to Unblock Commands for Vista+",
                             "SHCreateDirectoryExW error: 5 ", "Unable to Set security on the Policy Directory",
                             "SetEntriesInAclW error"}));
    EXPECT_EQ(run.log[12], "Unable to Set Security on the file Kelo_Config.ini");
    EXPECT_EQ(TextOf(run, kProbeLibrary), "KELO");
    EXPECT_NE(run.After().services.Find("KlPCR"), nullptr);
}

TEST(SetupTCGDLL, AnyNegativeResultOfTheUnblockingIsAFailure)
{
    // The restart of TBS fails: -2.
    Json description = StackMachine{.isKeloUsable = true, .hasKeloService = true}.Make().ToJson();
    description["services"]["TBS"]["onStart"] = {{"error", 1053}, {"states", Json::array()}};
    const winsim::Machine machine = winsim::Machine::FromJson(description);
    StepSequence expected{machine};
    LogBegin(expected, "KELO");
    expected.Step("GetWindowsMajorVersion");
    EXPECT_EQ(expected.Step("UnblockTpmCommands"), "-2");
    expected.Log("Failed to Unblock Commands for Vista+");
    OpenConfiguration(expected);
    EXPECT_EQ(expected.Step("DetectTPMPlatform", {kTarget, "KELO"}), "true 0");
    expected.Step("RemoveTSP1File", {"2"});
    InstallFor(expected, "KELO", "KELO");
    ExpectSetUp(RunSetup(machine, "KELO"), "0", expected);
}

TEST(SetupTCGDLL, AnNtruStackThatCannotBeCheckedGetsNoShim)
{
    // The check does not learn the system directory: 1. Only the result for an absent stack asks for the shim.
    const SimulatedRunOptions noSystemDirectory{.faults = {fmt::format("SHGetFolderPathW={}", kFail)}};
    const StackMachine stacks{.hasNtruService = true};
    const winsim::Machine machine = stacks.Make();
    StepSequence expected{machine};
    BeginWith(expected, "NTRU12");
    DetectNothing(expected);
    ProbeServices(expected, stacks);
    expected.Log(kRule);
    expected.Log("Set to default TPM Platform: NTRU12");
    expected.Log("remove old TSP1.dll found in System32 directory...");
    expected.Step("RemoveTSP1File", {"0"});
    expected.Log("if NTRU present and older version then copy to system32 directory...");
    EXPECT_EQ(expected.Step("CopyTSP1FileImp", {}, noSystemDirectory), "1");
    InstallFor(expected, "NTRU12", "NTRU");
    const SimulatedRun run = RunSetup(machine, "NTRU12", noSystemDirectory);
    ExpectSetUp(run, "0", expected);
    EXPECT_EQ(TextOf(run, kTsp1), "(none)");
}

TEST(SetupTCGDLL, AMissingTargetIsNotLoggedAndNothingIsLoaded)
{
    const SimulatedRun run =
        CallFunction(StackMachine{.isKeloUsable = true}.Make(), "SetupTCGDLL", {"(null)", "OTHER"});
    EXPECT_EQ(run.result, "10015");
    EXPECT_EQ(run.log[2], "TSS_VENDOR: OTHER");
    EXPECT_EQ(CountOf("LoadLibraryA", run.script), 0u);
}

TEST(SetupTCGDLL, ATargetThatIsTooLongLoadsAndCopiesNothing)
{
    for (std::size_t length = 230; length <= 300; length += 7)
    {
        const std::string target = R"(C:\)" + std::string(length - 4, 'd') + "\\";
        const SimulatedRun run = CallFunction(StackMachine{}.Make(), "SetupTCGDLL", {target, "NTRU12"});
        EXPECT_EQ(run.result, "0");
        EXPECT_EQ(CountOf("LoadLibraryA", run.script), 0u);
        // The shim's path is the one that has no bound of its own: Windows refuses it, or does not find it.
        EXPECT_EQ(CountOf("CopyFileA", run.script), 1u);
        EXPECT_EQ(TextOf(run, kTsp1), "(none)");
        EXPECT_EQ(TextOf(run, kProbeLibrary), "(none)");
    }
}

TEST(SetupTCGDLL, ASecondSetUpFindsWhatTheFirstLeft)
{
    const StackMachine stacks{.isKeloUsable = true, .hasKeloService = true};
    const SimulatedRun first = RunSetup(stacks.Make(), "KELO");
    const SimulatedRun second = RunSetup(first.After(), "KELO");
    EXPECT_EQ(second.result, "0");
    EXPECT_EQ(TextOf(second, kProbeLibrary), "KELO");
    EXPECT_EQ(second.After().registry, first.After().registry);
}

// ---- The removal
// -----------------------------------------------------------------------------------------------------

TEST(UninstallTCGDLL, TakesBothShimsOut)
{
    for (const bool hasShims : {true, false})
    {
        const winsim::Machine machine = StackMachine{.hasShims = hasShims}.Make();
        const SimulatedRun run = CallFunction(machine, "UninstallTCGDLL");
        StepSequence expected{machine};
        expected.Log(kDoubleRule);
        expected.Log("UninstallTCGDLL() -->");
        expected.Log("Remove TSP1_x64 and/or TSPI_x64 from System32");
        expected.Step("RemoveTSP1File", {"0"});
        expected.Step("RemoveTSP1File", {"2"});
        expected.Log("<-- UninstallTCGDLL()");
        ExpectRun(run, "0", expected.Whole());
        EXPECT_EQ(TextOf(run, kTsp1), "(none)");
        EXPECT_EQ(TextOf(run, kTspi), "(none)");
    }
}

TEST(UninstallTCGDLL, LeavesTheProbeLibraryAndTheService)
{
    const SimulatedRun setUp = RunSetup(StackMachine{}.Make(), "KELO");
    const SimulatedRun run = CallFunction(setUp.After(), "UninstallTCGDLL");
    EXPECT_EQ(TextOf(run, kProbeLibrary), "KELO");
    EXPECT_NE(run.After().services.Find("KlPCR"), nullptr);
}

} // namespace
