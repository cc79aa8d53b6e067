// Proves how the shim library is removed from the system directory and placed in it.
#include "tests/unit/tss/tss_script.h"

#include <gtest/gtest.h>

namespace
{

constexpr char kShim[] = R"(C:\Program Files\Kelo Systems Corp\Toolkit\NTRU12\TSP1-kelo.dll)";

bool Exists(const SimulatedRun& run, const std::string& path)
{
    return run.After().files.Find(path) != nullptr;
}

SimulatedRun Remove(const char* machine, const char* slot, const SimulatedRunOptions& options = {})
{
    return CallFunction(MachineOf(machine), "RemoveTSP1File", {slot}, options);
}

std::string NotDeleted(const std::string& file, unsigned error)
{
    return fmt::format("log: RemoveTSP1File - Failed to delete file {}, err: {}", file, error);
}

// RemoveTSP1File when it has to move the file aside.
Script MovedAside(unsigned slot, const std::string& file, const std::string& backup, int backupDeleted, unsigned error)
{
    return {BeginOfRemoval(slot, file, kArchive),
            Call("DeleteFileA", {file}, 0),
            NotDeleted(file, error),
            Call("DeleteFileA", {backup}, backupDeleted),
            Call("MoveFileA", {file, backup}, 1),
            "log: RemoveTSP1File - Moved Tsp<x>_x64.dll to " + backup};
}

// RemoveTSP1File when it can neither delete nor move the file nor delete the backup, with these errors.
Script Kept(unsigned fileError, unsigned backupError, unsigned moveError)
{
    return {BeginOfRemoval(0, kTsp1, kArchive),
            Call("DeleteFileA", {kTsp1}, 0),
            NotDeleted(kTsp1, fileError),
            Call("DeleteFileA", {kTsp1Backup}, 0),
            fmt::format("log: RemoveTSP1File - Unable to remove .bak file, err: {}", backupError),
            Call("MoveFileA", {kTsp1, kTsp1Backup}, 0),
            fmt::format("log: RemoveTSP1File - Failed to move file {}, err: {}", kTsp1, moveError),
            "log: RemoveTSP1File - exit"};
}

// ---- Taking the shim out ----

TEST(RemoveTSP1File, EachSlotDeletesItsOwnFile)
{
    constexpr char kBoth[] = R"({"files": {"C:\\Windows\\system32\\TSP1_x64.dll": {},
        "C:\\Windows\\system32\\TSPI_x64.dll": {}}})";
    for (const char* slot : {"0", "1"})
    {
        const SimulatedRun run = Remove(kBoth, slot);
        ExpectRun(run, "0", Removal(static_cast<unsigned>(std::stoul(slot))));
        EXPECT_FALSE(Exists(run, kTsp1));
        EXPECT_TRUE(Exists(run, kTspi));
    }
    const SimulatedRun run = Remove(kBoth, "2");
    ExpectRun(run, "0", Removal(2));
    EXPECT_TRUE(Exists(run, kTsp1));
    EXPECT_FALSE(Exists(run, kTspi));
}

TEST(RemoveTSP1File, AMissingShimIsOneThatCanNeitherBeDeletedNorMoved)
{
    for (const char* slot : {"0", "2"})
        ExpectRun(Remove("{}", slot), "-1", RemovalOfNothing(static_cast<unsigned>(std::stoul(slot))));
}

TEST(RemoveTSP1File, AShimInUseIsMovedOverTheOldBackup)
{
    for (const unsigned slot : {0u, 1u})
    {
        const SimulatedRun run =
            Remove(R"({"files": {"C:\\Windows\\system32\\TSP1_x64.dll": {"text": "new", "inUse": true},
            "C:\\Windows\\system32\\Tsp1.bak": {"text": "old"}}})",
                   std::to_string(slot).c_str());
        ExpectRun(run, "1", MovedAside(slot, kTsp1, kTsp1Backup, 1, 5));
        EXPECT_FALSE(Exists(run, kTsp1));
        EXPECT_EQ(TextOf(run.After(), kTsp1Backup), "new");
    }
}

TEST(RemoveTSP1File, AShimInUseIsMovedAlsoWithoutAnOldBackup)
{
    const SimulatedRun run =
        Remove(R"({"files": {"C:\\Windows\\system32\\TSPI_X64.DLL": {"text": "new", "inUse": true}}})", "2");
    ExpectRun(run, "1", MovedAside(2, kTspi, kTspiBackup, 0, 5));
    EXPECT_EQ(TextOf(run.After(), kTspiBackup), "new");
}

TEST(RemoveTSP1File, ABackupInUseIsLoggedAndLeavesTheShimWhereItIs)
{
    const SimulatedRun run = Remove(R"({"files": {"C:\\Windows\\system32\\TSP1_x64.dll": {"text": "new", "inUse": true},
        "C:\\Windows\\system32\\Tsp1.bak": {"text": "old", "inUse": true}}})",
                                    "0");
    ExpectRun(run, "-1", Kept(5, 5, 183));
    EXPECT_EQ(TextOf(run.After(), kTsp1), "new");
    EXPECT_EQ(TextOf(run.After(), kTsp1Backup), "old");
}

