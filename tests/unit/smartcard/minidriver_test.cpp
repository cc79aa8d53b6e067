// Proves how the minidriver is installed and removed.
#include "tests/support/version_script.h"
#include "tests/unit/smartcard/card_machine.h"

namespace
{

constexpr char kSystem[] = R"(C:\Windows\system32)";
constexpr char kWindows[] = R"(C:\Windows)";
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

Script Prepared()
{
    return Joined({NoReaders(),
                   AskForVersion(6, 0, true),
                   ConfiguredServices(),
                   {FolderIs(37, kSystem), FolderIs(36, kWindows)}});
}

Script BothCopies()
{
    return {CopyOf(kSource64, kTarget64), CopyOf(kSource32, kTarget32)};
}

Script BothInstallCommands()
{
    return Joined({StagerRun(kDriverFolder, kAdd), StagerRun(kDriverFolder, kInstall)});
}

TEST(InstallMiniDrv, BothLibrariesAreCopiedAndBothCommandsRun)
{
    const SimulatedRun run = CallFunction(CardMachine(), "InstallMiniDrv", {kLocation});
    ExpectSteps(run, "0", Joined({Prepared(), BothCopies(), AskForWow64(), BothInstallCommands(), {kInstalled}}));
    EXPECT_EQ(ContentOf(run.After(), kTarget64), "minidriver for 64 bits");
    EXPECT_EQ(ContentOf(run.After(), kTarget32), "minidriver for 32 bits");
}

TEST(InstallMiniDrv, LibrariesThatAreThereAreOverwritten)
{
    const winsim::Machine machine =
        CardMachine(R"({"files": {"C:\\Windows\\system32\\KeloMiniDriverBody64.dll": {"text": "old"},
                                  "C:\\Windows\\SysWOW64\\KeloMiniDriverBody.dll": {"text": "old"}}})");
    const SimulatedRun run = CallFunction(machine, "InstallMiniDrv", {kLocation});
    EXPECT_EQ(run.result, "0");
    EXPECT_EQ(ContentOf(run.After(), kTarget64), "minidriver for 64 bits");
    EXPECT_EQ(ContentOf(run.After(), kTarget32), "minidriver for 32 bits");
}

