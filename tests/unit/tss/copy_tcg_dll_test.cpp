// Proves how the detection library reaches the Windows system directory.
#include "tests/unit/tss/tss_script.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

constexpr char kSource[] = R"(C:\Toolkit\KELO\stkprobe.dll)";
constexpr char kDestination[] = R"(C:\Windows\system32\stkprobe.dll)";
constexpr char kBackup[] = R"(C:\Windows\system32\stkprobe.bk1)";

// A machine with the library to copy. `files` may remove it again.
winsim::Machine MachineWith(const char* files = "{}", const char* changes = "{}")
{
    winsim::Json description = winsim::Json::parse(changes);
    description["files"][kSource] = {{"text", "new"}};
    description["files"].merge_patch(winsim::Json::parse(files));
    return winsim::Machine::FromJson(description);
}

SimulatedRun Copy(const winsim::Machine& machine, const SimulatedRunOptions& options = {})
{
    return CallFunction(machine, "CopyTCGDLL", {R"(C:\Toolkit\)", "KELO"}, options);
}

std::string CopyLine(int result, const std::string& source = kSource, const std::string& destination = kDestination)
{
    return Call("CopyFileA", {source, destination, 0}, result);
}

constexpr char kCopying[] = "log: CopyTCGDLL - Copying stkprobe.dll to system32 folder";

// The first copy fails.
Script FirstFailure(unsigned error)
{
    return {CopyLine(0),
            fmt::format("log: CopyTCGDLL - Copying {} to {} failed err: {}", kSource, kDestination, error)};
}

// The older backup cannot be deleted.
Script BackupStays(unsigned error)
{
    return {Call("DeleteFileA", {kBackup}, 0),
            fmt::format("log: CopyTCGDLL - Unable to Delete {} rc: {}", kBackup, error)};
}

const std::string kMoved = Call("MoveFileA", {kDestination, kBackup}, 1);
const Script kNotMoved = {Failing(kMoved, 0),
                          fmt::format("log: CopyTCGDLL - Unable to rename {} to {} rc: 183", kDestination, kBackup)};

Script SecondFailure(unsigned error)
{
    return {CopyLine(0),
            fmt::format("log: CopyTCGDLL - Unable to copy file {} to {} rc: {}", kSource, kDestination, error)};
}

const Script kBegin = {kCopying, Call("GetEnvironmentVariableA", {"windir", 240}, 10, {{"lpBuffer", R"(C:\Windows)"}})};
const Script kCopied = {CopyLine(1), "log: Copied stkprobe.dll successfully"};
const Script kCopiedAfterwards = {CopyLine(1),
                                  fmt::format("log: CopyTCGDLL - Copied file {} to {}", kSource, kDestination)};

TEST(CopyTCGDLL, IntoAnEmptyPlaceTheFirstCopySucceeds)
{
    const SimulatedRun run = Copy(MachineWith(R"({"C:\\Windows\\system32\\stkprobe.bk1": {"text": "older"}})"));
    ExpectRun(run, "0", {kBegin, kCopied});
    EXPECT_EQ(TextOf(run.After(), kDestination), "new");
    EXPECT_EQ(TextOf(run.After(), kBackup), "older");
    EXPECT_EQ(TextOf(run.After(), kSource), "new");
}

TEST(CopyTCGDLL, AFileThatIsNotInUseIsOverwritten)
{
    const SimulatedRun run = Copy(MachineWith(R"({"C:\\Windows\\system32\\stkprobe.dll": {"text": "old"}})"));
    ExpectRun(run, "0", {kBegin, kCopied});
    EXPECT_EQ(TextOf(run.After(), kDestination), "new");
    EXPECT_EQ(TextOf(run.After(), kBackup), "(none)");
}

