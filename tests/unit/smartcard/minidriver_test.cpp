// Proves how the minidriver is installed and removed.
#include "tests/support/run_tests.h"
#include "tests/unit/smartcard/card_machine.h"

namespace
{

constexpr char kSource64[] = R"(C:\Kelo\TPM_VSCard\KeloMiniDriverBody64.dll)";
constexpr char kTarget64[] = R"(C:\Windows\system32\KeloMiniDriverBody64.dll)";
constexpr char kSource32[] = R"(C:\Kelo\TPM_VSCard\KeloMiniDriverBody.dll)";
constexpr char kTarget32[] = R"(C:\Windows\SysWOW64\KeloMiniDriverBody.dll)";
constexpr char kAdd[] = "dp_add_kelo KeloMiniDriver.inf";
constexpr char kInstall[] = R"(install KeloMiniDriver.inf SCFILTER\CID_4B454C4F5649525455414C43415244)";
constexpr char kRemove[] = R"(remove KeloMiniDriver.inf SCFILTER\CID_4B454C4F5649525455414C43415244)";
constexpr char kDelete[] = "-f dp_delete_kelo KeloMiniDriver.inf";
constexpr char kInstalled[] = "log: Install SmartCard - mini-Driver installed";

// ---- Installation ----

SimulatedRun Install(const std::string& patch = "{}", const SimulatedRunOptions& options = {})
{
    return CallFunction(CardMachine(patch), "InstallMiniDrv", {kLocation}, options);
}

const Script kPrepared = {kNoReaders, AskForVersion(6, 0, true), kConfiguredServices, kSystemFolderIs,
                          kWindowsFolderIs};

const Script kBothCopies = {CopyOf(kSource64, kTarget64), CopyOf(kSource32, kTarget32)};

const Script kBothInstallCommands = {StagerRun(kDriverFolder, kAdd), StagerRun(kDriverFolder, kInstall)};

TEST(InstallMiniDrv, BothLibrariesAreCopiedAndBothCommandsRun)
{
    const SimulatedRun run = Install();
    ExpectRun(run, "0", {kPrepared, kBothCopies, AskForWow64(), kBothInstallCommands, kInstalled});
    EXPECT_EQ(TextOf(run.After(), kTarget64), "minidriver for 64 bits");
    EXPECT_EQ(TextOf(run.After(), kTarget32), "minidriver for 32 bits");
}

TEST(InstallMiniDrv, LibrariesThatAreThereAreOverwritten)
{
    const SimulatedRun run = Install(R"({"files": {"C:\\Windows\\system32\\KeloMiniDriverBody64.dll": {"text": "old"},
                                  "C:\\Windows\\SysWOW64\\KeloMiniDriverBody.dll": {"text": "old"}}})");
    EXPECT_EQ(run.result, "0");
    EXPECT_EQ(TextOf(run.After(), kTarget64), "minidriver for 64 bits");
    EXPECT_EQ(TextOf(run.After(), kTarget32), "minidriver for 32 bits");
}