TEST(InstallMiniDrv, AWindowsBeforeVistaIsSkipped)
{
    for (const char* version : {"5.1", "5.2"})
    {
        const SimulatedRun run =
            CallFunction(CardMachine(std::string(R"({"windows": {"version": ")") + version + R"("}})"),
                         "InstallMiniDrv", {kLocation});
        ExpectSteps(run, "0",
                    Joined({NoReaders(),
                            AskForVersion(6, 0, false),
                            {"log: This is a XP system!", "log: Install MiniDriver - XP... skipping...."}}));
    }
}

TEST(InstallMiniDrv, VistaIsNotSkipped)
{
    EXPECT_EQ(CallFunction(CardMachine(R"({"windows": {"version": "6.0"}})"), "InstallMiniDrv", {kLocation}).script,
              Joined({Prepared(), BothCopies(), AskForWow64(), BothInstallCommands(), {kInstalled}}));
}

TEST(InstallMiniDrv, AReaderThatIsThereSkipsAllEvenTheServices)
{
    const SimulatedRun run = CallFunction(MachineWithReader(), "InstallMiniDrv", {kLocation});
    ExpectSteps(run, "0",
                Joined({ReaderFound(),
                        AskForVersion(6, 0, true),
                        {"log: Install MiniDriver - Kelo VSC already installed... skipping...."}}));
}

TEST(InstallMiniDrv, A32BitProcessOn64BitWindowsCopiesAndRunsNoCommand)
{
    const SimulatedRun run =
        CallFunction(CardMachine(R"({"windows": {"wow64": true}})"), "InstallMiniDrv", {kLocation});
    ExpectSteps(run, "0",
                Joined({NoReaders(),
                        AskForVersion(6, 0, true),
                        AskForWow64(true),
                        AskForWow64(true),
                        {FolderIs(37, kSystem), FolderIs(36, kWindows)},
                        BothCopies(),
                        AskForWow64(true),
                        {kInstalled}}));
}

TEST(InstallMiniDrv, WithoutASystemFolderNothingIsInstalled)
{
    const SimulatedRun run =
        CallFunction(CardMachine(R"({"folders": {"system": null}})"), "InstallMiniDrv", {kLocation});
    ExpectSteps(
        run, "-1",
        Joined({NoReaders(),
                AskForVersion(6, 0, true),
                ConfiguredServices(),
                {FolderFails(37, "-2147467259"), R"(log: Install SmartCard - Failed to get path to ...\System32)"}}));
}

TEST(InstallMiniDrv, WithoutAWindowsFolderNothingIsInstalledWhateverTheLocation)
{
    for (const char* location : {kLocation, "", "(null)"})
    {
        const SimulatedRun run =
            CallFunction(CardMachine(R"({"folders": {"windows": null}})"), "InstallMiniDrv", {location});
        ExpectSteps(run, "-1",
                    Joined({NoReaders(),
                            AskForVersion(6, 0, true),
                            ConfiguredServices(),
                            {FolderIs(37, kSystem), FolderFails(36, "-2147467259"),
                             R"(log: Install SmartCard - Failed to get path to ...\Windows)"}}));
    }
}

TEST(InstallMiniDrv, WithoutALocationNothingIsInstalled)
{
    for (const char* location : {"", "(null)", "C:", "C:Kelo", "Kelo", R"(\Kelo)"})
    {
        const SimulatedRun run = CallFunction(CardMachine(), "InstallMiniDrv", {location});
        ExpectSteps(
            run, "-1",
            Joined({Prepared(), {"log: Install SmartCard - Failed; Location of installation was not provided"}}));
    }
}

TEST(InstallMiniDrv, AFirstCopyThatFailsEndsTheInstallationWithoutAMove)
{
    const winsim::Machine machine =
        CardMachine(R"({"files": {"C:\\Windows\\system32\\KeloMiniDriverBody64.dll": {"inUse": true}}})");
    const SimulatedRun run = CallFunction(machine, "InstallMiniDrv", {kLocation});
    ExpectSteps(run, "-3",
                Joined({Prepared(),
                        {CopyOf(kSource64, kTarget64, false),
                         "log: Install SmartCard - Failed to copy the KeloMiniDriverBody64.dll to System32 err: 32"}}));
}

TEST(InstallMiniDrv, ASecondCopyThatFailsEndsTheInstallationAndTheFirstStays)
{
    const winsim::Machine machine = CardMachine(R"({"files": {"C:\\Kelo\\TPM_VSCard\\KeloMiniDriverBody.dll": null}})");
    const SimulatedRun run = CallFunction(machine, "InstallMiniDrv", {kLocation});
    ExpectSteps(run, "-3",
                Joined({Prepared(),
                        {CopyOf(kSource64, kTarget64), CopyOf(kSource32, kTarget32, false),
                         "log: Install SmartCard - Failed to copy the KeloMiniDriverBody.dll to SysWOW64 err: 2"}}));
    EXPECT_EQ(ContentOf(run.After(), kTarget64), "minidriver for 64 bits");
}

TEST(InstallMiniDrv, AFirstCommandThatCannotBeStartedEndsTheInstallation)
{
    const SimulatedRun run =
        CallFunction(CardMachine(), "InstallMiniDrv", {kLocation}, {.faults = {"CreateProcessW#1=740"}});
    ExpectSteps(run, "-4",
                Joined({Prepared(),
                        BothCopies(),
                        AskForWow64(),
                        StagerFailure(kDriverFolder, kAdd, 740),
                        {"log: Install SmartCard - command dp_add_kelo failed!"}}));
}

TEST(InstallMiniDrv, ASecondCommandThatCannotBeStartedEndsTheInstallation)
{
    const SimulatedRun run =
        CallFunction(CardMachine(), "InstallMiniDrv", {kLocation}, {.faults = {"CreateProcessW#2=5"}});
    ExpectSteps(run, "-4",
                Joined({Prepared(),
                        BothCopies(),
                        AskForWow64(),
                        StagerRun(kDriverFolder, kAdd),
                        StagerFailure(kDriverFolder, kInstall, 5),
                        {"log: Install SmartCard - failed to install the mini-Driver!"}}));
}

TEST(InstallMiniDrv, CommandsThatRunAndFailChangeNothing)
{
    const winsim::Machine machine =
        CardMachine(R"({"programs": {"C:\\Kelo\\TPM_VSCard\\DriverStager.exe": {"runs": [{"exitCode": 9}]}}})");
    const SimulatedRun run = CallFunction(machine, "InstallMiniDrv", {kLocation});
    ExpectSteps(run, "0",
                Joined({Prepared(),
                        BothCopies(),
                        AskForWow64(),
                        StagerRun(kDriverFolder, kAdd, 9),
                        StagerRun(kDriverFolder, kInstall, 9),
                        {kInstalled}}));
}

// ---- Removal ----

constexpr char kBegin[] = "log: CTPMSmartCard::UninstallMiniDrv - Uninstall the mini-Driver";
constexpr char kRemoved[] = "log: CTPMSmartCard::UninstallMiniDrv - Removed the virtual smart card";
constexpr char kBodiesInPlace[] =
    R"("files": {"C:\\Windows\\system32\\KeloMiniDriverBody64.dll": {"text": "minidriver for 64 bits"},
                 "C:\\Windows\\SysWOW64\\KeloMiniDriverBody.dll": {"text": "minidriver for 32 bits"}})";

