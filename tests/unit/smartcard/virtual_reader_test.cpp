// Proves how the virtual reader is installed and removed.
#include "tests/support/version_script.h"
#include "tests/unit/smartcard/card_machine.h"

namespace
{

constexpr char kSystem[] = R"(C:\Windows\system32)";
constexpr char kSource[] = R"(C:\Kelo\TPM_VSCard\KeloVReaderBody.dll)";
constexpr char kTarget[] = R"(C:\Windows\system32\KeloVReaderBody.dll)";
constexpr char kAdd[] = "dp_add_kelo KeloSmartCardDriver.inf";
constexpr char kInstall[] = R"(install KeloSmartCardDriver.inf root\KeloVirtualReader)";
constexpr char kRemove[] = R"(remove KeloSmartCardDriver.inf root\KeloVirtualReader)";
constexpr char kDelete[] = "-f dp_delete_kelo KeloSmartCardDriver.inf";
constexpr char kSystemFolderLine[] = R"(log: System32 Directory: C:\Windows\system32)";
constexpr char kOpenCommon[] =
    R"(RegOpenKeyExA("HKEY_LOCAL_MACHINE", "SOFTWARE\\Kelo Systems Corp\\Common", 0, 983103) = )";
constexpr char kCommonKey[] = R"("registry": {"HKLM\\SOFTWARE\\Kelo Systems Corp\\Common": {}})";

Script Supported()
{
    return Joined({AskForWow64(), AskForVersion(6, 0, true)});
}

// ---- Installation ----

// What goes before the copy.
Script Prepared()
{
    return Joined({NoReaders(), Supported(), ConfiguredServices(), {FolderIs(37, kSystem), kSystemFolderLine}});
}

Script BothInstallCommands()
{
    return Joined({StagerRun(kDriverFolder, kAdd), StagerRun(kDriverFolder, kInstall)});
}

TEST(Install, TheLibraryIsCopiedAndBothCommandsRun)
{
    const SimulatedRun run = CallFunction(CardMachine(), "Install", {kLocation});
    ExpectSteps(run, "0", Joined({Prepared(), {CopyOf(kSource, kTarget)}, BothInstallCommands()}));
    EXPECT_EQ(ContentOf(run.After(), kTarget), "reader");
    EXPECT_THAT(run.After().smartCards.readers, testing::ElementsAre(kReader));
}

TEST(Install, ALibraryThatIsThereIsOverwritten)
{
    const winsim::Machine machine =
        CardMachine(R"({"files": {"C:\\Windows\\system32\\KeloVReaderBody.dll": {"text": "old"}}})");
    const SimulatedRun run = CallFunction(machine, "Install", {kLocation});
    EXPECT_EQ(run.result, "0");
    EXPECT_EQ(ContentOf(run.After(), kTarget), "reader");
}

TEST(Install, WritesNothingToTheRegistry)
{
    const winsim::Machine machine = CardMachine(std::string("{") + kCommonKey + "}");
    EXPECT_EQ(CallFunction(machine, "Install", {kLocation}).After().registry, machine.registry);
}

TEST(Install, ALocationWithABackslashAtItsEndKeepsIt)
{
    const SimulatedRun run = CallFunction(CardMachine(), "Install", {R"(C:\Kelo\)"});
    constexpr char kFolder[] = R"(C:\Kelo\\TPM_VSCard\)";
    ExpectSteps(run, "0",
                Joined({Prepared(),
                        {CopyOf(R"(C:\Kelo\\TPM_VSCard\KeloVReaderBody.dll)", kTarget)},
                        StagerRun(kFolder, kAdd),
                        StagerRun(kFolder, kInstall)}));
}

TEST(Install, AReaderThatIsThereSkipsAllEvenTheServices)
{
    const SimulatedRun run = CallFunction(MachineWithReader(), "Install", {kLocation});
    ExpectSteps(
        run, "0",
        Joined({ReaderFound(), Supported(), {"log: Install MiniDriver - Kelo VSC already installed... skipping...."}}));
}

TEST(Install, AWindowsBeforeVistaIsSkipped)
{
    for (const char* version : {"5.1", "5.2"})
    {
        const SimulatedRun run = CallFunction(
            CardMachine(std::string(R"({"windows": {"version": ")") + version + R"("}})"), "Install", {kLocation});
        ExpectSteps(run, "0",
                    Joined({NoReaders(),
                            AskForWow64(),
                            AskForVersion(6, 0, false),
                            {"log: This is a XP system!",
                             "log: Install SmartCard - not a valid system/configuration... skipping...."}}));
    }
}

TEST(Install, VistaIsNotSkipped)
{
    EXPECT_EQ(CallFunction(CardMachine(R"({"windows": {"version": "6.0"}})"), "Install", {kLocation}).script,
              Joined({Prepared(), {CopyOf(kSource, kTarget)}, BothInstallCommands()}));
}

TEST(Install, A32BitProcessOn64BitWindowsIsSkipped)
{
    const SimulatedRun run = CallFunction(CardMachine(R"({"windows": {"wow64": true}})"), "Install", {kLocation});
    ExpectSteps(run, "0",
                Joined({NoReaders(),
                        AskForWow64(true),
                        {"log: IsSupportedConfiguration - This is a x86 process running on x64 system don't execute!",
                         "log: Install SmartCard - not a valid system/configuration... skipping...."}}));
}

TEST(Install, WithoutASystemFolderNothingIsInstalled)
{
    const SimulatedRun run = CallFunction(CardMachine(R"({"folders": {"system": null}})"), "Install", {kLocation});
    ExpectSteps(
        run, "-1",
        Joined({NoReaders(),
                Supported(),
                ConfiguredServices(),
                {FolderFails(37, "-2147467259"), R"(log: Install SmartCard - Failed to get path to ...\System32)"}}));
}

TEST(Install, WithoutALocationNothingIsInstalled)
{
    for (const char* location : {"", "(null)", "C:", "C:Kelo", "Kelo", R"(\Kelo)"})
    {
        const SimulatedRun run = CallFunction(CardMachine(), "Install", {location});
        ExpectSteps(run, "-1",
                    Joined({NoReaders(),
                            Supported(),
                            ConfiguredServices(),
                            {FolderIs(37, kSystem),
                             "log: Install SmartCard - Failed; Location of installation was not provided"}}));
    }
}

TEST(Install, MissingServicesStopNothing)
{
    const winsim::Machine machine = CardMachine(R"({"services": {"SCardSvr": null, "CertPropSvc": null}})");
    const SimulatedRun run = CallFunction(machine, "Install", {kLocation});
    EXPECT_EQ(run.result, "0");
    EXPECT_THAT(run.log,
                testing::ElementsAreArray(LogOf(Joined({NoReaders(), {kSystemFolderLine}, BothInstallCommands()}))));
}

TEST(Install, WithoutAResourceManagerTheInstallationGoesAhead)
{
    const SimulatedRun run = CallFunction(CardMachine(R"({"smartCards": {"manager": false}})"), "Install", {kLocation});
    EXPECT_EQ(run.result, "0");
    EXPECT_EQ(run.log.at(0), "CTPMSmartCard::IsKlSCardInstalled - Can't connect to SC Manager 8010001d");
    EXPECT_EQ(ContentOf(run.After(), kTarget), "reader");
}

// The library that could not be copied, with the error.
Script CopyFailed(unsigned error)
{
    return {CopyOf(kSource, kTarget, false), std::string("log: Install SmartCard - Failed to copy '") + kSource +
                                                 "' to '" + kTarget + "' err: " + std::to_string(error)};
}

TEST(Install, ALibraryInUseIsMovedIntoPlaceAtTheNextStartAndTheDriverStillInstalled)
{
    const winsim::Machine machine =
        CardMachine(R"({"files": {"C:\\Windows\\system32\\KeloVReaderBody.dll": {"text": "old", "inUse": true}}})");
    const SimulatedRun run = CallFunction(machine, "Install", {kLocation});
    ExpectSteps(run, "0",
                Joined({Prepared(), CopyFailed(32), {MoveAtReboot(kSource, kTarget)}, BothInstallCommands()}));
    EXPECT_EQ(ContentOf(run.After(), kTarget), "old");
    EXPECT_THAT(run.After().pendingMoves.moves, testing::ElementsAre(winsim::PendingMove{kSource, kTarget}));
}

TEST(Install, ALibraryThatCanNeitherBeCopiedNorMovedEndsTheInstallation)
{
    const winsim::Machine machine = CardMachine(R"({"files": {"C:\\Kelo\\TPM_VSCard\\KeloVReaderBody.dll": null}})");
    const SimulatedRun run = CallFunction(machine, "Install", {kLocation});
    ExpectSteps(run, "-3",
                Joined({Prepared(),
                        CopyFailed(2),
                        {MoveAtReboot(kSource, kTarget, false),
                         "log: Install SmartCard - Kelo TPM Virtual smart card not installed!!"}}));
}

TEST(Install, TheErrorOfTheCopyIsLoggedNotTheOneOfTheMove)
{
    const SimulatedRun run =
        CallFunction(CardMachine(), "Install", {kLocation}, {.faults = {"CopyFileW=112", "MoveFileExW=5"}});
    ExpectSteps(run, "-3",
                Joined({Prepared(),
                        CopyFailed(112),
                        {MoveAtReboot(kSource, kTarget, false),
                         "log: Install SmartCard - Kelo TPM Virtual smart card not installed!!"}}));
}

TEST(Install, AFirstCommandThatCannotBeStartedEndsTheInstallation)
{
    const SimulatedRun run = CallFunction(CardMachine(), "Install", {kLocation}, {.faults = {"CreateProcessW#1=740"}});
    ExpectSteps(run, "-4",
                Joined({Prepared(),
                        {CopyOf(kSource, kTarget)},
                        StagerFailure(kDriverFolder, kAdd, 740),
                        {"log: Install SmartCard - command dp_add_kelo failed!"}}));
    EXPECT_EQ(ContentOf(run.After(), kTarget), "reader"); // what was done before stays
}

TEST(Install, ASecondCommandThatCannotBeStartedEndsTheInstallation)
{
    const SimulatedRun run = CallFunction(CardMachine(), "Install", {kLocation}, {.faults = {"CreateProcessW#2=2"}});
    ExpectSteps(run, "-4",
                Joined({Prepared(),
                        {CopyOf(kSource, kTarget)},
                        StagerRun(kDriverFolder, kAdd),
                        StagerFailure(kDriverFolder, kInstall, 2),
                        {"log: Install SmartCard - failed to install the Driver!"}}));
}

TEST(Install, CommandsThatRunAndFailChangeNothing)
{
    const winsim::Machine machine =
        CardMachine(R"({"programs": {"C:\\Kelo\\TPM_VSCard\\DriverStager.exe": {"runs": [{"exitCode": 1}]}}})");
    const SimulatedRun run = CallFunction(machine, "Install", {kLocation});
    ExpectSteps(run, "0",
                Joined({Prepared(),
                        {CopyOf(kSource, kTarget)},
                        StagerRun(kDriverFolder, kAdd, 1),
                        StagerRun(kDriverFolder, kInstall, 1)}));
}

// ---- Removal ----

Script NotePresent()
{
    return {std::string(kOpenCommon) + R"(0 phkResult:"key#1")",
            R"(RegSetValueExA("key#1", "KlVSC Installed", 0, 4, 1, 4) = 0)", R"(RegCloseKey("key#1") = 0)"};
}

Script BothRemoveCommands(const char* folder = kDriverFolder)
{
    return Joined({StagerRun(folder, kRemove), StagerRun(folder, kDelete)});
}

std::string WithCommonKey(const std::string& members = "")
{
    return kCommonKey + (members.empty() ? "" : ", " + members);
}

constexpr char kBodyInPlace[] = R"("files": {"C:\\Windows\\system32\\KeloVReaderBody.dll": {"text": "reader"}})";
constexpr char kDeleted[] = "log: Remove SmartCard - deleted KeloVReaderBody.dll";

TEST(Uninstall, BothCommandsRunTheLibraryGoesAndTheReaderIsNoted)
{
    const SimulatedRun run = CallFunction(MachineWithReader(WithCommonKey(kBodyInPlace)), "Uninstall", {kLocation});
    ExpectSteps(run, "0",
                Joined({ReaderFound(),
                        Supported(),
                        NotePresent(),
                        BothRemoveCommands(),
                        {FolderIs(37, kSystem), Deletion(kTarget), kDeleted}}));
    EXPECT_EQ(ContentOf(run.After(), kTarget), "(none)");
    EXPECT_THAT(run.After().smartCards.readers, testing::IsEmpty());
}

TEST(Uninstall, AMissingLibraryIsPassedOverInSilence)
{
    const SimulatedRun run = CallFunction(MachineWithReader(WithCommonKey()), "Uninstall", {kLocation});
    ExpectSteps(run, "0",
                Joined({ReaderFound(),
                        Supported(),
                        NotePresent(),
                        BothRemoveCommands(),
                        {FolderIs(37, kSystem), Deletion(kTarget, false)}}));
}

TEST(Uninstall, AMissingFolderOfTheLibraryIsPassedOverInSilence)
{
    const SimulatedRun run = CallFunction(MachineWithReader(WithCommonKey(kBodyInPlace)), "Uninstall", {kLocation},
                                          {.faults = {"DeleteFileW=3"}});
    ExpectSteps(run, "0",
                Joined({ReaderFound(),
                        Supported(),
                        NotePresent(),
                        BothRemoveCommands(),
                        {FolderIs(37, kSystem), Deletion(kTarget, false)}}));
}

TEST(Uninstall, ALibraryInUseIsMarkedForDeletionAndTheResultNotLookedAt)
{
    const std::string members =
        WithCommonKey(R"("files": {"C:\\Windows\\system32\\KeloVReaderBody.dll": {"text": "reader", "inUse": true}})");
    for (const bool isMarked : {true, false})
    {
        SimulatedRunOptions options;
        if (!isMarked)
            options.faults = {"MoveFileExW=5"};
        const SimulatedRun run = CallFunction(MachineWithReader(members), "Uninstall", {kLocation}, options);
        ExpectSteps(
            run, "0",
            Joined({ReaderFound(),
                    Supported(),
                    NotePresent(),
                    BothRemoveCommands(),
                    {FolderIs(37, kSystem), Deletion(kTarget, false),
                     "log: Remove SmartCard - couldn't directly delete the KeloVReaderBody dll, mark for deletion on "
                     "reboot",
                     MoveAtReboot(kTarget, "", isMarked)}}));
        EXPECT_EQ(run.After().pendingMoves.moves.size(), isMarked ? 1u : 0u);
    }
}

TEST(Uninstall, CommandsThatCannotBeStartedAreLoggedAndTheRemovalGoesOn)
{
    const SimulatedRun run = CallFunction(MachineWithReader(WithCommonKey(kBodyInPlace)), "Uninstall", {kLocation},
                                          {.faults = {"CreateProcessW=5"}});
    ExpectSteps(run, "0",
                Joined({ReaderFound(),
                        Supported(),
                        NotePresent(),
                        StagerFailure(kDriverFolder, kRemove, 5),
                        {"log: Remove SmartCard - failed to remove the Driver!"},
                        StagerFailure(kDriverFolder, kDelete, 5),
                        {"log: Remove SmartCard - command dp_delete_kelo failed!", FolderIs(37, kSystem),
                         Deletion(kTarget), kDeleted}}));
}

TEST(Uninstall, WithoutASystemFolderTheLibraryStays)
{
    const SimulatedRun run =
        CallFunction(MachineWithReader(WithCommonKey(R"("folders": {"system": null})")), "Uninstall", {kLocation});
    ExpectSteps(
        run, "-1",
        Joined({ReaderFound(),
                Supported(),
                NotePresent(),
                BothRemoveCommands(),
                {FolderFails(37, "-2147467259"), R"(log: Remove SmartCard - Failed to get path to ...\System32)"}}));
}

TEST(Uninstall, ACommonKeyThatCannotBeOpenedIsPassedOver)
{
    const SimulatedRun run = CallFunction(MachineWithReader(kBodyInPlace), "Uninstall", {kLocation});
    ExpectSteps(run, "0",
                Joined({ReaderFound(),
                        Supported(),
                        {std::string(kOpenCommon) + "2"},
                        BothRemoveCommands(),
                        {FolderIs(37, kSystem), Deletion(kTarget), kDeleted}}));
}

TEST(Uninstall, AValueThatCannotBeWrittenIsPassedOver)
{
    const SimulatedRun run = CallFunction(MachineWithReader(WithCommonKey(kBodyInPlace)), "Uninstall", {kLocation},
                                          {.faults = {"RegSetValueExA=5"}});
    EXPECT_EQ(run.result, "0");
    EXPECT_EQ(run.outcome.callCounts.at("CreateProcessW"), 2u);
}

TEST(Uninstall, WithoutALocationTheRegistryNamesIt)
{
    const std::string members = WithCommonKey(kBodyInPlace);
    winsim::Json description = MachineWithReader(members).ToJson();
    description["registry"][R"(HKLM\SOFTWARE\Kelo Systems Corp.\Common)"]["values"]["Installation Path"] = kLocation;
    for (const char* location : {"", "(null)", "C:", "C:Kelo", "Kelo", R"(\Kelo)"})
    {
        const SimulatedRun run = CallFunction(winsim::Machine::FromJson(description), "Uninstall", {location});
        ExpectSteps(
            run, "0",
            Joined({ReaderFound(),
                    Supported(),
                    NotePresent(),
                    {R"(RegOpenKeyExA("HKEY_LOCAL_MACHINE", "SOFTWARE\\Kelo Systems Corp.\\Common", 0, 131097) = 0 )"
                     R"(phkResult:"key#1")",
                     R"(RegQueryValueExA("key#1", "Installation Path", null, 256) = 0 lpType:1 lpcbData:8 )"
                     R"(lpData:"C:\\Kelo")",
                     R"(RegCloseKey("key#1") = 0)"},
                    BothRemoveCommands(),
                    {FolderIs(37, kSystem), Deletion(kTarget), kDeleted}}));
    }
}

TEST(Uninstall, WithoutAnyLocationTheFolderStandsAloneAndTheLibraryStillGoes)
{
    const SimulatedRun run = CallFunction(MachineWithReader(WithCommonKey(kBodyInPlace)), "Uninstall", {""});
    constexpr char kFolder[] = R"(\TPM_VSCard\)";
    ExpectSteps(
        run, "0",
        Joined({ReaderFound(),
                Supported(),
                NotePresent(),
                {R"(RegOpenKeyExA("HKEY_LOCAL_MACHINE", "SOFTWARE\\Kelo Systems Corp.\\Common", 0, 131097) = 2)"},
                StagerRefusal(kFolder, kRemove),
                {"log: Remove SmartCard - failed to remove the Driver!"},
                StagerRefusal(kFolder, kDelete),
                {"log: Remove SmartCard - command dp_delete_kelo failed!", FolderIs(37, kSystem), Deletion(kTarget),
                 kDeleted}}));
}

TEST(Uninstall, ALocationThatIsGivenIsNotLookedUp)
{
    winsim::Json description = MachineWithReader(WithCommonKey(kBodyInPlace)).ToJson();
    description["registry"][R"(HKLM\SOFTWARE\Kelo Systems Corp.\Common)"]["values"]["Installation Path"] = "C:\\Other";
    const SimulatedRun run = CallFunction(winsim::Machine::FromJson(description), "Uninstall", {kLocation});
    EXPECT_EQ(run.log.at(1), R"("C:\Kelo\TPM_VSCard\\DriverStager.exe" )" + std::string(kRemove));
    EXPECT_EQ(run.outcome.callCounts.at("RegOpenKeyExA"), 1u);
}

constexpr char kNotInstalled[] = "log: CTPMSmartCard::Uninstall - Kelo Smart Card not installed so skip uninstallation";

TEST(Uninstall, WithoutTheReaderOnlyTheValueGoes)
{
    const winsim::Machine machine = CardMachine(R"({
        "registry": {"HKLM\\SOFTWARE\\Kelo Systems Corp\\Common": {"values": {"KlVSC Installed": 1, "Other": 2}}},
        "files": {"C:\\Windows\\system32\\KeloVReaderBody.dll": {"text": "reader"}}})");
    const SimulatedRun run = CallFunction(machine, "Uninstall", {kLocation});
    ExpectSteps(run, "0",
                Joined({NoReaders(),
                        Supported(),
                        {kNotInstalled, std::string(kOpenCommon) + R"(0 phkResult:"key#1")",
                         R"(RegDeleteValueA("key#1", "KlVSC Installed") = 0)", R"(RegCloseKey("key#1") = 0)"}}));
    EXPECT_EQ(ContentOf(run.After(), kTarget), "reader");
    EXPECT_NE(run.After().registry.FindValue(R"(HKLM\SOFTWARE\Kelo Systems Corp\Common)", "Other"), nullptr);
}

TEST(Uninstall, WithoutTheReaderAMissingValueOrKeyIsPassedOver)
{
    const SimulatedRun noValue =
        CallFunction(CardMachine(std::string("{") + kCommonKey + "}"), "Uninstall", {kLocation});
    ExpectSteps(noValue, "0",
                Joined({NoReaders(),
                        Supported(),
                        {kNotInstalled, std::string(kOpenCommon) + R"(0 phkResult:"key#1")",
                         R"(RegDeleteValueA("key#1", "KlVSC Installed") = 2)", R"(RegCloseKey("key#1") = 0)"}}));
    const SimulatedRun noKey = CallFunction(CardMachine(), "Uninstall", {kLocation});
    ExpectSteps(noKey, "0", Joined({NoReaders(), Supported(), {kNotInstalled, std::string(kOpenCommon) + "2"}}));
}

TEST(Uninstall, ASecondRemovalTakesAwayWhatTheFirstOneNoted)
{
    constexpr char kPath[] = R"(HKLM\SOFTWARE\Kelo Systems Corp\Common)";
    const SimulatedRun first = CallFunction(MachineWithReader(WithCommonKey(kBodyInPlace)), "Uninstall", {kLocation});
    EXPECT_NE(first.After().registry.FindValue(kPath, "KlVSC Installed"), nullptr);
    const SimulatedRun second = CallFunction(first.After(), "Uninstall", {kLocation});
    EXPECT_EQ(second.result, "0");
    EXPECT_EQ(second.After().registry.FindValue(kPath, "KlVSC Installed"), nullptr);
}

TEST(Uninstall, AnUnsupportedConfigurationIsSkippedAndNotesNothing)
{
    constexpr char kSkipped[] = "log: Remove SmartCard - not a valid system/configuration... skipping....";
    const SimulatedRun xp =
        CallFunction(MachineWithReader(WithCommonKey(R"("windows": {"version": "5.2"})")), "Uninstall", {kLocation});
    ExpectSteps(
        xp, "0",
        Joined({ReaderFound(), AskForWow64(), AskForVersion(6, 0, false), {"log: This is a XP system!", kSkipped}}));
    const SimulatedRun wow64 =
        CallFunction(MachineWithReader(WithCommonKey(R"("windows": {"wow64": true})")), "Uninstall", {kLocation});
    ExpectSteps(wow64, "0",
                Joined({ReaderFound(),
                        AskForWow64(true),
                        {"log: IsSupportedConfiguration - This is a x86 process running on x64 system don't execute!",
                         kSkipped}}));
}

} // namespace