TEST(InstallMiniDrv, AWindowsBeforeVistaIsSkipped)
{
    for (const char* version : {"5.1", "5.2"})
        ExpectRun(Install(std::string(R"({"windows": {"version": ")") + version + R"("}})"), "0",
                  {kNoReaders, AskForVersion(6, 0, false), "log: This is a XP system!",
                   "log: Install MiniDriver - XP... skipping...."});
}

TEST(InstallMiniDrv, AReaderThatIsThereSkipsAllEvenTheServices)
{
    ExpectRun(CallFunction(MachineWithReader(), "InstallMiniDrv", {kLocation}), "0",
              {kReaderFound, AskForVersion(6, 0, true),
               "log: Install MiniDriver - Kelo VSC already installed... skipping...."});
}

const auto kInstallations =
    RunTests("InstallMiniDrv", &Install)
        .Run("VistaIsNotSkipped", R"({"windows": {"version": "6.0"}})", "0",
             {kPrepared, kBothCopies, AskForWow64(), kBothInstallCommands, kInstalled})
        .Run("A32BitProcessOn64BitWindowsCopiesAndRunsNoCommand", R"({"windows": {"wow64": true}})", "0",
             {kNoReaders, AskForVersion(6, 0, true), AskForWow64(true), AskForWow64(true), kSystemFolderIs,
              kWindowsFolderIs, kBothCopies, AskForWow64(true), kInstalled})
        .Run("WithoutASystemFolderNothingIsInstalled", R"({"folders": {"system": null}})", "-1",
             {kNoReaders, AskForVersion(6, 0, true), kConfiguredServices, NoFolder(kSystemFolder),
              R"(log: Install SmartCard - Failed to get path to ...\System32)"})
        .Run("AFirstCopyThatFailsEndsTheInstallationWithoutAMove",
             R"({"files": {"C:\\Windows\\system32\\KeloMiniDriverBody64.dll": {"inUse": true}}})", "-3",
             {kPrepared, Failing(CopyOf(kSource64, kTarget64), 0),
              "log: Install SmartCard - Failed to copy the KeloMiniDriverBody64.dll to System32 err: 32"})
        .Run("ASecondCopyThatFailsEndsTheInstallationAndTheFirstStays",
             R"({"files": {"C:\\Kelo\\TPM_VSCard\\KeloMiniDriverBody.dll": null}})", "-3",
             {kPrepared, CopyOf(kSource64, kTarget64), Failing(CopyOf(kSource32, kTarget32), 0),
              "log: Install SmartCard - Failed to copy the KeloMiniDriverBody.dll to SysWOW64 err: 2"},
             [](const SimulatedRun& run) { EXPECT_EQ(TextOf(run.After(), kTarget64), "minidriver for 64 bits"); })
        .Run("AFirstCommandThatCannotBeStartedEndsTheInstallation", "{}", {.faults = {"CreateProcessW#1=740"}}, "-4",
             {kPrepared, kBothCopies, AskForWow64(), StagerFailure(kDriverFolder, kAdd, 740),
              "log: Install SmartCard - command dp_add_kelo failed!"})
        .Run("ASecondCommandThatCannotBeStartedEndsTheInstallation", "{}", {.faults = {"CreateProcessW#2=5"}}, "-4",
             {kPrepared, kBothCopies, AskForWow64(), StagerRun(kDriverFolder, kAdd),
              StagerFailure(kDriverFolder, kInstall, 5), "log: Install SmartCard - failed to install the mini-Driver!"})
        .Run("CommandsThatRunAndFailChangeNothing",
             R"({"programs": {"C:\\Kelo\\TPM_VSCard\\DriverStager.exe": {"runs": [{"exitCode": 9}]}}})", "0",
             {kPrepared, kBothCopies, AskForWow64(), StagerRun(kDriverFolder, kAdd, 9),
              StagerRun(kDriverFolder, kInstall, 9), kInstalled});

TEST(InstallMiniDrv, WithoutAWindowsFolderNothingIsInstalledWhateverTheLocation)
{
    for (const char* location : {kLocation, "", "(null)"})
        ExpectRun(CallFunction(CardMachine(R"({"folders": {"windows": null}})"), "InstallMiniDrv", {location}), "-1",
                  {kNoReaders, AskForVersion(6, 0, true), kConfiguredServices, kSystemFolderIs,
                   NoFolder(kWindowsFolder), R"(log: Install SmartCard - Failed to get path to ...\Windows)"});
}

TEST(InstallMiniDrv, WithoutALocationNothingIsInstalled)
{
    for (const char* location : {"", "(null)", "C:", "C:Kelo", "Kelo", R"(\Kelo)"})
        ExpectRun(CallFunction(CardMachine(), "InstallMiniDrv", {location}), "-1",
                  {kPrepared, "log: Install SmartCard - Failed; Location of installation was not provided"});
}

// ---- Installation by a 32-bit program ----

SimulatedRun Install32(const std::string& patch = "{}")
{
    return CallFunction(CardMachine(patch), "InstallMiniDrv32", {kLocation, "false"});
}

constexpr char kOnlyTarget[] = R"(C:\Windows\system32\KeloMiniDriverBody.dll)";
const Script kPrepared32 = {AskForVersion(6, 0, true), kConfiguredServices, kSystemFolderIs, kWindowsFolderIs};

TEST(InstallMiniDrv32, TheOneLibraryIsCopiedAndBothCommandsRun)
{
    const SimulatedRun run = Install32();
    ExpectRun(run, "0", {kPrepared32, CopyOf(kSource32, kOnlyTarget), AskForWow64(), kBothInstallCommands, kInstalled});
    EXPECT_EQ(TextOf(run.After(), kOnlyTarget), "minidriver for 32 bits");
}

TEST(InstallMiniDrv32, ACopyThatFailsEndsTheInstallation)
{
    ExpectRun(Install32(R"({"files": {"C:\\Windows\\system32\\KeloMiniDriverBody.dll": {"inUse": true}}})"), "-3",
              {kPrepared32, Failing(CopyOf(kSource32, kOnlyTarget), 0),
               "log: Install SmartCard - Failed to copy the KeloMiniDriverBody.dll to System32 err: 32"});
}

// ---- Removal ----

constexpr char kBegin[] = "log: CTPMSmartCard::UninstallMiniDrv - Uninstall the mini-Driver";
constexpr char kRemoved[] = "log: CTPMSmartCard::UninstallMiniDrv - Removed the virtual smart card";
constexpr char kBodiesInPlace[] =
    R"("files": {"C:\\Windows\\system32\\KeloMiniDriverBody64.dll": {"text": "minidriver for 64 bits"},
                 "C:\\Windows\\SysWOW64\\KeloMiniDriverBody.dll": {"text": "minidriver for 32 bits"}})";

