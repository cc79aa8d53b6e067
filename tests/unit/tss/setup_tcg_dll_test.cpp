// Proves the order of the stack set-up's steps and how it chooses a stack, and what the removal does.
#include "tests/support/stack_machine.h"
#include "tests/support/step_sequence.h"
#include "tests/unit/tss/tss_script.h"

#include <gtest/gtest.h>

namespace
{

constexpr char kDoubleRule[] = "log: ===================================================";
constexpr char kNoVendor[] =
    "log: No TSS_VENDOR parameter specified only install if a TSS and proper TPM state is found.";
constexpr char kUnableToInstall[] =
    "log: No default TSS vendor platform specified AND no valid TSS & TPM state detected --> "
    "Unable to install Toolkit!";
constexpr char kWillFail[] = "log: No default TPM platform specified - installation will fail.";
constexpr char kProbeLibrary[] = R"(C:\Windows\system32\stkprobe.dll)";
constexpr char kBlockedKey[] = R"(HKLM\SOFTWARE\Microsoft\Tpm\BlockedCommands\List)";

SimulatedRun RunSetup(const winsim::Machine& machine, const std::string& vendor,
                      const SimulatedRunOptions& options = {})
{
    return CallFunction(machine, "SetupTCGDLL", {kTarget, vendor}, options);
}

std::string TextAfter(const SimulatedRun& run, const std::string& path)
{
    return TextOf(run.After(), path);
}

// ---- Expected scripts: the steps in their order ----

class ExpectedSetup : public StepSequence
{
public:
    using StepSequence::StepSequence;

    void Begin(const std::string& vendor)
    {
        Add({kDoubleRule, "log: SetupTCGDLL() -->", std::string("log: Target: ") + kTarget,
             vendor == "(null)" ? kNoVendor : "log: TSS_VENDOR: " + vendor});
        Step("GetWindowsMajorVersion");
    }

    void OpenConfiguration()
    {
        EXPECT_EQ(Step("SetPolicyDirectoryAccess"), "1");
        EXPECT_EQ(Step("SetConfigFileAccess"), "1");
    }

    // All steps up to the first detection, on Vista or later.
    void Prepare(const std::string& vendor)
    {
        Begin(vendor);
        EXPECT_EQ(Step("UnblockTpmCommands"), "0");
        Add("log: Commands blocked on Vista+");
        OpenConfiguration();
    }

    void DetectNothing()
    {
        EXPECT_EQ(Step("DetectTPMPlatform", {kTarget, "KELO"}), "false 7");
        EXPECT_EQ(Step("DetectTPMPlatform", {kTarget, "NTRU12"}), "false 9");
    }

    // The set-up's own search for the stacks' services.
    void LookForServices(const StackMachine& machine)
    {
        const auto look = [](const char* service, bool isThere, const char* line) {
            const std::string open = OpenService(service, 0x15);
            return isThere ? Script{open, kCloseService, line} : Script{Failing(open)};
        };
        Add({kOpenManager, look("tcsd_x86", machine.hasKeloService, "log: Found Kelo TSS"),
             look("tcsd_win32.exe", machine.hasNtruService, "log: Found NTRU TSS"), kCloseManager});
    }

    // A usable stack: `slot` is that of its shim.
    void Use(const char* vendor, const char* slot, const char* toolkitVendor)
    {
        EXPECT_EQ(Step("DetectTPMPlatform", {kTarget, vendor}), "true 0");
        Step("RemoveTSP1File", {slot});
        InstallFor(vendor, toolkitVendor);
    }

    void InstallFor(const char* vendor, const char* toolkitVendor)
    {
        Step("CopyTCGDLL", {kTarget, vendor});
        EXPECT_EQ(Step("InstallTkService", {toolkitVendor, kTarget}), "0");
    }

    void SetUpKelo(const std::string& vendor)
    {
        Add({kRule, "log: Set to default TPM Platform: " + vendor});
        Step("RemoveTSP1File", {"2"});
        if (Step("GetServiceBinaryPath", {"tcsd_x86"}).starts_with("(none)"))
        {
            Add("log: Kelo TSS not present so copy 'shim' TSPI.dll");
            EXPECT_EQ(Step("CopyShimFile", {kTarget, "NTRU12", "2"}), "true");
        }
        InstallFor("KELO", "KELO");
    }