TEST(RemoveTSP1File, EachFailureIsLoggedWithItsOwnError)
{
    ExpectRun(Remove(R"({"files": {"C:\\Windows\\system32\\TSP1_x64.dll": {},
        "C:\\Windows\\system32\\Tsp1.bak": {}}})",
                     "0", {.faults = {"DeleteFileA#1=32", "DeleteFileA#2=19", "MoveFileA=112"}}),
              "-1", Kept(32, 19, 112));
}

TEST(RemoveTSP1File, AMissingBackupIsNotLoggedWhateverKeepsTheShim)
{
    ExpectRun(
        Remove(R"({"files": {"C:\\Windows\\system32\\TSP1_x64.dll": {}}})", "0", {.faults = {"DeleteFileA#1=32"}}), "1",
        MovedAside(0, kTsp1, kTsp1Backup, 0, 32));
    // For the backup, only error 2 passes without a line; error 3, a missing path, is logged.
    ExpectLog(Remove(R"({"files": {"C:\\Windows\\system32\\TSP1_x64.dll": {}}})", "0",
                     {.faults = {"DeleteFileA#1=2", "DeleteFileA#2=3"}}),
              "1",
              {"log: RemoveTSP1File - enter 0", NotDeleted(kTsp1, 2),
               "log: RemoveTSP1File - Unable to remove .bak file, err: 3",
               std::string("log: RemoveTSP1File - Moved Tsp<x>_x64.dll to ") + kTsp1Backup});
}

TEST(RemoveTSP1File, AReadOnlyShimIsMovedAside)
{
    const SimulatedRun run = Remove(R"({"files": {"C:\\Windows\\system32\\TSP1_x64.dll": {"attributes": 1}}})", "0");
    ExpectLog(run, "1", MovedAside(0, kTsp1, kTsp1Backup, 0, 5));
    EXPECT_TRUE(Exists(run, kTsp1Backup));
}

TEST(RemoveTSP1File, AttributesOfZeroLeaveTheFileAlone)
{
    const SimulatedRun run = Remove(R"({"files": {"C:\\Windows\\system32\\TSP1_x64.dll": {"attributes": 0}}})", "0");
    ExpectRun(run, "0",
              {BeginOfRemoval(0, kTsp1, 0),
               "log: RemoveTSP1File - Failed to get Attributes for C:\\Windows\\system32\\TSP1_x64.dll, "
               "err: 0"});
    EXPECT_TRUE(Exists(run, kTsp1));
}

TEST(RemoveTSP1File, AttributesOfZeroAreLoggedWithWhateverErrorWasSetLast)
{
    // The lost line before it has set the last error.
    ExpectLog(Remove(R"({"files": {"C:\\Windows\\system32\\TSP1_x64.dll": {"attributes": 0}}})", "0",
                     {.faults = {"fputs#1=3735928559"}}),
              "0", fmt::format("log: RemoveTSP1File - Failed to get Attributes for {}, err: -559038737", kTsp1));
}

TEST(RemoveTSP1File, AnUnknownSystemDirectoryEndsIt)
{
    ExpectRun(Remove(R"({"folders": {"system": null}})", "0"), "2",
              {"log: RemoveTSP1File - enter 0", Failing(kSystemFolderIsA, Signed(kFail)),
               "log: RemoveTSP1File - Unable to get path to SYSTEM32"});
}

TEST(RemoveTSP1File, AnyOtherFolderFailurePassesForSuccess)
{
    // The program asks for folders earlier too, to open its log. The empty folder leads to the root of the current
    // drive.
    const std::size_t before = CountOf("SHGetFolderPathA", Remove("{}", "0").startScript);
    const SimulatedRun run = Remove("{}", "0", {.faults = {fmt::format("SHGetFolderPathA#{}=0x80070002", before + 1)}});
    ExpectLog(run, "-1",
              {"log: RemoveTSP1File - enter 0", R"(log: RemoveTSP1File - Failed to delete file \TSP1_x64.dll, err: 2)",
               R"(log: RemoveTSP1File - Failed to move file \TSP1_x64.dll, err: 2)", "log: RemoveTSP1File - exit"});
}

TEST(RemoveTSP1File, AnUnknownSlotMeansTheSystemDirectoryItself)
{
    const std::string directory = R"(C:\Windows\system32\)";
    const SimulatedRun run = Remove("{}", "3");
    ExpectRun(run, "1",
              {BeginOfRemoval(3, directory, 16), Call("DeleteFileA", {directory}, 0),
               "log: RemoveTSP1File - Failed to delete file " + directory + ", err: 5",
               Call("DeleteFileA", {directory}, 0), "log: RemoveTSP1File - Unable to remove .bak file, err: 5",
               Call("MoveFileA", {directory, directory}, 1),
               "log: RemoveTSP1File - Moved Tsp<x>_x64.dll to " + directory});
    EXPECT_TRUE(Exists(run, R"(C:\Windows\system32\kernel32.dll)"));
}