TEST(CopyTCGDLL, AFileInUseIsMovedToTheBackupThatTakesTheOlderOnesPlace)
{
    const SimulatedRun run = Copy(MachineWith(R"({"C:\\Windows\\system32\\stkprobe.dll": {"text": "old", "inUse": true},
        "C:\\Windows\\system32\\stkprobe.bk1": {"text": "older"}})"));
    ExpectRun(run, "0", {kBegin, FirstFailure(32), Call("DeleteFileA", {kBackup}, 1), kMoved, kCopiedAfterwards});
    EXPECT_EQ(TextOf(run.After(), kDestination), "new");
    EXPECT_EQ(TextOf(run.After(), kBackup), "old");
}

TEST(CopyTCGDLL, AMissingOlderBackupIsLoggedAndNothingElse)
{
    const SimulatedRun run =
        Copy(MachineWith(R"({"C:\\Windows\\system32\\STKPROBE.DLL": {"text": "old", "inUse": true}})"));
    ExpectRun(run, "0", {kBegin, FirstFailure(32), BackupStays(2), kMoved, kCopiedAfterwards});
    EXPECT_EQ(TextOf(run.After(), kDestination), "new");
    EXPECT_EQ(TextOf(run.After(), kBackup), "old");
}

TEST(CopyTCGDLL, AnOlderBackupInUseKeepsTheOldFileInPlace)
{
    const SimulatedRun run = Copy(MachineWith(R"({"C:\\Windows\\system32\\stkprobe.dll": {"text": "old", "inUse": true},
        "C:\\Windows\\system32\\stkprobe.bk1": {"text": "older", "inUse": true}})"));
    ExpectRun(run, "0", {kBegin, FirstFailure(32), BackupStays(5), kNotMoved, SecondFailure(32)});
    EXPECT_EQ(TextOf(run.After(), kDestination), "old");
}

TEST(CopyTCGDLL, AMissingSourceLeavesTheOldFileAtTheBackupsName)
{
    const SimulatedRun run = Copy(MachineWith(
        R"({"C:\\Toolkit\\KELO\\stkprobe.dll": null, "C:\\Toolkit\\KELO": {"directory": true},
            "C:\\Windows\\system32\\stkprobe.dll": {"text": "old"}})"));
    ExpectRun(run, "0", {kBegin, FirstFailure(2), BackupStays(2), kMoved, SecondFailure(2)});
    EXPECT_EQ(TextOf(run.After(), kDestination), "(none)");
    EXPECT_EQ(TextOf(run.After(), kBackup), "old");
}

TEST(CopyTCGDLL, EachFailureIsLoggedWithItsOwnError)
{
    ExpectRun(Copy(MachineWith(), {.faults = {"CopyFileA#1=32", "DeleteFileA=19", "MoveFileA=183", "CopyFileA#2=112"}}),
              "0", {kBegin, FirstFailure(32), BackupStays(19), kNotMoved, SecondFailure(112)});
}

TEST(CopyTCGDLL, AReadOnlyFileIsMovedAsideToo)
{
    const SimulatedRun run =
        Copy(MachineWith(R"({"C:\\Windows\\system32\\stkprobe.dll": {"text": "old", "attributes": 1}})"));
    EXPECT_EQ(run.log[1], fmt::format("CopyTCGDLL - Copying {} to {} failed err: 5", kSource, kDestination));
    EXPECT_EQ(run.log.back(), fmt::format("CopyTCGDLL - Copied file {} to {}", kSource, kDestination));
    EXPECT_EQ(TextOf(run.After(), kBackup), "old");
}

TEST(CopyTCGDLL, TheSystemDirectoryComesFromTheEnvironment)
{
    ExpectRun(
        Copy(MachineWith(R"({"D:\\Win\\system32": {"directory": true}})", R"({"environment": {"windir": "D:\\Win"}})")),
        "0",
        {kCopying, Call("GetEnvironmentVariableA", {"windir", 240}, 6, {{"lpBuffer", R"(D:\Win)"}}),
         CopyLine(1, kSource, R"(D:\Win\system32\stkprobe.dll)"), "log: Copied stkprobe.dll successfully"});
}