// On a machine with the reader; `members` describe what else it has.
SimulatedRun Uninstall(const std::string& members = "", const SimulatedRunOptions& options = {})
{
    return CallFunction(MachineWithReader(members), "UninstallMiniDrv", {kLocation}, options);
}

const Script kBeginOfRemoval = {kReaderFound, AskForVersion(6, 0, true), kBegin};

const Script kBothRemoveCommands = {StagerRun(kDriverFolder, kRemove), StagerRun(kDriverFolder, kDelete)};

TEST(UninstallMiniDrv, BothCommandsRunAndTheLibraryFor64BitsGoesAlone)
{
    const SimulatedRun run = Uninstall(kBodiesInPlace);
    ExpectRun(run, "0",
              {kBeginOfRemoval, AskForWow64(), kBothRemoveCommands, kSystemFolderIs, Deletion(kTarget64), kRemoved});
    EXPECT_EQ(TextOf(run.After(), kTarget64), "(none)");
    EXPECT_EQ(TextOf(run.After(), kTarget32), "minidriver for 32 bits");
}

const auto kRemovals =
    RunTests("UninstallMiniDrv", &Uninstall)
        .Run("AMissingLibraryIsPassedOverAndTheEndStillLogged", "", "0",
             {kBeginOfRemoval, AskForWow64(), kBothRemoveCommands, kSystemFolderIs, Failing(Deletion(kTarget64), 0),
              kRemoved})
        .Run("CommandsThatCannotBeStartedAreLoggedAndTheRemovalGoesOn", kBodiesInPlace,
             {.faults = {"CreateProcessW=193"}}, "0",
             {kBeginOfRemoval, AskForWow64(), StagerFailure(kDriverFolder, kRemove, 193),
              "log: CTPMSmartCard::UninstallMiniDrv - Remove SmartCard - failed to remove the Driver!",
              StagerFailure(kDriverFolder, kDelete, 193),
              "log: CTPMSmartCard::UninstallMiniDrv - Remove SmartCard - command dp_delete_kelo failed!",
              kSystemFolderIs, Deletion(kTarget64), kRemoved})
        .Run("A32BitProcessOn64BitWindowsRunsNoCommandAndStillDeletes",
             std::string(kBodiesInPlace) + R"(, "windows": {"wow64": true})", "0",
             {kBeginOfRemoval, AskForWow64(true), kSystemFolderIs, Deletion(kTarget64), kRemoved})
        .Run("WithoutASystemFolderTheLibraryStays", R"("folders": {"system": null})", "-1",
             {kBeginOfRemoval, AskForWow64(), kBothRemoveCommands, NoFolder(kSystemFolder),
              R"(log: CTPMSmartCard::UninstallMiniDrv - Remove SmartCard - Failed to get path to ...\System32)"});

TEST(UninstallMiniDrv, ALibraryInUseIsMarkedForDeletionAndTheResultNotLookedAt)
{
    constexpr char kInUse[] =
        R"("files": {"C:\\Windows\\system32\\KeloMiniDriverBody64.dll": {"text": "x", "inUse": true}})";
    const Script removed = {kBeginOfRemoval,
                            AskForWow64(),
                            kBothRemoveCommands,
                            kSystemFolderIs,
                            Failing(Deletion(kTarget64), 0),
                            "log: CTPMSmartCard::UninstallMiniDrv - Remove SmartCard - couldn't directly delete the "
                            "VReaderBody dll, mark for deletion on reboot"};
    const std::string mark = MoveAtReboot(kTarget64, nullptr);
    const SimulatedRun marked = Uninstall(kInUse);
    ExpectRun(marked, "0", {removed, mark, kRemoved});
    EXPECT_EQ(marked.After().pendingMoves.moves.size(), 1u);
    const SimulatedRun unmarked = Uninstall(kInUse, {.faults = {"MoveFileExW=5"}});
    ExpectRun(unmarked, "0", {removed, Failing(mark, 0), kRemoved});
    EXPECT_EQ(unmarked.After().pendingMoves.moves.size(), 0u);
}

