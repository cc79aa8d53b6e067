// Proves the steps of each action, their order, and which of them decides the exit code.
#include "tests/unit/entry/action_script.h"

namespace
{

using testing::ElementsAre;
using testing::ElementsAreArray;

// ---- The lines of each action on a plain machine ----

const Script kProvidersRegistered{"log: Register the Kelo TCG Enabled KSP",
                                  "log: Successfully registered Kelo TCG Enabled KSP",
                                  "log: Register the Kelo TCG-Enabled Strong Authentication KSP",
                                  "log: Successfully registered Kelo TCG-Enabled Strong Authentication KSP"};

const Script kNoTasks{"log: *** InstallAutoEnrollmentTasks(): Failed to open registry Auto-Enroll Tasks not installed"};

const Script kCommandsUnblocked{"log: Vista OS",
                                "log: First SetNamedSecurityInfo call failed: 2",
                                "log: Ownership was not taken on registry Key",
                                "log: Found service: TBS",
                                "log:  TBS current status: 4, 1",
                                "log: Service tcsd_win32.exe not found",
                                "log: Service IFXTCS not found",
                                "log: Service tcsd_x86 not found",
                                "log: Found service: TBS",
                                "log:  TBS current status: 4, 1",
                                "log: Stopping service",
                                "log: TBS  current status: 3, 0",
                                "log: TBS  current status: 3, 0",
                                "log: TBS service stopped",
                                "log: Starting service",
                                "log: TBS  current status: 2, 0",
                                "log: TBS  current status: 2, 0",
                                "log: service started",
                                "log: TBS has been sucessfully restarted",
                                "log: Commands blocked on Vista+"};

const Script kConfigurationOpened{
    R"(log: Successfully changed DACL for directory: C:\ProgramData\Kelo Systems Corp\Common\policies)",
    R"(log: Successfully changed DACL for file: C:\ProgramData\Kelo Systems Corp\Common\Kelo_Config.ini)"};

const Script kNoLeftovers{"log: Try to kill Kelo services left behind in previous installation",
                          "log: Try to kill process: PatchAgent.exe",
                          "log: Cannot find this process: PatchAgent.exe",
                          "log: kill PatchAgent.exe --> ERROR",
                          "log: Try to kill process: VaultCourier.exe",
                          "log: Cannot find this process: VaultCourier.exe",
                          "log: kill VaultCourier.exe --> ERROR"};

// There is no shim.
Script NoShim(int slot, const std::string& name)
{
    const std::string path = "C:\\Windows\\system32\\" + name;
    return {"log: RemoveTSP1File - enter " + std::to_string(slot),
            "log: RemoveTSP1File - Failed to delete file " + path + ", err: 2",
            "log: RemoveTSP1File - Failed to move file " + path + ", err: 2", "log: RemoveTSP1File - exit"};
}

const Script kNoTsp1 = NoShim(0, "TSP1_x64.dll");
const Script kNoTspi = NoShim(2, "Tspi_x64.dll");

Script NoProbeLibrary(const std::string& vendor)
{
    const std::string path = R"(C:\Program Files\Kelo Systems Corp\Toolkit\)" + vendor + R"(\stkprobe.dll)";
    return {"log: Load " + path, "log: Failed to Load Library: " + path + " Err: 126"};
}

const Script kNothingDetected = {"log: --------------------------------------------",
                                 R"(log: DetectTPMPlatform(C:\Program Files\Kelo Systems Corp\Toolkit\,KELO))",
                                 "log: Remove old Tspi_x64.dll",
                                 kNoTspi,
                                 kNoLeftovers,
                                 "log: Restart Kelo Service",
                                 "log: Cannot open service: tcsd_x86",
                                 NoProbeLibrary("KELO"),
                                 "log: --------------------------------------------",
                                 R"(log: DetectTPMPlatform(C:\Program Files\Kelo Systems Corp\Toolkit\,NTRU12))",
                                 kNoLeftovers,
                                 "log: Cannot open service: tcsd_win32.exe",
                                 "log: NTRU service not running",
                                 "log: Remove old Tsp1_x64.dll",
                                 kNoTsp1,
                                 NoProbeLibrary("NTRU12")};

const Script kNoReaders{"log: CTPMSmartCard::IsKlSCardInstalled - No Smart card readers on system"};

// "/Setup" without a vendor: the stack set-up fails, and it alone decides the result.
Script SetupLines(const Script& options, const Script& smartCard = {})
{
    return {options,
            kProvidersRegistered,
            kNoTasks,
            smartCard,
            R"(log: call SetupTCGDLL(C:\Program Files\Kelo Systems Corp\Toolkit\, ))",
            "log: ===================================================",
            "log: SetupTCGDLL() -->",
            R"(log: Target: C:\Program Files\Kelo Systems Corp\Toolkit\)",
            "log: No TSS_VENDOR parameter specified only install if a TSS and proper TPM state is found.",
            kCommandsUnblocked,
            kConfigurationOpened,
            kNothingDetected,
            "log: No default TSS vendor platform specified AND no valid TSS & TPM state detected --> Unable to "
            "install Toolkit!",
            "log: <-- SetupTCGDLL()"};
}

const Script kNoToolkitService{"log: UnInstallTkService - Enter",
                               "log: UnInstallTkService - failed to open the KlPCR Service! 1060"};

Script RemovalLines(const Script& service = kNoToolkitService)
{
    return {"log: ===================================================",
            "log: UninstallTCGDLL() -->",
            "log: Remove TSP1_x64 and/or TSPI_x64 from System32",
            kNoTsp1,
            kNoTspi,
            "log: <-- UninstallTCGDLL()",
            "log: Unregister the Kelo TCG Enabled KSP",
            "log: BCryptRemoveContextFunctionProvider failed with error code 0xc0000225",
            "log: Unregister the Kelo TCG-Enabled Strong Authentication KSP",
            "log: BCryptRemoveContextFunctionProvider failed with error code 0xc0000225",
            service,
            "log: *** InstallAutoEnrollmentTasks(): Failed to find path to Toolkit can't remove Auto-Enroll "
            "Tasks",
            kNoReaders,
            "log: CTPMSmartCard::UninstallMiniDrv - Remove SmartCard - VSC not currently installed... "
            "skipping....",
            "log: CTPMSmartCard::Uninstall - Kelo Smart Card not installed so skip uninstallation"};
}

// Expects the whole log of an action, its standard output and its exit code.
void ExpectActionLog(const SimulatedRun& run, const Words& words, const Script& lines, int exitCode)
{
    ExpectLog(run, std::to_string(exitCode), {HeadOf(words), lines, kEnd});
    EXPECT_EQ(run.outcome.standardOutput, "Done!");
}

// The calls of "/Commit" on a plain machine.
Script CommitSteps()
{
    constexpr char kProvider[] = "Microsoft Enhanced RSA and AES Cryptographic Provider";
    const std::string open =
        OpenKey(std::string(R"(SOFTWARE\Microsoft\Cryptography\Defaults\Provider\)") + kProvider, 1);
    return {Failing(OpenKey(std::string(R"(SOFTWARE\Microsoft\Cryptography\Defaults\Provider\)") + kProvider +
                                " (Prototype)",
                            1),
                    2),
            open,
            kCloseKey,
            Call("RegCreateKeyExA",
                 {"HKEY_LOCAL_MACHINE", R"(SOFTWARE\Kelo Systems Corp.\Keystead CSP Persistent\CAPI)", 0, nullptr, 0,
                  kAllOfKey, nullptr},
                 0, {{"lpdwDisposition", 1}, {"phkResult", "key#1"}}),
            Call("RegSetValueExA", {"key#1", "PassthroughCSP", 0, 1, kProvider, 54}, 0),
            kCloseKey};
}

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
    ExpectActionLog(RunOnPlainMachine({"/Setup"}), {"/Setup"}, SetupLines({}), -1);
}

