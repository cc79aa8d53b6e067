// Proves what each action is made of, in which order, and what of it decides the exit code.
#include "tests/unit/entry/action_script.h"

namespace
{

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

// ---- The steps of each action on a plain machine: a step that joins the dispatcher joins here. ----

const Script kNoCommonKey{
    R"(RegOpenKeyExA("HKEY_LOCAL_MACHINE", "SOFTWARE\\Kelo Systems Corp\\Common", 0, 983103) = 2)"};
const Script kEnterCom{"CoInitializeEx(null, 0) = 0"};
const Script kLeaveCom{"CoUninitialize()"};

Script SetupSteps(const Script& options)
{
    return Joined({options, kEnterCom, kLeaveCom});
}

Script CommitSteps()
{
    return {};
}

// The toolkit's service is not installed.
const Script kNoToolkitService{"log: UnInstallTkService - Enter",
                               R"(OpenSCManagerW(null, null, 983103) = "serviceManager#1")",
                               R"(OpenServiceW("serviceManager#1", "KlPCR", 983551))",
                               "log: UnInstallTkService - failed to open the KlPCR Service! 1060",
                               R"(CloseServiceHandle("serviceManager#1") = 1)"};

Script RemovalSteps(const Script& service = kNoToolkitService)
{
    return Joined({service, kEnterCom, kLeaveCom});
}

// -------------------------------------------------------------------------------------------------------------------

const Words kAllOptions{"/TSS_VENDOR=KELO", "/TPM_VSC=1", "/TPM_WIN8=1", "/ProductType=Enterprise"};

Words WithAllOptions(const std::string& action)
{
    Words words{action};
    words.insert(words.end(), kAllOptions.begin(), kAllOptions.end());
    return words;
}

SimulatedRun RunOnPlainMachine(const Words& words)
{
    return RunProgram(MachineOf("{}"), words);
}

TEST(RunCustomAction, SetupWithoutOptionsRunsItsStepsInOrder)
{
    ExpectAction(RunOnPlainMachine({"/Setup"}), {"/Setup"}, SetupSteps(kNoCommonKey));
}

TEST(RunCustomAction, SetupWithAllOptionsRunsItsStepsInOrder)
{
    const Words words = WithAllOptions("/Setup");
    const Script options = Joined({{"log: TSS Vendor: KELO", "log: TPM VSC Flag set... install VSC"},
                                   kNoCommonKey,
                                   {"log: TPM_WIN8 flag set, disable Win8 AutoProvisioning",
                                    "log: ProductType flag set, disable Win8 AutoProvisioning"}});
    ExpectAction(RunOnPlainMachine(words), words, SetupSteps(options));
}

TEST(RunCustomAction, CommitRunsItsStepsInOrder)
{
    ExpectAction(RunOnPlainMachine({"/Commit"}), {"/Commit"}, CommitSteps());
}

TEST(RunCustomAction, CommitIgnoresAllOptions)
{
    const Words words = WithAllOptions("/Commit");
    ExpectAction(RunOnPlainMachine(words), words, CommitSteps());
}

TEST(RunCustomAction, RollbackRunsTheRemovalInOrder)
{
    ExpectAction(RunOnPlainMachine({"/Rollback"}), {"/Rollback"}, RemovalSteps());
}

TEST(RunCustomAction, UninstallRunsTheRemovalInOrder)
{
    ExpectAction(RunOnPlainMachine({"/Uninstall"}), {"/Uninstall"}, RemovalSteps());
}

TEST(RunCustomAction, TheRemovalStopsUnregistersAndDeletesTheToolkitsService)
{
    const Script service{"log: UnInstallTkService - Enter", "log: UnInstallTkService - unregister the service",
                         "log: UnInstallTkService - Unregisted the COM portion of the service",
                         "log: UnInstallTkService - Deleted KlPCR Service from SCM",
                         "log: UnInstallTkService - completed"};
    for (const char* action : {"/Rollback", "/Uninstall"})
    {
        const SimulatedRun run = RunProgram(MachineOf(R"({"services": {"KlPCR": {
            "state": "running", "binaryPath": "\"C:\\Toolkit\\KlPCR.exe\""}}})"),
                                            {action});
        EXPECT_EQ(run.exitCode, 0);
        EXPECT_EQ(run.log, LogOf(Joined({HeadOf({action}), RemovalSteps(service), End()})));
        EXPECT_EQ(run.After().services.Find("KlPCR"), nullptr);
    }
}