TEST(CopyTCGDLL, WithoutTheVariableWindowsIsAsked)
{
    const SimulatedRun run = Copy(MachineWith("{}", R"({"environment": {"windir": null}})"));
    ExpectRun(run, "0",
              {kCopying, Call("GetEnvironmentVariableA", {"windir", 240}, 0),
               Call("GetWindowsDirectoryA", {240}, 10, {{"lpBuffer", R"(C:\Windows)"}}), kCopied});
    EXPECT_EQ(TextOf(run.After(), kDestination), "new");
}

TEST(CopyTCGDLL, AWindowsThatDoesNotTellItsDirectoryGetsNoFile)
{
    ExpectRun(Copy(MachineWith("{}", R"({"environment": {"windir": null}})"), {.faults = {"GetWindowsDirectoryA=5"}}),
              "0",
              {kCopying, Call("GetEnvironmentVariableA", {"windir", 240}, 0), Call("GetWindowsDirectoryA", {240}, 0),
               fmt::format("log: CopyTCGDLL - Copying {} to  failed err: 206", kSource)});
}

// ---- Paths that do not fit ----

// A target whose path has `length` characters up to the vendor's folder.
std::string TargetOfLength(std::size_t length)
{
    return R"(C:\)" + std::string(length - 4, 'd') + "\\";
}

TEST(CopyTCGDLL, APathOf239CharactersIsTheLongestThatIsCopied)
{
    const std::string behind = R"(KELO\stkprobe.dll)";
    for (const std::size_t length : {239, 240})
    {
        const std::string target = TargetOfLength(length - behind.size());
        winsim::Machine machine = MachineOf("{}");
        machine.files.Create(target + behind, false).content = "new";
        const SimulatedRun run = CallFunction(machine, "CopyTCGDLL", {target, "KELO"});
        EXPECT_EQ(run.outcome.callCounts.contains("CopyFileA"), length == 239);
        EXPECT_EQ(TextOf(run.After(), kDestination), length == 239 ? "new" : "(none)");
    }
}

TEST(CopyTCGDLL, ATargetThatIsTooLongTouchesNoFile)
{
    for (std::size_t length = 230; length <= 300; ++length)
    {
        winsim::Machine machine = MachineWith(R"({"C:\\Windows\\system32\\stkprobe.dll": {"text": "old"}})");
        const SimulatedRun run = CallFunction(machine, "CopyTCGDLL", {TargetOfLength(length), "KELO"});
        ExpectRun(run, "0", {kBegin, fmt::format("log: CopyTCGDLL - Copying  to {} failed err: 206", kDestination)});
        EXPECT_EQ(TextOf(run.After(), kDestination), "old");
    }
}

TEST(CopyTCGDLL, AWindowsDirectoryThatIsTooLongIsNotUsedAndNotReplaced)
{
    // The longest directory whose paths fit, the longest that fits into the buffer itself, and longer ones.
    for (const std::size_t length : {217, 218, 239, 240, 241, 300, 5000})
    {
        const std::string directory = R"(D:\)" + std::string(length - 3, 'w');
        const winsim::Json description{{"environment", {{"windir", directory}}}};
        const SimulatedRun run = Copy(MachineWith("{}", description.dump().c_str()));
        const bool fits = length == 217;
        EXPECT_EQ(run.outcome.callCounts.contains("CopyFileA"), fits) << length;
        EXPECT_FALSE(run.outcome.callCounts.contains("GetWindowsDirectoryA")) << length;
        if (fits)
            continue;
        ExpectLog(run, "0", {kCopying, fmt::format("log: CopyTCGDLL - Copying {} to  failed err: 206", kSource)});
        for (const char* call : {"DeleteFileA", "MoveFileA"})
            EXPECT_FALSE(run.outcome.callCounts.contains(call)) << call;
    }
}

TEST(CopyTCGDLL, WindowsOwnDirectoryThatIsTooLongIsNotUsedEither)
{
    const winsim::Json description{{"environment", {{"windir", nullptr}}},
                                   {"folders", {{"windows", R"(D:\)" + std::string(240, 'w')}}}};
    const SimulatedRun run = Copy(MachineWith("{}", description.dump().c_str()));
    ExpectLog(run, "0", {kCopying, fmt::format("log: CopyTCGDLL - Copying {} to  failed err: 206", kSource)});
    EXPECT_FALSE(run.outcome.callCounts.contains("CopyFileA"));
}

