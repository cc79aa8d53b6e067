// Proves how the virtual reader is installed and removed.
#include "tests/support/run_tests.h"
#include "tests/unit/smartcard/card_machine.h"

namespace
{

constexpr char kSource[] = R"(C:\Kelo\TPM_VSCard\KeloVReaderBody.dll)";
constexpr char kTarget[] = R"(C:\Windows\system32\KeloVReaderBody.dll)";
constexpr char kAdd[] = "dp_add_kelo KeloSmartCardDriver.inf";
constexpr char kInstall[] = R"(install KeloSmartCardDriver.inf root\KeloVirtualReader)";
constexpr char kRemove[] = R"(remove KeloSmartCardDriver.inf root\KeloVirtualReader)";
constexpr char kDelete[] = "-f dp_delete_kelo KeloSmartCardDriver.inf";
constexpr char kSystemFolderLine[] = R"(log: System32 Directory: C:\Windows\system32)";
const std::string kOpenCommon = OpenKey(R"(SOFTWARE\Kelo Systems Corp\Common)", kAllOfKey);
constexpr char kCommonKey[] = R"("registry": {"HKLM\\SOFTWARE\\Kelo Systems Corp\\Common": {}})";

const Script kSupported = {AskForWow64(), AskForVersion(6, 0, true)};

// ---- Installation ----

SimulatedRun Install(const std::string& patch = "{}", const SimulatedRunOptions& options = {})
{
    return CallFunction(CardMachine(patch), "Install", {kLocation}, options);
}

// The steps before the copy.
const Script kPrepared = {kNoReaders, kSupported, kConfiguredServices, kSystemFolderIs, kSystemFolderLine};

const Script kBothInstallCommands = {StagerRun(kDriverFolder, kAdd), StagerRun(kDriverFolder, kInstall)};

TEST(Install, TheLibraryIsCopiedAndBothCommandsRun)
{
    const SimulatedRun run = Install();
    ExpectRun(run, "0", {kPrepared, CopyOf(kSource, kTarget), kBothInstallCommands});
    EXPECT_EQ(TextOf(run.After(), kTarget), "reader");
    EXPECT_THAT(run.After().smartCards.readers, testing::ElementsAre(kReader));
}

const auto kInstallations =
    RunTests("Install", &Install)
        .Result("ALibraryThatIsThereIsOverwritten",
                R"({"files": {"C:\\Windows\\system32\\KeloVReaderBody.dll": {"text": "old"}}})", "0",
                [](const SimulatedRun& run) { EXPECT_EQ(TextOf(run.After(), kTarget), "reader"); })
        .Run("VistaIsNotSkipped", R"({"windows": {"version": "6.0"}})", "0",
             {kPrepared, CopyOf(kSource, kTarget), kBothInstallCommands})
        .Run("A32BitProcessOn64BitWindowsIsSkipped", R"({"windows": {"wow64": true}})", "0",
             {kNoReaders, AskForWow64(true),
              "log: IsSupportedConfiguration - This is a x86 process running on x64 system don't execute!",
              "log: Install SmartCard - not a valid system/configuration... skipping...."})
        .Run("WithoutASystemFolderNothingIsInstalled", R"({"folders": {"system": null}})", "-1",
             {kNoReaders, kSupported, kConfiguredServices, NoFolder(kSystemFolder),
              R"(log: Install SmartCard - Failed to get path to ...\System32)"})
        .Log("MissingServicesStopNothing", R"({"services": {"SCardSvr": null, "CertPropSvc": null}})", "0",
             {kNoReaders, kSystemFolderLine, kBothInstallCommands});

TEST(Install, WritesNothingToTheRegistry)
{
    const winsim::Machine machine = CardMachine(std::string("{") + kCommonKey + "}");
    EXPECT_EQ(CallFunction(machine, "Install", {kLocation}).After().registry, machine.registry);
}

TEST(Install, ALocationWithABackslashAtItsEndKeepsIt)
{
    const SimulatedRun run = CallFunction(CardMachine(), "Install", {R"(C:\Kelo\)"});
    constexpr char kFolder[] = R"(C:\Kelo\\TPM_VSCard\)";
    ExpectRun(run, "0",
              {kPrepared, CopyOf(R"(C:\Kelo\\TPM_VSCard\KeloVReaderBody.dll)", kTarget), StagerRun(kFolder, kAdd),
               StagerRun(kFolder, kInstall)});
}

TEST(Install, AReaderThatIsThereSkipsAllEvenTheServices)
{
    ExpectRun(CallFunction(MachineWithReader(), "Install", {kLocation}), "0",
              {kReaderFound, kSupported, "log: Install MiniDriver - Kelo VSC already installed... skipping...."});
}

TEST(Install, AWindowsBeforeVistaIsSkipped)
{
    for (const char* version : {"5.1", "5.2"})
        ExpectRun(Install(std::string(R"({"windows": {"version": ")") + version + R"("}})"), "0",
                  {kNoReaders, AskForWow64(), AskForVersion(6, 0, false), "log: This is a XP system!",
                   "log: Install SmartCard - not a valid system/configuration... skipping...."});
}

TEST(Install, WithoutALocationNothingIsInstalled)
{
    for (const char* location : {"", "(null)", "C:", "C:Kelo", "Kelo", R"(\Kelo)"})
        ExpectRun(CallFunction(CardMachine(), "Install", {location}), "-1",
                  {kNoReaders, kSupported, kConfiguredServices, kSystemFolderIs,
                   "log: Install SmartCard - Failed; Location of installation was not provided"});
}

TEST(Install, WithoutAResourceManagerTheInstallationGoesAhead)
{
    const SimulatedRun run = Install(R"({"smartCards": {"manager": false}})");
    EXPECT_EQ(run.result, "0");
    EXPECT_EQ(run.log.at(0), "CTPMSmartCard::IsKlSCardInstalled - Can't connect to SC Manager 8010001d");
    EXPECT_EQ(TextOf(run.After(), kTarget), "reader");
}

// The library cannot be copied, with this error.
Script CopyFailed(unsigned error)
{
    return {Failing(CopyOf(kSource, kTarget), 0),
            fmt::format("log: Install SmartCard - Failed to copy '{}' to '{}' err: {}", kSource, kTarget, error)};
}

TEST(Install, ALibraryInUseIsMovedIntoPlaceAtTheNextStartAndTheDriverStillInstalled)
{
    const SimulatedRun run = CallFunction(
        CardMachine(R"({"files": {"C:\\Windows\\system32\\KeloVReaderBody.dll": {"text": "old", "inUse": true}}})"),
        "Install", {kLocation});
    ExpectRun(run, "0", {kPrepared, CopyFailed(32), MoveAtReboot(kSource, kTarget), kBothInstallCommands});
    EXPECT_EQ(TextOf(run.After(), kTarget), "old");
    EXPECT_THAT(run.After().pendingMoves.moves, testing::ElementsAre(winsim::PendingMove{kSource, kTarget}));
}

const auto kFailedInstallations =
    RunTests("Install", &Install)
        .Run("ALibraryThatCanNeitherBeCopiedNorMovedEndsTheInstallation",
             R"({"files": {"C:\\Kelo\\TPM_VSCard\\KeloVReaderBody.dll": null}})", "-3",
             {kPrepared, CopyFailed(2), Failing(MoveAtReboot(kSource, kTarget), 0),
              "log: Install SmartCard - Kelo TPM Virtual smart card not installed!!"})
        .Run("TheErrorOfTheCopyIsLoggedNotTheOneOfTheMove", "{}", {.faults = {"CopyFileW=112", "MoveFileExW=5"}}, "-3",
             {kPrepared, CopyFailed(112), Failing(MoveAtReboot(kSource, kTarget), 0),
              "log: Install SmartCard - Kelo TPM Virtual smart card not installed!!"})
        .Run("ASecondCommandThatCannotBeStartedEndsTheInstallation", "{}", {.faults = {"CreateProcessW#2=2"}}, "-4",
             {kPrepared, CopyOf(kSource, kTarget), StagerRun(kDriverFolder, kAdd),
              StagerFailure(kDriverFolder, kInstall, 2), "log: Install SmartCard - failed to install the Driver!"})
        .Run("CommandsThatRunAndFailChangeNothing",
             R"({"programs": {"C:\\Kelo\\TPM_VSCard\\DriverStager.exe": {"runs": [{"exitCode": 1}]}}})", "0",
             {kPrepared, CopyOf(kSource, kTarget), StagerRun(kDriverFolder, kAdd, 1),
              StagerRun(kDriverFolder, kInstall, 1)});

TEST(Install, AFirstCommandThatCannotBeStartedEndsTheInstallation)
{
    const SimulatedRun run = Install("{}", {.faults = {"CreateProcessW#1=740"}});
    ExpectRun(run, "-4",
              {kPrepared, CopyOf(kSource, kTarget), StagerFailure(kDriverFolder, kAdd, 740),
               "log: Install SmartCard - command dp_add_kelo failed!"});
    EXPECT_EQ(TextOf(run.After(), kTarget), "reader"); // the earlier steps are not undone
}

// ---- Removal ----

// On a machine with the reader; `members` describe what else it has.
SimulatedRun Uninstall(const std::string& members, const SimulatedRunOptions& options = {})
{
    return CallFunction(MachineWithReader(members), "Uninstall", {kLocation}, options);
}

const Script kNotePresent = {kOpenCommon, Call("RegSetValueExA", {"key#1", "KlVSC Installed", 0, 4, 1, 4}, 0),
                             kCloseKey};

const Script kBothRemoveCommands = {StagerRun(kDriverFolder, kRemove), StagerRun(kDriverFolder, kDelete)};
const Script kRemovedBoth = {kReaderFound, kSupported, kNotePresent, kBothRemoveCommands};

std::string WithCommonKey(const std::string& members = "")
{
    return kCommonKey + (members.empty() ? "" : ", " + members);
}

constexpr char kBodyInPlace[] = R"("files": {"C:\\Windows\\system32\\KeloVReaderBody.dll": {"text": "reader"}})";
constexpr char kDeleted[] = "log: Remove SmartCard - deleted KeloVReaderBody.dll";

TEST(Uninstall, BothCommandsRunTheLibraryGoesAndTheReaderIsNoted)
{
    const SimulatedRun run = Uninstall(WithCommonKey(kBodyInPlace));
    ExpectRun(run, "0", {kRemovedBoth, kSystemFolderIs, Deletion(kTarget), kDeleted});
    EXPECT_EQ(TextOf(run.After(), kTarget), "(none)");
    EXPECT_THAT(run.After().smartCards.readers, testing::IsEmpty());
}

const auto kRemovals =
    RunTests("Uninstall", &Uninstall)
        .Run("AMissingLibraryIsPassedOverInSilence", WithCommonKey(), "0",
             {kRemovedBoth, kSystemFolderIs, Failing(Deletion(kTarget), 0)})
        .Run("AMissingFolderOfTheLibraryIsPassedOverInSilence", WithCommonKey(kBodyInPlace),
             {.faults = {"DeleteFileW=3"}}, "0", {kRemovedBoth, kSystemFolderIs, Failing(Deletion(kTarget), 0)})
        .Run("CommandsThatCannotBeStartedAreLoggedAndTheRemovalGoesOn", WithCommonKey(kBodyInPlace),
             {.faults = {"CreateProcessW=5"}}, "0",
             {kReaderFound, kSupported, kNotePresent, StagerFailure(kDriverFolder, kRemove, 5),
              "log: Remove SmartCard - failed to remove the Driver!", StagerFailure(kDriverFolder, kDelete, 5),
              "log: Remove SmartCard - command dp_delete_kelo failed!", kSystemFolderIs, Deletion(kTarget), kDeleted})
        .Run("WithoutASystemFolderTheLibraryStays", WithCommonKey(R"("folders": {"system": null})"), "-1",
             {kRemovedBoth, NoFolder(kSystemFolder), R"(log: Remove SmartCard - Failed to get path to ...\System32)"})
        .Run("ACommonKeyThatCannotBeOpenedIsPassedOver", kBodyInPlace, "0",
             {kReaderFound, kSupported, Failing(kOpenCommon, 2), kBothRemoveCommands, kSystemFolderIs,
              Deletion(kTarget), kDeleted})
        .Result("AValueThatCannotBeWrittenIsPassedOver", WithCommonKey(kBodyInPlace), {.faults = {"RegSetValueExA=5"}},
                "0", [](const SimulatedRun& run) { EXPECT_EQ(run.outcome.callCounts.at("CreateProcessW"), 2u); });

TEST(Uninstall, ALibraryInUseIsMarkedForDeletionAndTheResultNotLookedAt)
{
    const std::string members =
        WithCommonKey(R"("files": {"C:\\Windows\\system32\\KeloVReaderBody.dll": {"text": "reader", "inUse": true}})");
    const Script removed = {kRemovedBoth, kSystemFolderIs, Failing(Deletion(kTarget), 0),
                            "log: Remove SmartCard - couldn't directly delete the KeloVReaderBody dll, mark for "
                            "deletion on reboot"};
    const std::string mark = MoveAtReboot(kTarget, nullptr);
    const SimulatedRun marked = Uninstall(members);
    ExpectRun(marked, "0", {removed, mark});
    EXPECT_EQ(marked.After().pendingMoves.moves.size(), 1u);
    const SimulatedRun unmarked = Uninstall(members, {.faults = {"MoveFileExW=5"}});
    ExpectRun(unmarked, "0", {removed, Failing(mark, 0)});
    EXPECT_EQ(unmarked.After().pendingMoves.moves.size(), 0u);
}

TEST(Uninstall, WithoutALocationTheRegistryNamesIt)
{
    const std::string members = WithCommonKey(kBodyInPlace);
    for (const char* location : {"", "(null)", "C:", "C:Kelo", "Kelo", R"(\Kelo)"})
        ExpectRun(CallFunction(WithInstallPath(MachineWithReader(members), kLocation), "Uninstall", {location}), "0",
                  {kReaderFound, kSupported, kNotePresent, kPathRead, kBothRemoveCommands, kSystemFolderIs,
                   Deletion(kTarget), kDeleted});
}

TEST(Uninstall, WithoutAnyLocationTheFolderStandsAloneAndTheLibraryStillGoes)
{
    const SimulatedRun run = CallFunction(MachineWithReader(WithCommonKey(kBodyInPlace)), "Uninstall", {""});
    constexpr char kFolder[] = R"(\TPM_VSCard\)";
    ExpectRun(run, "0",
              {kReaderFound, kSupported, kNotePresent, Failing(kOpenPathKey, 2), StagerRefusal(kFolder, kRemove),
               "log: Remove SmartCard - failed to remove the Driver!", StagerRefusal(kFolder, kDelete),
               "log: Remove SmartCard - command dp_delete_kelo failed!", kSystemFolderIs, Deletion(kTarget), kDeleted});
}

TEST(Uninstall, ALocationThatIsGivenIsNotLookedUp)
{
    const SimulatedRun run = CallFunction(WithInstallPath(MachineWithReader(WithCommonKey(kBodyInPlace)), "C:\\Other"),
                                          "Uninstall", {kLocation});
    EXPECT_EQ(run.log.at(1), R"("C:\Kelo\TPM_VSCard\\DriverStager.exe" )" + std::string(kRemove));
    EXPECT_EQ(run.outcome.callCounts.at("RegOpenKeyExA"), 1u);
}

constexpr char kNotInstalled[] = "log: CTPMSmartCard::Uninstall - Kelo Smart Card not installed so skip uninstallation";

TEST(Uninstall, WithoutTheReaderOnlyTheValueGoes)
{
    const SimulatedRun run = CallFunction(CardMachine(R"({
        "registry": {"HKLM\\SOFTWARE\\Kelo Systems Corp\\Common": {"values": {"KlVSC Installed": 1, "Other": 2}}},
        "files": {"C:\\Windows\\system32\\KeloVReaderBody.dll": {"text": "reader"}}})"),
                                          "Uninstall", {kLocation});
    ExpectRun(run, "0",
              {kNoReaders, kSupported, kNotInstalled, kOpenCommon,
               Call("RegDeleteValueA", {"key#1", "KlVSC Installed"}, 0), kCloseKey});
    EXPECT_EQ(TextOf(run.After(), kTarget), "reader");
    EXPECT_NE(run.After().registry.FindValue(R"(HKLM\SOFTWARE\Kelo Systems Corp\Common)", "Other"), nullptr);
}

TEST(Uninstall, WithoutTheReaderAMissingValueOrKeyIsPassedOver)
{
    ExpectRun(CallFunction(CardMachine(std::string("{") + kCommonKey + "}"), "Uninstall", {kLocation}), "0",
              {kNoReaders, kSupported, kNotInstalled, kOpenCommon,
               Call("RegDeleteValueA", {"key#1", "KlVSC Installed"}, 2), kCloseKey});
    ExpectRun(CallFunction(CardMachine(), "Uninstall", {kLocation}), "0",
              {kNoReaders, kSupported, kNotInstalled, Failing(kOpenCommon, 2)});
}

TEST(Uninstall, ASecondRemovalTakesAwayWhatTheFirstOneNoted)
{
    constexpr char kPath[] = R"(HKLM\SOFTWARE\Kelo Systems Corp\Common)";
    const SimulatedRun first = Uninstall(WithCommonKey(kBodyInPlace));
    EXPECT_NE(first.After().registry.FindValue(kPath, "KlVSC Installed"), nullptr);
    const SimulatedRun second = CallFunction(first.After(), "Uninstall", {kLocation});
    EXPECT_EQ(second.result, "0");
    EXPECT_EQ(second.After().registry.FindValue(kPath, "KlVSC Installed"), nullptr);
}

TEST(Uninstall, AnUnsupportedConfigurationIsSkippedAndNotesNothing)
{
    constexpr char kSkipped[] = "log: Remove SmartCard - not a valid system/configuration... skipping....";
    ExpectRun(Uninstall(WithCommonKey(R"("windows": {"version": "5.2"})")), "0",
              {kReaderFound, AskForWow64(), AskForVersion(6, 0, false), "log: This is a XP system!", kSkipped});
    ExpectRun(Uninstall(WithCommonKey(R"("windows": {"wow64": true})")), "0",
              {kReaderFound, AskForWow64(true),
               "log: IsSupportedConfiguration - This is a x86 process running on x64 system don't execute!", kSkipped});
}

} // namespace