// ---- Placing the shim ----

constexpr char kWithShim[] =
    R"({"files": {"C:\\Program Files\\Kelo Systems Corp\\Toolkit\\NTRU12\\TSP1-kelo.dll": {"text": "shim"}}})";

SimulatedRun Copy(const winsim::Machine& machine, const char* slot, const SimulatedRunOptions& options = {})
{
    return CallFunction(machine, "CopyShimFile", {kTarget, "NTRU12", slot}, options);
}

const Script kCopyBegin = {"log: Copying Kelo \"Shim\" TSP<x>_x64.dll to System32 Directory", kSystemFolderIsA};

TEST(CopyShimFile, EachSlotCopiesTheOneShimUnderItsOwnName)
{
    constexpr std::pair<const char*, const char*> kCases[] = {{"0", kTsp1}, {"1", kTsp1}, {"2", kTspiCopied}};
    for (const auto& [slot, destination] : kCases)
    {
        const SimulatedRun run = Copy(MachineOf(kWithShim), slot);
        ExpectRun(run, "true",
                  {kCopyBegin, Call("CopyFileA", {kShim, destination, 1}, 1),
                   std::string("log: Copied ") + kShim + " to " + destination});
        EXPECT_EQ(TextOf(run.After(), destination), "shim");
        EXPECT_EQ(TextOf(run.After(), kShim), "shim");
    }
}

TEST(CopyShimFile, AFileThatIsThereStaysWhateverTheCaseOfItsName)
{
    winsim::Machine machine = MachineOf(kWithShim);
    machine.files.Create(R"(C:\Windows\system32\Tspi_x64.dll)", false).content = "the stack's own";
    const SimulatedRun run = Copy(machine, "2");
    ExpectRun(run, "false",
              {kCopyBegin, Call("CopyFileA", {kShim, kTspiCopied, 1}, 0),
               "log: " + std::string(kShim) + " unable to copy to " + kTspiCopied + " err: 80"});
    EXPECT_EQ(TextOf(run.After(), kTspi), "the stack's own");
}

TEST(CopyShimFile, AMissingShimIsSaidToBeMissing)
{
    winsim::Machine machine = MachineOf(kWithShim);
    machine.files.Remove(kShim);
    ExpectRun(Copy(machine, "0"), "false",
              {kCopyBegin, Call("CopyFileA", {kShim, kTsp1, 1}, 0),
               "log: " + std::string(kShim) + " not found, unable to copy to " + kTsp1});
}

TEST(CopyShimFile, AMissingFolderOfTheShimIsAnyOtherError)
{
    ExpectLog(Copy(MachineOf("{}"), "0"), "false",
              {kCopyBegin, fmt::format("log: {} unable to copy to {} err: 3", kShim, kTsp1)});
}

TEST(CopyShimFile, WithoutAFullPathNothingIsTakenFromTheCurrentDirectory)
{
    for (const std::string target : {"", "C:", R"(C:Toolkit\)", R"(Toolkit\)", R"(\Toolkit\)"})
        ExpectRun(CallFunction(MachineOf(R"({"process": {"currentDirectory": "C:\\Planted"},
        "files": {"C:\\Planted\\NTRU12\\TSP1-kelo.dll": {"text": "planted"}}})"),
                               "CopyShimFile", {target, "NTRU12", "0"}),
                  "false",
                  {kCopyBegin, "log: " + target + R"(NTRU12\TSP1-kelo.dll unable to copy to )" + kTsp1 + " err: 206"});
}

TEST(CopyShimFile, AnUnknownSlotMeansTheSystemDirectoryItself)
{
    const std::string directory = R"(C:\Windows\system32\)";
    ExpectRun(Copy(MachineOf(kWithShim), "3"), "false",
              {kCopyBegin, Call("CopyFileA", {kShim, directory, 1}, 0),
               "log: " + std::string(kShim) + " unable to copy to " + directory + " err: 80"});
}

TEST(CopyShimFile, AnUnknownSystemDirectoryEndsIt)
{
    winsim::Machine machine = MachineOf(R"({"folders": {"system": null}})");
    ExpectRun(Copy(machine, "0"), "false",
              {kCopyBegin[0], Failing(kSystemFolderIsA, Signed(kFail)), "log: Unable to get path to SYSTEM32"});
}

TEST(CopyShimFile, ATargetBeyondWindowsLimitCopiesNothing)
{
    for (std::size_t length : {250, 259, 300})
    {
        const std::string target = TargetOfLength(length);
        winsim::Machine machine = MachineOf("{}");
        const std::string source = target + R"(NTRU12\TSP1-kelo.dll)";
        machine.files.Create(source, false);
        const SimulatedRun run = CallFunction(machine, "CopyShimFile", {target, "NTRU12", "0"});
        ExpectRun(run, "false",
                  {kCopyBegin, Call("CopyFileA", {source, kTsp1, 1}, 0),
                   "log: " + source + " unable to copy to " + kTsp1 + " err: 206"});
        EXPECT_FALSE(Exists(run, kTsp1));
    }
}

} // namespace