TEST(RunCustomAction, TheRemovalGoesOnWithAToolkitServiceThatDoesNotStop)
{
    // The service has no path either.
    const Script service{"log: UnInstallTkService - Enter",
                         "log: UnInstallTkService - failed to get path to KlPCR Service",
                         "log: Wait timed out",
                         "log: UnInstallTkService - failed to stop KlPCR Service, can't fully uninstall",
                         "log: UnInstallTkService - Deleted KlPCR Service from SCM",
                         "log: UnInstallTkService - completed"};
    for (const char* action : {"/Rollback", "/Uninstall"})
    {
        const SimulatedRun run = RunProgram(MachineOf(R"({"services": {"KlPCR": {
            "state": "running", "controlsAccepted": 0, "waitHint": 3000}}})"),
                                            {action});
        EXPECT_EQ(run.exitCode, 0);
        EXPECT_EQ(run.log, LogOf(Joined({HeadOf({action}), RemovalSteps(service), End()})));
    }
}

TEST(RunCustomAction, TheRemovalIgnoresAllOptions)
{
    for (const char* action : {"/Rollback", "/Uninstall"})
    {
        const Words words = WithAllOptions(action);
        ExpectAction(RunOnPlainMachine(words), words, RemovalSteps());
    }
}

TEST(RunCustomAction, TheRemovalIgnoresWhatTheRegistrySaysOfTheSmartCard)
{
    const winsim::Machine machine = MachineOf(R"({"registry": {"HKLM\\SOFTWARE\\Kelo Systems Corp\\Common":
        {"values": {"KlVSC Installed": 1}}}})");
    const SimulatedRun run = RunProgram(machine, {"/Uninstall"});
    EXPECT_THAT(run.script, ElementsAreArray(RunOnPlainMachine({"/Uninstall"}).script));
}

// ---- The head ----

TEST(RunCustomAction, WithoutAnActionSwitchOnlyTheArgumentsAreCounted)
{
    ExpectRefused(RunOnPlainMachine({}), {}, {});
}

TEST(RunCustomAction, NoArgumentsAtAllAreCountedToo)
{
    const SimulatedRun run = CallFunction(MachineOf("{}"), "RunCustomAction", {});
    EXPECT_EQ(run.result, "-1");
    EXPECT_THAT(run.log, ElementsAre("============= Begin-> Kelo CSP (x64) Custom Action ===================",
                                     "command line argc: 0"));
    EXPECT_EQ(run.outcome.standardOutput, "");
}

TEST(RunCustomAction, AProgramPathAloneIsNotLogged)
{
    const SimulatedRun run = CallFunction(MachineOf("{}"), "RunCustomAction", {"C:\\kelo.exe"});
    EXPECT_EQ(run.result, "-1");
    EXPECT_THAT(run.log, ElementsAre("============= Begin-> Kelo CSP (x64) Custom Action ===================",
                                     "command line argc: 1"));
}

TEST(RunCustomAction, AnythingButTheExactSwitchIsRefused)
{
    for (const char* action : {"/setup", "/SETUP", "/commit", "/rollback", "/UnInstall", "/Setup=1", "/Setup ",
                               " /Setup", "Setup", "-Setup", "\\Setup", "/Set", "/", "", "/TPM_VSC=1", "\u4E2D"})
    {
        const Words shown{std::string(action) == "\u4E2D" ? "?" : action, "/TSS_VENDOR=KELO"};
        const SimulatedRun run = RunOnPlainMachine({action, "/TSS_VENDOR=KELO"});
        const Script expected = LogOf(Joined({HeadOf(shown), {"log: invalid command line arg provided"}}));
        EXPECT_THAT(run.log, ElementsAreArray(expected)) << action;
        EXPECT_EQ(run.outcome.standardOutput, "") << action;
        EXPECT_EQ(run.exitCode, -1) << action;
    }
}

TEST(RunCustomAction, ARefusedSwitchTouchesNothing)
{
    ExpectRefused(RunOnPlainMachine({"/setup"}), {"/setup"}, {"log: invalid command line arg provided"});
}

TEST(RunCustomAction, ASwitchInAnotherPlaceIsNotTheAction)
{
    const Words words{"/TPM_VSC=1", "/Setup"};
    ExpectRefused(RunOnPlainMachine(words), words, {"log: invalid command line arg provided"});
}