TEST(UninstallMiniDrv, WithoutTheReaderNothingIsDone)
{
    ExpectRun(CallFunction(CardMachine(), "UninstallMiniDrv", {kLocation}), "0",
              {kNoReaders, AskForVersion(6, 0, true),
               "log: CTPMSmartCard::UninstallMiniDrv - Remove SmartCard - VSC not currently installed... "
               "skipping...."});
}

TEST(UninstallMiniDrv, AWindowsBeforeVistaIsSkipped)
{
    for (const char* version : {"5.1", "5.2"})
        ExpectRun(Uninstall(std::string(R"("windows": {"version": ")") + version + R"("})"), "0",
                  {kReaderFound, AskForVersion(6, 0, false), "log: This is a XP system!",
                   "log: CTPMSmartCard::UninstallMiniDrv - Remove SmartCard - not a valid "
                   "system/configuration... skipping...."});
}

TEST(UninstallMiniDrv, WithoutALocationTheRegistryNamesIt)
{
    for (const char* location : {"", "(null)", "C:", "C:Kelo", "Kelo", R"(\Kelo)"})
        ExpectRun(
            CallFunction(WithInstallPath(MachineWithReader(kBodiesInPlace), kLocation), "UninstallMiniDrv", {location}),
            "0",
            {kBeginOfRemoval, kPathRead, AskForWow64(), kBothRemoveCommands, kSystemFolderIs, Deletion(kTarget64),
             kRemoved});
}

TEST(UninstallMiniDrv, WithoutAnyLocationTheFolderStandsAloneAndTheLibraryStillGoes)
{
    const SimulatedRun run = CallFunction(MachineWithReader(kBodiesInPlace), "UninstallMiniDrv", {""});
    EXPECT_EQ(run.result, "0");
    EXPECT_EQ(run.log.at(2), R"("\TPM_VSCard\\DriverStager.exe" )" + std::string(kRemove));
    EXPECT_EQ(run.log.at(3), "Kelo Toolkit Installation -> Failed to launch DriverStager rc: 3");
    EXPECT_EQ(TextOf(run.After(), kTarget64), "(none)");
}

TEST(UninstallMiniDrv, ARegistryThatNamesNoFullPathNamesNone)
{
    for (const char* path : {"Kelo", "C:Kelo", R"(\Kelo)", R"(..\Kelo)"})
    {
        const SimulatedRun run =
            CallFunction(WithInstallPath(MachineWithReader(kBodiesInPlace), path), "UninstallMiniDrv", {""});
        EXPECT_EQ(run.log.at(2), R"("\TPM_VSCard\\DriverStager.exe" )" + std::string(kRemove)) << path;
    }
}

TEST(UninstallMiniDrv, WithoutMemoryForTheFolderNoCommandIsRunAndTheLibraryStillGoes)
{
    const SimulatedRun run =
        CallFunction(Changed(MachineWithReader(kBodiesInPlace), R"({"process": {"largestBlock": 500}})"),
                     "UninstallMiniDrv", {R"(C:\)" + std::string(240, 'k')});
    EXPECT_EQ(run.result, "0");
    EXPECT_EQ(run.log.at(2), "CTPMSmartCard::UninstallMiniDrv - Unknown exception caught return 0");
    EXPECT_FALSE(run.outcome.callCounts.contains("CreateProcessW"));
    EXPECT_EQ(TextOf(run.After(), kTarget64), "(none)");
}

TEST(UninstallMiniDrv32, BothCommandsRunAndTheOneLibraryGoes)
{
    ExpectRun(CallFunction(CardMachine(R"({"files": {"C:\\Windows\\system32\\KeloMiniDriverBody.dll": {}}})"),
                           "UninstallMiniDrv32", {kLocation, "true"}),
              "0",
              {AskForVersion(6, 0, true), kBegin, AskForWow64(), kBothRemoveCommands, kSystemFolderIs,
               Deletion(kOnlyTarget), kRemoved});
}

TEST(UninstallMiniDrv, WritesNothingToTheRegistry)
{
    const winsim::Machine machine =
        MachineWithReader(R"("registry": {"HKLM\\SOFTWARE\\Kelo Systems Corp\\Common": {}})");
    EXPECT_EQ(CallFunction(machine, "UninstallMiniDrv", {kLocation}).After().registry, machine.registry);
}

} // namespace