TEST(RunCustomAction, SetupWithAllOptionsRunsItsStepsInOrder)
{
    const Words words = WithAllOptions("/Setup");
    const SimulatedRun run = RunOnPlainMachine(words);
    const Script begin =
        LogOf({HeadOf(words), "log: TSS Vendor: KELO", "log: TPM VSC Flag set... install VSC",
               "log: TPM_WIN8 flag set, disable Win8 AutoProvisioning",
               "log: ProductType flag set, disable Win8 AutoProvisioning", kProvidersRegistered, kNoTasks,
               "log: Install TPM Virtual Smartcard.... ", kNoReaders,
               "log: Install SmartCard - Failed to copy the KeloMiniDriverBody64.dll to System32 err: 3",
               R"(log: System32 Directory: C:\Windows\system32)",
               R"(log: Install SmartCard - Failed to copy 'C:\Program Files\Kelo Systems Corp\Toolkit\\TPM_VSCard\)"
               R"(KeloVReaderBody.dll' to 'C:\Windows\system32\KeloVReaderBody.dll' err: 3)"});
    ASSERT_GE(run.log.size(), begin.size());
    EXPECT_THAT(Script(run.log.begin(), run.log.begin() + static_cast<std::ptrdiff_t>(begin.size())),
                ElementsAreArray(begin));
    EXPECT_THAT(run.log, testing::Contains("Set to default TPM Platform: KELO"));
    EXPECT_EQ(run.log.back(), "============= Kelo CSP Custom Action <-End ===================");
    EXPECT_EQ(run.exitCode, 0);
}