    // Returns the result of the search for the stack's own library.
    std::string SetUpNtru(const std::string& vendor, const SimulatedRunOptions& options = {})
    {
        Add({kRule, "log: Set to default TPM Platform: " + vendor,
             "log: remove old TSP1.dll found in System32 directory..."});
        Step("RemoveTSP1File", {"0"});
        Add("log: if NTRU present and older version then copy to system32 directory...");
        const std::string result = Step("CopyTSP1FileImp", {}, options);
        if (result == "-1")
        {
            Add("log: NTRU not present so copy 'shim' TSP1.dll");
            EXPECT_EQ(Step("CopyShimFile", {kTarget, "NTRU12", "0"}), "true");
        }
        InstallFor("NTRU12", "NTRU");
        return result;
    }

    void ExpectAsRun(const SimulatedRun& run, const std::string& result)
    {
        Add("log: <-- SetupTCGDLL()");
        ExpectRun(run, result, *this);
    }
};

// Expects a set-up that detects no usable stack. `rest` adds the steps after the search for the stacks' services.
template <typename Rest>
SimulatedRun ExpectUndetected(const StackMachine& stacks, const std::string& vendor, const std::string& result,
                              Rest rest, const SimulatedRunOptions& options = {})
{
    SCOPED_TRACE(vendor);
    const winsim::Machine machine = stacks.Make();
    SimulatedRun run = RunSetup(machine, vendor, options);
    ExpectedSetup expected{machine};
    expected.Prepare(vendor);
    expected.DetectNothing();
    expected.LookForServices(stacks);
    rest(expected);
    expected.ExpectAsRun(run, result);
    return run;
}

// The remaining steps: either one stack is set up under this requested name, or the set-up gives up with a line.
auto KeloAs(const std::string& vendor)
{
    return [vendor](ExpectedSetup& expected) { expected.SetUpKelo(vendor); };
}
auto NtruAs(const std::string& vendor)
{
    return [vendor](ExpectedSetup& expected) { expected.SetUpNtru(vendor); };
}
auto GivesUp(const char* line)
{
    return [line](ExpectedSetup& expected) { expected.Add(line); };
}

// ---- A usable stack ----

TEST(SetupTCGDLL, AUsableKeloStackIsChosenAndNtruIsNeverLookedAt)
{
    const winsim::Machine machine =
        StackMachine{.isKeloUsable = true, .isNtruUsable = true, .hasKeloService = true, .hasShims = true}.Make();
    for (const char* vendor : {"KELO", "NTRU12", "(null)"})
    {
        const SimulatedRun run = RunSetup(machine, vendor);
        ExpectedSetup expected{machine};
        expected.Prepare(vendor);
        expected.Use("KELO", "2", "KELO");
        expected.ExpectAsRun(run, "0");
        EXPECT_EQ(TextAfter(run, kProbeLibrary), "KELO");
        EXPECT_EQ(TextAfter(run, kTspi), "(none)");
        // The other stack's shim stays.
        EXPECT_EQ(TextAfter(run, kTsp1), "old");
    }
}

TEST(SetupTCGDLL, AUsableNtruStackIsChosenWhenKelosIsNot)
{
    const winsim::Machine machine = StackMachine{.isNtruUsable = true, .hasNtruService = true, .hasShims = true}.Make();
    for (const char* vendor : {"KELO", "NTRU12", "(null)"})
    {
        const SimulatedRun run = RunSetup(machine, vendor);
        ExpectedSetup expected{machine};
        expected.Prepare(vendor);
        EXPECT_EQ(expected.Step("DetectTPMPlatform", {kTarget, "KELO"}), "false 7");
        expected.Use("NTRU12", "0", "NTRU");
        expected.ExpectAsRun(run, "0");
        EXPECT_EQ(TextAfter(run, kProbeLibrary), "NTRU12");
        EXPECT_EQ(TextAfter(run, kTsp1), "(none)");
        EXPECT_EQ(TextAfter(run, kTspi), "(none)");
    }
}

// ---- The requested stack ----

TEST(SetupTCGDLL, TheRequestIsComparedWithoutRegardToCase)
{
    for (const char* vendor : {"KELO", "kelo", "Kelo"})
    {
        const SimulatedRun run = ExpectUndetected({}, vendor, "0", KeloAs(vendor));
        EXPECT_EQ(TextAfter(run, kTspiCopied), "shim");
        EXPECT_EQ(TextAfter(run, kProbeLibrary), "KELO");
    }
    for (const char* vendor : {"NTRU12", "ntru12"})
    {
        const SimulatedRun run = ExpectUndetected({}, vendor, "0", NtruAs(vendor));
        EXPECT_EQ(TextAfter(run, kTsp1), "shim");
        EXPECT_EQ(TextAfter(run, kProbeLibrary), "NTRU12");
    }
}

TEST(SetupTCGDLL, AnInstalledStackKeepsItsOwnLibrary)
{
    const SimulatedRun kelo = ExpectUndetected({.hasKeloService = true}, "KELO", "0", KeloAs("KELO"));
    EXPECT_EQ(TextAfter(kelo, kTspi), "(none)");
    const SimulatedRun ntru = ExpectUndetected({.hasNtruService = true}, "NTRU12", "0", NtruAs("NTRU12"));
    EXPECT_EQ(TextAfter(ntru, kTsp1), "(none)");
}

TEST(SetupTCGDLL, AnUnknownRequestFailsWithTheLastDetectionsResult)
{
    for (const char* vendor : {"NTRU", "OTHER", ""})
        EXPECT_EQ(TextAfter(ExpectUndetected({}, vendor, "9", GivesUp(kWillFail)), kProbeLibrary), "(none)");
}

TEST(SetupTCGDLL, NoRequestFailsWithTheLastDetectionsResult)
{
    ExpectUndetected({}, "(null)", "9", GivesUp(kUnableToInstall));
}

// ---- The single installed stack ----

std::string SwitchLine(const char* found, const char* requested)
{
    return fmt::format("log: Found a single TCS = {} that is different than the default {}. Set the default to its TSS",
                       found, requested);
}

TEST(SetupTCGDLL, TheOnlyInstalledStackOutweighsTheRequest)
{
    for (const char* vendor : {"KELO", "kelo", "OTHER", "NTRU", "ntru12"})
        ExpectUndetected({.hasNtruService = true}, vendor, "0", [&](ExpectedSetup& expected) {
            expected.Add(SwitchLine("NTRU12", vendor));
            expected.SetUpNtru("NTRU12");
        });
    for (const char* vendor : {"NTRU12", "kelo"})
        ExpectUndetected({.hasKeloService = true}, vendor, "0", [&](ExpectedSetup& expected) {
            expected.Add(SwitchLine("KELO", vendor));
            expected.SetUpKelo("KELO");
        });
}

TEST(SetupTCGDLL, WithTwoInstalledStacksTheRequestStands)
{
    const StackMachine both{.hasKeloService = true, .hasNtruService = true};
    ExpectUndetected(both, "KELO", "0", KeloAs("KELO"));
    ExpectUndetected(both, "NTRU12", "0", NtruAs("NTRU12"));
}

TEST(SetupTCGDLL, AnInstalledStackIsNoRequest)
{
    for (const StackMachine& stacks : {StackMachine{.hasKeloService = true}, StackMachine{.hasNtruService = true},
                                       StackMachine{.hasKeloService = true, .hasNtruService = true}})
        ExpectUndetected(stacks, "(null)", "9", GivesUp(kUnableToInstall));
}

TEST(SetupTCGDLL, AServiceManagerThatCannotBeOpenedCountsAsNoStackInSilence)
{
    const winsim::Machine machine = StackMachine{.version = "5.1", .hasNtruService = true}.Make();
    // The set-up opens the service manager after the detections did.
    ExpectedSetup before{machine};
    before.DetectNothing();
    const std::size_t openings = CountOf("OpenSCManagerW", before);
    const SimulatedRun run = RunSetup(machine, "OTHER", {.faults = {fmt::format("OpenSCManagerW#{}=5", openings + 1)}});
    ExpectedSetup expected{machine};
    expected.Begin("OTHER");
    expected.Add("log: Not Vista+ OS");
    expected.OpenConfiguration();
    expected.DetectNothing();
    expected.Add({Failing(kOpenManager), kWillFail});
    expected.ExpectAsRun(run, "9");
}

// ---- The preparations ----

// Expects a set-up that unblocks no command, for which `unblocking` is all that it does, and goes on as usual.
void ExpectNothingUnblocked(const StackMachine& stacks, const Script& unblocking,
                            const SimulatedRunOptions& options = {})
{
    const SimulatedRun run = RunSetup(stacks.Make(), "KELO", options);
    ExpectedSetup expected{stacks.Make()};
    expected.Begin("KELO");
    expected.Add(unblocking);
    expected.OpenConfiguration();
    expected.DetectNothing();
    expected.LookForServices(stacks);
    expected.SetUpKelo("KELO");
    expected.ExpectAsRun(run, "0");
    EXPECT_NE(run.After().registry.FindValue(kBlockedKey, "20"), nullptr);
}

TEST(SetupTCGDLL, BeforeVistaNothingIsUnblockedAndEverythingElseRuns)
{
    ExpectNothingUnblocked({.version = "5.1"}, "log: Not Vista+ OS");
}

TEST(SetupTCGDLL, AVersionThatIsToldOnlyOnceUnblocksNothingAndFailsNothing)
{
    ExpectNothingUnblocked({}, {Call("GetVersionExA", {156}, 0), Call("GetVersionExA", {148}, 0), "log: Not VISTA OS"},
                           {.faults = {"GetVersionExA#2=122", "GetVersionExA#3=122"}});
}

TEST(SetupTCGDLL, PreparationsThatFailStopNothing)
{
    winsim::Machine machine = StackMachine{.isKeloUsable = true, .hasKeloService = true}.Make();
    machine.services.Remove("TBS");
    machine.files.Create(R"(C:\ProgramData\Kelo Systems Corp\Common)", true).isDenied = true;
    const SimulatedRun run = RunSetup(machine, "KELO", {.faults = {"SetEntriesInAclW=1336"}});
    EXPECT_EQ(run.result, "0");
    const Script begin =
        LogOf({kDoubleRule, "log: SetupTCGDLL() -->", std::string("log: Target: ") + kTarget, "log: TSS_VENDOR: KELO",
               "log: Vista OS", "log: Failed SetEntriesInAclW", "log: Ownership was not taken on registry Key",
               "log: Cannot open service: TBS", "log: Failed to Unblock Commands for Vista+",
               "log: SHCreateDirectoryExW error: 5 ", "log: Unable to Set security on the Policy Directory",
               "log: SetEntriesInAclW error", "log: Unable to Set Security on the file Kelo_Config.ini"});
    ExpectLines({run.log.begin(), run.log.begin() + 13}, begin, "the log's beginning");
    EXPECT_EQ(TextAfter(run, kProbeLibrary), "KELO");
    EXPECT_NE(run.After().services.Find("KlPCR"), nullptr);
}

TEST(SetupTCGDLL, AnyNegativeResultOfTheUnblockingIsAFailure)
{
    // The restart of TBS fails, so the result is -2.
    const winsim::Machine machine = Changed(StackMachine{.isKeloUsable = true, .hasKeloService = true}.Make(),
                                            R"({"services": {"TBS": {"onStart": {"error": 1053, "states": []}}}})");
    ExpectedSetup expected{machine};
    expected.Begin("KELO");
    EXPECT_EQ(expected.Step("UnblockTpmCommands"), "-2");
    expected.Add("log: Failed to Unblock Commands for Vista+");
    expected.OpenConfiguration();
    expected.Use("KELO", "2", "KELO");
    expected.ExpectAsRun(RunSetup(machine, "KELO"), "0");
}

TEST(SetupTCGDLL, AnNtruStackThatCannotBeCheckedGetsNoShim)
{
    // The check cannot find the system directory: 1. Only the result for an absent stack installs the shim.
    const SimulatedRunOptions noSystemDirectory{.faults = {fmt::format("SHGetFolderPathW={}", kFail)}};
    const SimulatedRun run = ExpectUndetected(
        {.hasNtruService = true}, "NTRU12", "0",
        [&](ExpectedSetup& expected) { EXPECT_EQ(expected.SetUpNtru("NTRU12", noSystemDirectory), "1"); },
        noSystemDirectory);
    EXPECT_EQ(TextAfter(run, kTsp1), "(none)");
}

TEST(SetupTCGDLL, AMissingTargetIsNotLoggedAndNothingIsLoaded)
{
    const SimulatedRun run =
        CallFunction(StackMachine{.isKeloUsable = true}.Make(), "SetupTCGDLL", {"(null)", "OTHER"});
    EXPECT_EQ(run.result, "10015");
    EXPECT_EQ(run.log[2], "TSS_VENDOR: OTHER");
    EXPECT_EQ(CountOf("LoadLibraryA", run.script), 0u);
}

TEST(SetupTCGDLL, AMissingTargetIsAnEmptyOneForTheShim)
{
    const SimulatedRun run = CallFunction(StackMachine{}.Make(), "SetupTCGDLL", {"(null)", "NTRU12"});
    EXPECT_THAT(run.log,
                testing::Contains("NTRU12\\TSP1-kelo.dll unable to copy to " + std::string(kTsp1) + " err: 206"));
    EXPECT_EQ(CountOf("CopyFileA", run.script), 0u);
}

TEST(SetupTCGDLL, ATargetThatIsTooLongLoadsAndCopiesNothing)
{
    for (std::size_t length = 230; length <= 300; length += 7)
    {
        const std::string target = R"(C:\)" + std::string(length - 4, 'd') + "\\";
        const SimulatedRun run = CallFunction(StackMachine{}.Make(), "SetupTCGDLL", {target, "NTRU12"});
        EXPECT_EQ(run.result, "0");
        EXPECT_EQ(CountOf("LoadLibraryA", run.script), 0u);
        // Only the shim's path has no length limit of its own: Windows refuses the path, or does not find it.
        EXPECT_EQ(CountOf("CopyFileA", run.script), 1u);
        EXPECT_EQ(TextAfter(run, kTsp1), "(none)");
        EXPECT_EQ(TextAfter(run, kProbeLibrary), "(none)");
    }
}

TEST(SetupTCGDLL, ASecondSetUpFindsWhatTheFirstLeft)
{
    const StackMachine stacks{.isKeloUsable = true, .hasKeloService = true};
    const SimulatedRun first = RunSetup(stacks.Make(), "KELO");
    const SimulatedRun second = RunSetup(first.After(), "KELO");
    EXPECT_EQ(second.result, "0");
    EXPECT_EQ(TextAfter(second, kProbeLibrary), "KELO");
    EXPECT_EQ(second.After().registry, first.After().registry);
}

// ---- The removal ----

TEST(UninstallTCGDLL, TakesBothShimsOut)
{
    for (const bool hasShims : {true, false})
    {
        const winsim::Machine machine = StackMachine{.hasShims = hasShims}.Make();
        const SimulatedRun run = CallFunction(machine, "UninstallTCGDLL");
        StepSequence expected{machine};
        expected.Add({kDoubleRule, "log: UninstallTCGDLL() -->", "log: Remove TSP1_x64 and/or TSPI_x64 from System32"});
        expected.Step("RemoveTSP1File", {"0"});
        expected.Step("RemoveTSP1File", {"2"});
        expected.Add("log: <-- UninstallTCGDLL()");
        ExpectRun(run, "0", expected);
        EXPECT_EQ(TextAfter(run, kTsp1), "(none)");
        EXPECT_EQ(TextAfter(run, kTspi), "(none)");
    }
}

TEST(UninstallTCGDLL, LeavesTheProbeLibraryAndTheService)
{
    const SimulatedRun run = CallFunction(RunSetup(StackMachine{}.Make(), "KELO").After(), "UninstallTCGDLL");
    EXPECT_EQ(TextAfter(run, kProbeLibrary), "KELO");
    EXPECT_NE(run.After().services.Find("KlPCR"), nullptr);
}

} // namespace