Script BeginOfRemoval()
{
    return Joined({ReaderFound(), AskForVersion(6, 0, true), {kBegin}});
}

Script BothRemoveCommands()
{
    return Joined({StagerRun(kDriverFolder, kRemove), StagerRun(kDriverFolder, kDelete)});
}

TEST(UninstallMiniDrv, BothCommandsRunAndTheLibraryFor64BitsGoesAlone)
{
    const SimulatedRun run = CallFunction(MachineWithReader(kBodiesInPlace), "UninstallMiniDrv", {kLocation});
    ExpectSteps(run, "0",
                Joined({BeginOfRemoval(),
                        AskForWow64(),
                        BothRemoveCommands(),
                        {FolderIs(37, kSystem), Deletion(kTarget64), kRemoved}}));
    EXPECT_EQ(ContentOf(run.After(), kTarget64), "(none)");
    EXPECT_EQ(ContentOf(run.After(), kTarget32), "minidriver for 32 bits");
}

TEST(UninstallMiniDrv, AMissingLibraryIsPassedOverAndTheEndStillLogged)
{
    const SimulatedRun run = CallFunction(MachineWithReader(), "UninstallMiniDrv", {kLocation});
    ExpectSteps(run, "0",
                Joined({BeginOfRemoval(),
                        AskForWow64(),
                        BothRemoveCommands(),
                        {FolderIs(37, kSystem), Deletion(kTarget64, false), kRemoved}}));
}