TEST(RunCustomAction, TheApartmentLastsFromProvisioningToTheMessage)
{
    // For the whole set-up: the steps between which the COM apartment begins and ends.
    Script marks;
    for (const std::string& line : RunOnPlainMachine({"/Setup"}).script)
    {
        for (const char* mark : {"CoInitializeEx", "CoUninitialize", "log: *** InstallAutoEnrollmentTasks",
                                 "log: call SetupTCGDLL", "RegCreateKeyExA", "log: ============= Kelo"})
        {
            if (line.starts_with(mark))
                marks.push_back(mark);
        }
    }
    EXPECT_THAT(marks, ElementsAre("log: *** InstallAutoEnrollmentTasks", "CoInitializeEx", "log: call SetupTCGDLL",
                                   "RegCreateKeyExA", "CoUninitialize", "log: ============= Kelo"));
}

TEST(RunCustomAction, CommitRunsItsStepsInOrderWhateverFollows)
{
    Words hundred{"/Commit"};
    for (int i = 0; i < 100; ++i)
        hundred.push_back("/Option" + std::to_string(i) + "=value");
    const std::pair<const char*, Words> cases[] = {
        {"nothing follows", {"/Commit"}},
        {"all options are ignored", WithAllOptions("/Commit")},
        {"of two switches the first counts", {"/Commit", "/Setup"}},
        {"arguments are logged as they stand",
         {"/Commit", "two words", "", "100% %s%n%d", "\"quoted\"", "trailing\\", "/TSS_VENDOR="}},
        {"a hundred arguments are all logged", hundred},
    };
    for (const auto& [rule, words] : cases)
    {
        SCOPED_TRACE(rule);
        ExpectAction(RunOnPlainMachine(words), words, CommitSteps());
    }
}

TEST(RunCustomAction, RollbackAndUninstallRunTheRemovalInOrderAndIgnoreAllOptions)
{
    for (const char* action : {"/Rollback", "/Uninstall"})
    {
        for (const Words& words : {Words{action}, WithAllOptions(action)})
            ExpectActionLog(RunOnPlainMachine(words), words, RemovalLines(), 0);
    }
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
        ExpectLog(run, "0", {HeadOf({action}), RemovalLines(service), kEnd});
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
        ExpectLog(RunProgram(MachineOf(R"({"services": {"KlPCR": {
            "state": "running", "controlsAccepted": 0, "waitHint": 3000}}})"),
                             {action}),
                  "0", {HeadOf({action}), RemovalLines(service), kEnd});
}

TEST(RunCustomAction, TheRemovalIgnoresWhatTheRegistrySaysOfTheSmartCard)
{
    const SimulatedRun run = RunProgram(MachineOf(R"({"registry": {"HKLM\\SOFTWARE\\Kelo Systems Corp\\Common":
        {"values": {"KlVSC Installed": 1}}}})"),
                                        {"/Uninstall"});
    // The smart card's step deletes the value; the tasks' step finds no path.
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.After().registry.FindValue("HKLM\\SOFTWARE\\Kelo Systems Corp\\Common", "KlVSC Installed"), nullptr);
}

// ---- The head ----

