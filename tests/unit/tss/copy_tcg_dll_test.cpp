// Proves how the detection library reaches the Windows system directory.
#include "tests/support/run_tests.h"
#include "tests/unit/tss/tss_script.h"

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

TEST(CopyTCGDLL, TheDirectoriesAreOpenedByTheirPathsFromTheDrive)
{
    Script opened;
    for (const winsim::CallRecord& call : Copy(MachineWith()).outcome.calls)
    {
        if (call.name == "CreateFileW")
            opened.push_back(call.in["lpFileName"].get<std::string>());
    }
    ASSERT_GE(opened.size(), 2u);
    EXPECT_EQ(Script(opened.end() - 2, opened.end()), (Script{R"(C:\Windows)", R"(C:\Windows\system32)"}));
}
const Script kCopiedAfterwards = {CopyLine(1),
                                  fmt::format("log: CopyTCGDLL - Copied file {} to {}", kSource, kDestination)};

// What lies in the system directory or instead of the source, the calls, and what lies there afterwards.
struct CopyCase
{
    const char* rule;
    const char* files;
    Script calls;
    const char* destination;
    const char* backup;
};

TEST(CopyTCGDLL, CopiesOverWhatIsThereOrMovesItAside)
{
    const CopyCase cases[] = {
        CopyCase("into an empty place the first copy succeeds",
                 R"({"C:\\Windows\\system32\\stkprobe.bk1": {"text": "older"}})", kCopied, "new", "older"),
        CopyCase("a file that is not in use is overwritten",
                 R"({"C:\\Windows\\system32\\stkprobe.dll": {"text": "old"}})", kCopied, "new", "(none)"),
        CopyCase("a file in use is moved to the backup and takes the older one's place",
                 R"({"C:\\Windows\\system32\\stkprobe.dll": {"text": "old", "inUse": true},
             "C:\\Windows\\system32\\stkprobe.bk1": {"text": "older"}})",
                 {FirstFailure(32), Call("DeleteFileA", {kBackup}, 1), kMoved, kCopiedAfterwards}, "new", "old"),
        CopyCase("a missing older backup is logged and nothing else",
                 R"({"C:\\Windows\\system32\\STKPROBE.DLL": {"text": "old", "inUse": true}})",
                 {FirstFailure(32), BackupStays(2), kMoved, kCopiedAfterwards}, "new", "old"),
        CopyCase("an older backup in use keeps the old file in place",
                 R"({"C:\\Windows\\system32\\stkprobe.dll": {"text": "old", "inUse": true},
             "C:\\Windows\\system32\\stkprobe.bk1": {"text": "older", "inUse": true}})",
                 {FirstFailure(32), BackupStays(5), kNotMoved, SecondFailure(32)}, "old", "older"),
        CopyCase("a missing source leaves the old file at the backup's name",
                 R"({"C:\\Toolkit\\KELO\\stkprobe.dll": null, "C:\\Toolkit\\KELO": {"directory": true},
             "C:\\Windows\\system32\\stkprobe.dll": {"text": "old"}})",
                 {FirstFailure(2), BackupStays(2), kMoved, SecondFailure(2)}, "(none)", "old"),
        CopyCase("a read-only file is moved aside too",
                 R"({"C:\\Windows\\system32\\stkprobe.dll": {"text": "old", "attributes": 1}})",
                 {FirstFailure(5), BackupStays(2), kMoved, kCopiedAfterwards}, "new", "old"),
    };
    for (const CopyCase& c : cases)
    {
        SCOPED_TRACE(c.rule);
        const SimulatedRun run = Copy(MachineWith(c.files));
        ExpectRun(run, "0", {kBegin, c.calls});
        EXPECT_EQ(TextOf(run.After(), kDestination), c.destination);
        EXPECT_EQ(TextOf(run.After(), kBackup), c.backup);
        EXPECT_EQ(TextOf(run.After(), kSource), TextOf(run.before, kSource));
    }
}

const auto kCopies =
    RunTests("CopyTCGDLL", &Copy)
        .Run("EachFailureIsLoggedWithItsOwnError", MachineWith(),
             {.faults = {"CopyFileA#1=32", "DeleteFileA=19", "MoveFileA=183", "CopyFileA#2=112"}}, "0",
             {kBegin, FirstFailure(32), BackupStays(19), kNotMoved, SecondFailure(112)})
        .Run("TheSystemDirectoryComesFromTheEnvironment",
             MachineWith(R"({"D:\\Win\\system32": {"directory": true}})", R"({"environment": {"windir": "D:\\Win"}})"),
             "0",
             {kCopying, Call("GetEnvironmentVariableA", {"windir", 240}, 6, {{"lpBuffer", R"(D:\Win)"}}),
              CopyLine(1, kSource, R"(D:\Win\system32\stkprobe.dll)"), "log: Copied stkprobe.dll successfully"})
        .Run("WithoutTheVariableWindowsIsAsked", MachineWith("{}", R"({"environment": {"windir": null}})"), "0",
             {kCopying, Call("GetEnvironmentVariableA", {"windir", 240}, 0),
              Call("GetWindowsDirectoryA", {240}, 10, {{"lpBuffer", R"(C:\Windows)"}}), kCopied},
             [](const SimulatedRun& run) { EXPECT_EQ(TextOf(run.After(), kDestination), "new"); })
        .Run("AWindowsThatDoesNotTellItsDirectoryGetsNoFile", MachineWith("{}", R"({"environment": {"windir": null}})"),
             {.faults = {"GetWindowsDirectoryA=5"}}, "0",
             {kCopying, Call("GetEnvironmentVariableA", {"windir", 240}, 0), Call("GetWindowsDirectoryA", {240}, 0),
              fmt::format("log: CopyTCGDLL - Copying {} to  failed err: 206", kSource)});

// ---- Paths that do not fit ----

TEST(CopyTCGDLL, APathOf239CharactersIsTheLongestThatIsCopied)
{
    const std::string rest = R"(KELO\stkprobe.dll)";
    for (const std::size_t length : {239, 240})
    {
        const std::string target = TargetOfLength(length - rest.size());
        winsim::Machine machine = MachineOf("{}");
        machine.files.Create(target + rest, false).content = "new";
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

SimulatedRun CopyTo(const char* windir, const char* files, const SimulatedRunOptions& options = {})
{
    return Copy(Changed(MachineWith(files), {{"environment", {{"windir", windir}}}}), options);
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
    // Even if the rest does not exist: Windows has two errors for that.
    constexpr char kMine[] = R"({"C:\\Mine": {"directory": true, "owner": "S-1-5-21-7-7-7-1001"}})";
    const SimulatedRun run = CopyTo("C:\\Mine", kMine);
    ExpectRefused(run, "C:\\Mine", 1307);
    const unsigned last = run.outcome.callCounts.at("CreateFileW");
    ExpectRefused(CopyTo("C:\\Mine", kMine, {.faults = {fmt::format("CreateFileW#{}=3", last)}}), "C:\\Mine", 1307);
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
    ExpectRefused(Copy(MachineWith(), {.faults = {"MultiByteToWideChar#5=1113"}}), R"(C:\Windows)", 1113);
}

} // namespace