TEST(UninstallMiniDrv, ALibraryInUseIsMarkedForDeletionAndTheResultNotLookedAt)
{
    constexpr char kInUse[] =
        R"("files": {"C:\\Windows\\system32\\KeloMiniDriverBody64.dll": {"text": "x", "inUse": true}})";
    for (const bool isMarked : {true, false})
    {
        SimulatedRunOptions options;
        if (!isMarked)
            options.faults = {"MoveFileExW=5"};
        const SimulatedRun run = CallFunction(MachineWithReader(kInUse), "UninstallMiniDrv", {kLocation}, options);
        ExpectSteps(run, "0",
                    Joined({BeginOfRemoval(),
                            AskForWow64(),
                            BothRemoveCommands(),
                            {FolderIs(37, kSystem), Deletion(kTarget64, false),
                             "log: CTPMSmartCard::UninstallMiniDrv - Remove SmartCard - couldn't directly delete the "
                             "VReaderBody dll, mark for deletion on reboot",
                             MoveAtReboot(kTarget64, "", isMarked), kRemoved}}));
        EXPECT_EQ(run.After().pendingMoves.moves.size(), isMarked ? 1u : 0u);
    }
}

TEST(UninstallMiniDrv, CommandsThatCannotBeStartedAreLoggedAndTheRemovalGoesOn)
{
    const SimulatedRun run = CallFunction(MachineWithReader(kBodiesInPlace), "UninstallMiniDrv", {kLocation},
                                          {.faults = {"CreateProcessW=193"}});
    ExpectSteps(run, "0",
                Joined({BeginOfRemoval(),
                        AskForWow64(),
                        StagerFailure(kDriverFolder, kRemove, 193),
                        {"log: CTPMSmartCard::UninstallMiniDrv - Remove SmartCard - failed to remove the Driver!"},
                        StagerFailure(kDriverFolder, kDelete, 193),
                        {"log: CTPMSmartCard::UninstallMiniDrv - Remove SmartCard - command dp_delete_kelo failed!",
                         FolderIs(37, kSystem), Deletion(kTarget64), kRemoved}}));
}

TEST(UninstallMiniDrv, A32BitProcessOn64BitWindowsRunsNoCommandAndStillDeletes)
{
    const SimulatedRun run =
        CallFunction(MachineWithReader(std::string(kBodiesInPlace) + R"(, "windows": {"wow64": true})"),
                     "UninstallMiniDrv", {kLocation});
    ExpectSteps(run, "0",
                Joined({BeginOfRemoval(), AskForWow64(true), {FolderIs(37, kSystem), Deletion(kTarget64), kRemoved}}));
}

TEST(UninstallMiniDrv, WithoutASystemFolderTheLibraryStays)
{
    const SimulatedRun run =
        CallFunction(MachineWithReader(R"("folders": {"system": null})"), "UninstallMiniDrv", {kLocation});
    ExpectSteps(
        run, "-1",
        Joined({BeginOfRemoval(),
                AskForWow64(),
                BothRemoveCommands(),
                {FolderFails(37, "-2147467259"), R"(log: CTPMSmartCard::UninstallMiniDrv - Remove SmartCard - Failed )"
                                                 R"(to get path to ...\System32)"}}));
}

TEST(UninstallMiniDrv, WithoutTheReaderNothingIsDone)
{
    const SimulatedRun run = CallFunction(CardMachine(), "UninstallMiniDrv", {kLocation});
    ExpectSteps(run, "0",
                Joined({NoReaders(),
                        AskForVersion(6, 0, true),
                        {"log: CTPMSmartCard::UninstallMiniDrv - Remove SmartCard - VSC not currently installed... "
                         "skipping...."}}));
}