TEST(CopyTCGDLL, ATargetThatIsNoFullPathTouchesNoFile)
{
    for (const char* target : {"", "C:", R"(C:Toolkit\)", R"(Toolkit\)", R"(\Toolkit\)"})
    {
        const SimulatedRun run = CallFunction(
            MachineWith(R"({"C:\\Windows\\system32\\stkprobe.dll": {"text": "old"}})"), "CopyTCGDLL", {target, "KELO"});
        ExpectRun(run, "0", {kBegin, fmt::format("log: CopyTCGDLL - Copying  to {} failed err: 206", kDestination)});
        EXPECT_EQ(TextOf(run.After(), kDestination), "old");
    }
}

TEST(CopyTCGDLL, AnExceptionIsCaughtWhateverItsKind)
{
    const SimulatedRun run = Copy(MachineWith(), {.faults = {"CopyFileA=fault"}});
    ExpectLog(run, "0", {kCopying, "log: Unknown exception caught trying to copy stkprobe.dll"});
    EXPECT_EQ(TextOf(run.After(), kDestination), "(none)");
}

// ---- A directory that somebody else named ----

SimulatedRun CopyTo(const char* windir, const char* files)
{
    return Copy(Changed(MachineWith(files), {{"environment", {{"windir", windir}}}}));
}

void ExpectRefused(const SimulatedRun& run, const std::string& windir, unsigned error)
{
    EXPECT_EQ(run.log.back(), fmt::format("CopyTCGDLL - Copying {} to {}\\system32\\stkprobe.dll failed err: {}",
                                          kSource, windir, error));
    EXPECT_EQ(CountOf("CopyFileA", run.script), 0u);
    EXPECT_EQ(CountOf("DeleteFileA", run.script), 0u);
}

TEST(CopyTCGDLL, AWindowsDirectoryOfAUsersIsNotUsed)
{
    ExpectRefused(CopyTo("C:\\Mine", R"({"C:\\Mine": {"directory": true, "owner": "S-1-5-21-7-7-7-1001"},
        "C:\\Mine\\system32": {"directory": true}})"),
                  "C:\\Mine", 1307);
    ExpectRefused(CopyTo("C:\\Mine", R"({"C:\\Mine": {"directory": true},
        "C:\\Mine\\system32": {"directory": true, "owner": "S-1-5-21-7-7-7-1001"}})"),
                  "C:\\Mine", 1307);
    // Even if the rest does not exist.
    ExpectRefused(CopyTo("C:\\Mine", R"({"C:\\Mine": {"directory": true, "owner": "S-1-5-21-7-7-7-1001"}})"),
                  "C:\\Mine", 1307);
}

TEST(CopyTCGDLL, AWindowsDirectoryThatIsALinkIsNotUsed)
{
    ExpectRefused(CopyTo("C:\\Mine", R"({"C:\\Mine": {"directory": true, "link": "C:\\Windows"}})"), "C:\\Mine", 448);
}

TEST(CopyTCGDLL, AWindowsDirectoryOnNoDriveIsNotUsed)
{
    for (const char* windir : {"Windows", "C:Windows", R"(\Windows)", R"(\\server\share)"})
        ExpectRefused(CopyTo(windir, "{}"), windir, 206);
}

TEST(CopyTCGDLL, AMissingWindowsDirectoryIsLeftToTheCopy)
{
    EXPECT_EQ(CountOf("CopyFileA", CopyTo("C:\\Gone", "{}").script), 2u);
}

TEST(CopyTCGDLL, APathThatCannotBeConvertedIsNotUsed)
{
    ExpectRefused(Copy(MachineWith(), {.faults = {"MultiByteToWideChar#33=1113"}}), R"(C:\Windows)", 1113);
}

} // namespace