TEST(RunCustomAction, OfTwoSwitchesTheFirstCounts)
{
    ExpectAction(RunOnPlainMachine({"/Commit", "/Setup"}), {"/Commit", "/Setup"}, CommitSteps());
}

TEST(RunCustomAction, ArgumentsAreLoggedAsTheyStand)
{
    const Words words{"/Commit", "two words", "", "100% %s%n%d", "\"quoted\"", "trailing\\", "/TSS_VENDOR="};
    ExpectAction(RunOnPlainMachine(words), words, CommitSteps());
}

TEST(RunCustomAction, ArgumentsAreLoggedInTheCodePage)
{
    const SimulatedRun run = RunOnPlainMachine({"/Commit", "caf\u00E9 \u20AC", "\u4E2D\u0416", "\U0001F600"});
    const Words shown{"/Commit", "caf\u00E9 \u20AC", "??", "??"};
    EXPECT_THAT(run.log, ElementsAreArray(LogOf(Joined({HeadOf(shown), CommitSteps(), End()}))));
    EXPECT_EQ(run.exitCode, 0);
}

TEST(RunCustomAction, ALongArgumentIsCutInTheLogAlone)
{
    const std::string vendor(600, 'v');
    const SimulatedRun run = RunOnPlainMachine({"/Setup", "/TSS_VENDOR=" + vendor});
    // 36 characters of header in front of the message; 510 in all.
    const std::string cutArgument = ("command line argv[2]: /TSS_VENDOR=" + vendor).substr(0, 474);
    const std::string cutVendor = ("TSS Vendor: " + vendor).substr(0, 474);
    EXPECT_EQ(run.log.at(4), cutArgument);
    EXPECT_EQ(run.log.at(5), cutVendor);
    EXPECT_EQ(run.exitCode, 0);
}

TEST(RunCustomAction, AHundredArgumentsAreAllLogged)
{
    Words words{"/Commit"};
    for (int i = 0; i < 100; ++i)
        words.push_back("/Option" + std::to_string(i) + "=value");
    ExpectAction(RunOnPlainMachine(words), words, CommitSteps());
}

// ---- The process around the action ----

TEST(WinMain, ACommandLineThatCannotBeSplitEndsTheProgramInSilence)
{
    const SimulatedRun run = RunProgram(MachineOf("{}"), {"/Setup"}, {.faults = {"CommandLineToArgvW=8"}});
    const Script start = StartOf({"/Setup"});
    EXPECT_EQ(run.exitCode, -1);
    EXPECT_THAT(run.log, IsEmpty());
    EXPECT_THAT(run.script, ElementsAre(start[0], start[1], start[2].substr(0, start[2].find(" = "))));
    EXPECT_EQ(run.outcome.standardOutput, "");
}

TEST(WinMain, ACurrentDirectoryThatCannotBeShutOutEndsNothing)
{
    const SimulatedRun run = RunProgram(MachineOf("{}"), {"/Commit"}, {.faults = {"SetDllDirectoryW=8"}});
    EXPECT_THAT(run.log, ElementsAreArray(RunOnPlainMachine({"/Commit"}).log));
    EXPECT_EQ(run.exitCode, 0);
}

TEST(WinMain, TheArgumentsAreGivenBack)
{
    const SimulatedRun run = RunOnPlainMachine({"/Commit"});
    EXPECT_EQ(run.outcome.callCounts.at("LocalFree"), 1u);
}

TEST(WinMain, AProcessWithoutAPathRunsToo)
{
    const SimulatedRun run = RunProgram(MachineOf(R"({"process": {"path": ""}})"), {"/Commit"});
    EXPECT_EQ(run.log.at(2), "command line argv[0]: ");
    EXPECT_EQ(run.exitCode, 0);
}

TEST(WinMain, AnApartmentThatCannotBeEnteredIsLeftAllTheSame)
{
    const SimulatedRun run = RunProgram(MachineOf("{}"), {"/Uninstall"}, {.faults = {"CoInitializeEx=0x80010106"}});
    EXPECT_THAT(run.log, ElementsAreArray(RunOnPlainMachine({"/Uninstall"}).log));
    EXPECT_EQ(run.outcome.callCounts.at("CoUninitialize"), 1u);
}

TEST(WinMain, ALostStandardOutputChangesNothing)
{
    const SimulatedRun run = RunProgram(MachineOf("{}"), {"/Commit"}, {.faults = {"printf=6"}});
    EXPECT_EQ(run.outcome.standardOutput, "");
    EXPECT_EQ(run.exitCode, 0);
}

} // namespace