TEST(UninstallMiniDrv, AWindowsBeforeVistaIsSkipped)
{
    for (const char* version : {"5.1", "5.2"})
    {
        const SimulatedRun run =
            CallFunction(MachineWithReader(std::string(R"("windows": {"version": ")") + version + R"("})"),
                         "UninstallMiniDrv", {kLocation});
        ExpectSteps(run, "0",
                    Joined({ReaderFound(),
                            AskForVersion(6, 0, false),
                            {"log: This is a XP system!",
                             "log: CTPMSmartCard::UninstallMiniDrv - Remove SmartCard - not a valid "
                             "system/configuration... skipping...."}}));
    }
}

TEST(UninstallMiniDrv, WithoutALocationTheRegistryNamesIt)
{
    winsim::Json description = MachineWithReader(kBodiesInPlace).ToJson();
    description["registry"][R"(HKLM\SOFTWARE\Kelo Systems Corp.\Common)"]["values"]["Installation Path"] = kLocation;
    for (const char* location : {"", "(null)", "C:", "C:Kelo", "Kelo", R"(\Kelo)"})
    {
        const SimulatedRun run = CallFunction(winsim::Machine::FromJson(description), "UninstallMiniDrv", {location});
        ExpectSteps(
            run, "0",
            Joined({BeginOfRemoval(),
                    {R"(RegOpenKeyExA("HKEY_LOCAL_MACHINE", "SOFTWARE\\Kelo Systems Corp.\\Common", 0, 131097) = 0 )"
                     R"(phkResult:"key#1")",
                     R"(RegQueryValueExA("key#1", "Installation Path", null, 256) = 0 lpType:1 lpcbData:8 )"
                     R"(lpData:"C:\\Kelo")",
                     R"(RegCloseKey("key#1") = 0)"},
                    AskForWow64(),
                    BothRemoveCommands(),
                    {FolderIs(37, kSystem), Deletion(kTarget64), kRemoved}}));
    }
}

TEST(UninstallMiniDrv, WithoutAnyLocationTheFolderStandsAloneAndTheLibraryStillGoes)
{
    const SimulatedRun run = CallFunction(MachineWithReader(kBodiesInPlace), "UninstallMiniDrv", {""});
    EXPECT_EQ(run.result, "0");
    EXPECT_EQ(run.log.at(2), R"("\TPM_VSCard\\DriverStager.exe" )" + std::string(kRemove));
    EXPECT_EQ(run.log.at(3), "Kelo Toolkit Installation -> Failed to launch DriverStager rc: 3");
    EXPECT_EQ(ContentOf(run.After(), kTarget64), "(none)");
}

TEST(UninstallMiniDrv, ARegistryThatNamesNoFullPathNamesNone)
{
    for (const char* path : {"Kelo", "C:Kelo", R"(\Kelo)", R"(..\Kelo)"})
    {
        winsim::Json description = MachineWithReader(kBodiesInPlace).ToJson();
        description["registry"][R"(HKLM\SOFTWARE\Kelo Systems Corp.\Common)"]["values"]["Installation Path"] = path;
        const SimulatedRun run = CallFunction(winsim::Machine::FromJson(description), "UninstallMiniDrv", {""});
        EXPECT_EQ(run.log.at(2), R"("\TPM_VSCard\\DriverStager.exe" )" + std::string(kRemove)) << path;
    }
}

TEST(UninstallMiniDrv, WithoutMemoryForTheFolderNoCommandIsRunAndTheLibraryStillGoes)
{
    winsim::Json description = MachineWithReader(kBodiesInPlace).ToJson();
    description["process"]["largestBlock"] = 500;
    const SimulatedRun run =
        CallFunction(winsim::Machine::FromJson(description), "UninstallMiniDrv", {R"(C:\)" + std::string(240, 'k')});
    EXPECT_EQ(run.result, "0");
    EXPECT_EQ(run.log.at(2), "CTPMSmartCard::UninstallMiniDrv - Unknown exception caught return 0");
    EXPECT_FALSE(run.outcome.callCounts.contains("CreateProcessW"));
    EXPECT_EQ(ContentOf(run.After(), kTarget64), "(none)");
}

TEST(UninstallMiniDrv, WritesNothingToTheRegistry)
{
    const winsim::Machine machine =
        MachineWithReader(R"("registry": {"HKLM\\SOFTWARE\\Kelo Systems Corp\\Common": {}})");
    EXPECT_EQ(CallFunction(machine, "UninstallMiniDrv", {kLocation}).After().registry, machine.registry);
}

} // namespace