TEST(RunCustomAction, WithoutAnActionSwitchOnlyTheArgumentsAreCounted)
{
    ExpectRefused(RunOnPlainMachine({}), {}, {});
    // No arguments at all, or the program's path alone, which is not logged.
    for (const Words& arguments : {Words{}, Words{"C:\\kelo.exe"}})
    {
        const SimulatedRun run = CallFunction("RunCustomAction", arguments);
        ExpectLog(run, "-1",
                  {"log: ============= Begin-> Kelo CSP (x64) Custom Action ===================",
                   "log: command line argc: " + std::to_string(arguments.size())});
        EXPECT_EQ(run.outcome.standardOutput, "");
    }
}

TEST(RunCustomAction, AnythingButTheExactSwitchIsRefused)
{
    for (const char* action : {"/setup", "/SETUP", "/commit", "/rollback", "/UnInstall", "/Setup=1", "/Setup ",
                               " /Setup", "Setup", "-Setup", "\\Setup", "/Set", "/", "", "/TPM_VSC=1", "\u4E2D"})
    {
        const Words shown{std::string(action) == "\u4E2D" ? "?" : action, "/TSS_VENDOR=KELO"};
        SCOPED_TRACE(action);
        const SimulatedRun run = RunOnPlainMachine({action, "/TSS_VENDOR=KELO"});
        ExpectLog(run, "-1", {HeadOf(shown), "log: invalid command line arg provided"});
        EXPECT_EQ(run.outcome.standardOutput, "");
    }
}

TEST(RunCustomAction, ARefusedSwitchTouchesNothingWhateverFollows)
{
    for (const Words& words : {Words{"/setup"}, Words{"/TPM_VSC=1", "/Setup"}})
        ExpectRefused(RunOnPlainMachine(words), words, {"log: invalid command line arg provided"});
}

TEST(RunCustomAction, ArgumentsAreLoggedInTheCodePage)
{
    const SimulatedRun run = RunOnPlainMachine({"/Commit", "caf\u00E9 \u20AC", "\u4E2D\u0416", "\U0001F600"});
    const Words shown{"/Commit", "caf\u00E9 \u20AC", "??", "??"};
    ExpectLog(run, "0", {HeadOf(shown), CommitSteps(), kEnd});
}

TEST(RunCustomAction, ALongArgumentIsCutInTheLogAlone)
{
    const std::string vendor(600, 'v');
    const SimulatedRun run = RunOnPlainMachine({"/Setup", "/TSS_VENDOR=" + vendor});
    // 36 characters of header before the message; 510 in all.
    const std::string cutArgument = ("command line argv[2]: /TSS_VENDOR=" + vendor).substr(0, 474);
    const std::string cutVendor = ("TSS Vendor: " + vendor).substr(0, 474);
    EXPECT_EQ(run.log.at(4), cutArgument);
    EXPECT_EQ(run.log.at(5), cutVendor);
    EXPECT_EQ(run.exitCode, -1);
}

// ---- The process around the action ----

TEST(WinMain, ACommandLineThatCannotBeSplitEndsTheProgramInSilence)
{
    const SimulatedRun run = RunProgram(MachineOf("{}"), {"/Setup"}, {.faults = {"CommandLineToArgvW=8"}});
    const Script start = StartOf({"/Setup"});
    ExpectRun(run, "-1", {start[0], start[1].substr(0, start[1].find(" = "))});
    EXPECT_EQ(run.outcome.standardOutput, "");
}

TEST(WinMain, ACurrentDirectoryThatCannotBeShutOutEndsNothing)
{
    const SimulatedRun run = RunProgram(MachineOf("{}"), {"/Commit"}, {.faults = {"SetDllDirectoryW=8"}});
    ExpectLog(run, "0", RunOnPlainMachine({"/Commit"}).script);
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
    ExpectLog(run, "0", RunOnPlainMachine({"/Uninstall"}).script);
    EXPECT_EQ(run.outcome.callCounts.at("CoUninitialize"), 1u);
}

TEST(WinMain, ALostStandardOutputChangesNothing)
{
    const SimulatedRun run = RunProgram(MachineOf("{}"), {"/Commit"}, {.faults = {"printf=6"}});
    EXPECT_EQ(run.outcome.standardOutput, "");
    EXPECT_EQ(run.exitCode, 0);
}

} // namespace
