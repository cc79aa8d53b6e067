// Proves where the NTRU stack's own TSP library is looked for, which versions need no shim, and what happens to a shim.
#include "tests/support/step_sequence.h"
#include "tests/unit/tss/tss_script.h"

#include <gtest/gtest.h>

namespace
{

using winsim::Json;

constexpr char kStack[] = R"(C:\NTRU\bin)";
constexpr char kUsual[] = R"(C:\Program Files\NTRU Cryptosystems\NTRU TCG Software Stack\bin)";
constexpr char kEnter[] = "log: CopyTSP1FileImp - Enter";
constexpr char kExit[] = "log: CopyTSP1FileImp - Exit - return 0";
constexpr char kUpdated[] =
    "log: CopyTSP1FileImp - Found updated TSS Version must ensure no Tsp1_x64.dll exists in System32 "
    "directory";
constexpr char kNoService[] = "log: CopyTSP1FileImp - Unable to get path to NTRU binary from Service Manager";

const std::string kLibrary = std::string(kStack) + R"(\TSP1_x64.dll)";
const std::string kOldLibrary = std::string(kStack) + R"(\TSP1.dll)";

// A machine with the stack's service, whose program lies in kStack, with one file there.
winsim::Machine MachineWithFile(const std::string& path, const Json& file)
{
    return winsim::Machine::FromJson(
        {{"services", {{"tcsd_win32.exe", {{"binaryPath", R"("C:\NTRU\bin\tcsd_win32.exe" -s)"}}}}},
         {"files", {{path, file}}}});
}

winsim::Machine MachineWithVersion(const std::string& version, const char* changes = "{}")
{
    return Changed(MachineWithFile(kLibrary, {{"version", version}}), changes);
}

SimulatedRun Check(const winsim::Machine& machine, const SimulatedRunOptions& options = {})
{
    return CallFunction(machine, "CopyTSP1FileImp", {}, options);
}

// ---- Expected scripts ----

std::string Attributes(const std::string& path, unsigned attributes = kArchive)
{
    return Call("GetFileAttributesW", {path}, attributes);
}

// The calls that read a library's version: the first and the second 32 bits of the version.
std::string AskForSize(const std::string& path)
{
    return Call("GetFileVersionInfoSizeW", {path}, 92);
}
std::string ReadInfo(const std::string& path)
{
    return Call("GetFileVersionInfoW", {path, 0, 92}, 1);
}
Script VersionRead(const std::string& path, const std::array<unsigned, 4>& version)
{
    return {AskForSize(path), ReadInfo(path),
            Call("VerQueryValueW", {"\\"}, 1,
                 {{"puLen", 52},
                  {"lplpBuffer",
                   {{"dwSignature", 0xFEEF04BD},
                    {"dwFileVersionMS", version[0] << 16 | version[1]},
                    {"dwFileVersionLS", version[2] << 16 | version[3]}}}}),
            fmt::format("log: CopyTSP1FileImp - NTRU TSS Version: {}", fmt::join(version, "."))};
}

const std::string kSystem = FolderIs(kSystemFolder, R"(C:\Windows\system32)");
const std::string kProgramFiles = FolderIs(kProgramFilesFolder, R"(C:\Program Files)");

// Expects a check that takes the stack's folder from its service; `rest` follows.
SimulatedRun ExpectInService(const winsim::Machine& machine, const std::string& result, const Script& rest,
                             const SimulatedRunOptions& options = {})
{
    StepSequence expected{machine};
    expected.Add(kEnter);
    expected.Step("GetServiceBinaryPath", {"tcsd_win32.exe"});
    expected.Add({"log: Path to NTRU TSS binaries: " + kLibrary, rest});
    SimulatedRun run = Check(machine, options);
    ExpectRun(run, result, expected);
    return run;
}

// Expects a check that finds no service.
void ExpectWithoutService(const winsim::Machine& machine, const std::string& result, const Script& rest,
                          const SimulatedRunOptions& options = {})
{
    StepSequence expected{machine};
    expected.Add(kEnter);
    EXPECT_EQ(expected.Step("GetServiceBinaryPath", {"tcsd_win32.exe"}), "(none) (untouched)");
    expected.Add({kNoService, rest});
    ExpectRun(Check(machine, options), result, expected);
}

// ---- Versions ----

// An old shim in the system directory.
constexpr char kShimInPlace[] = R"({"files": {"C:\\Windows\\system32\\TSP1_x64.dll": {}}})";

TEST(CopyTSP1FileImp, AnUpdatedVersionTakesTheShimOutOfTheSystemDirectory)
{
    const SimulatedRun run = ExpectInService(MachineWithVersion("1.2.1.25", kShimInPlace), "0",
                                             {Attributes(kLibrary), VersionRead(kLibrary, {1, 2, 1, 25}), kSystem,
                                              kUpdated, Attributes(kTsp1), Call("DeleteFileW", {kTsp1}, 1), kExit});
    EXPECT_EQ(run.After().files.Find(kTsp1), nullptr);
    EXPECT_NE(run.After().files.Find(kLibrary), nullptr);
}

TEST(CopyTSP1FileImp, AnUpdatedVersionWithoutAShimDeletesNothing)
{
    const SimulatedRun run = Check(MachineWithVersion("1.2.1.25"));
    EXPECT_EQ(run.result, "0");
    EXPECT_FALSE(run.outcome.callCounts.contains("DeleteFileW"));
    EXPECT_EQ("log: " + run.log.back(), kExit);
}

TEST(CopyTSP1FileImp, AShimThatCannotBeDeletedChangesNothing)
{
    winsim::Machine machine = MachineWithVersion("1.2.1.25");
    machine.files.Create(kTsp1, false).isInUse = true;
    const SimulatedRun run = Check(machine);
    EXPECT_EQ(run.result, "0");
    EXPECT_EQ("log: " + run.log.back(), kExit);
    EXPECT_NE(run.After().files.Find(kTsp1), nullptr);
}

TEST(CopyTSP1FileImp, VersionsCompareFieldByField)
{
    constexpr std::pair<const char*, bool> kCases[] = {
        {"1.2.1.24", false},   {"1.2.1.25", true},     {"1.2.1.26", true},         {"1.2.1.65535", true},
        {"1.2.2.0", true},     {"1.3.0.0", true},      {"2.0.0.0", true},          {"65535.0.0.0", true},
        {"32768.0.0.0", true},

        {"1.2.0.99", false},   {"1.2.0.65535", false}, {"1.1.65535.65535", false}, {"0.65535.65535.65535", false},
        {"0.0.0.0", false},    {"1.2.1.0", false},     {"1.0.1.25", false},
    };
    for (const auto& [version, isUpdated] : kCases)
    {
        const SimulatedRun run = Check(MachineWithVersion(version, kShimInPlace));
        EXPECT_EQ(run.result, "0") << version;
        EXPECT_EQ(run.After().files.Find(kTsp1) == nullptr, isUpdated) << version;
        EXPECT_EQ(std::count(run.script.begin(), run.script.end(), kUpdated), isUpdated ? 1 : 0) << version;
        EXPECT_EQ(
            std::count(run.log.begin(), run.log.end(), std::string("CopyTSP1FileImp - NTRU TSS Version: ") + version),
            1)
            << version;
    }
}

TEST(CopyTSP1FileImp, AnOldVersionIsPresentAndNothingMore)
{
    ExpectInService(MachineWithVersion("1.2.1.24", kShimInPlace), "0",
                    {Attributes(kLibrary), VersionRead(kLibrary, {1, 2, 1, 24}), kSystem, kExit});
}

TEST(CopyTSP1FileImp, ALibraryWithoutAVersionIsPresentAndNotUpdated)
{
    ExpectInService(MachineWithFile(kLibrary, Json::object()), "0",
                    {Attributes(kLibrary), Failing(AskForSize(kLibrary), 0),
                     "log: CopyTSP1FileImp - Unable to get Tsp1_x64.dll version info size err: 1812", kSystem, kExit});
}

TEST(CopyTSP1FileImp, AVersionThatCannotBeReadIsNotLogged)
{
    ExpectInService(MachineWithVersion("2.0.0.0"), "0",
                    {Attributes(kLibrary), AskForSize(kLibrary), Failing(ReadInfo(kLibrary), 0), kSystem, kExit},
                    {.faults = {"GetFileVersionInfoW=5"}});
}

// The version's root block cannot be read; the answer to that query differs.
void ExpectNotAvailable(const char* fault, const std::string& answer)
{
    ExpectInService(MachineWithVersion("2.0.0.0"), "0",
                    {Attributes(kLibrary), AskForSize(kLibrary), ReadInfo(kLibrary), answer,
                     "log: CopyTSP1FileImp - NTRU TSS Version: <Not Available>", kSystem, kExit},
                    {.faults = {fault}});
}

TEST(CopyTSP1FileImp, AVersionWithoutARootBlockIsNotAvailable)
{
    ExpectNotAvailable("VerQueryValueW=1813", Call("VerQueryValueW", {"\\"}, 0));
}

TEST(CopyTSP1FileImp, AVersionWithAnEmptyRootBlockIsNotAvailable)
{
    ExpectNotAvailable("VerQueryValueW=nothing", Call("VerQueryValueW", {"\\"}, 1, {{"puLen", 0}}));
}

// ---- Places ----

TEST(CopyTSP1FileImp, AStackWithTheOldNameAloneIsReadFromThere)
{
    ExpectInService(MachineWithFile(kOldLibrary, {{"version", "1.2.1.30"}}), "0",
                    {Attributes(kLibrary, kNoAttributes), Attributes(kOldLibrary),
                     VersionRead(kOldLibrary, {1, 2, 1, 30}), kSystem, kUpdated, Attributes(kTsp1, kNoAttributes),
                     kExit});
}

TEST(CopyTSP1FileImp, WithoutTheServiceTheProgramFilesAreLookedAt)
{
    const std::string library = std::string(kUsual) + R"(\TSP1_x64.dll)";
    ExpectWithoutService(winsim::Machine::FromJson({{"files", {{library, {{"version", "1.2.1.24"}}}}}}), "0",
                         {kProgramFiles, "log: Path to NTRU TSS binaries: " + library, Attributes(library),
                          VersionRead(library, {1, 2, 1, 24}), kSystem, kExit});
}

// Neither library is found in a folder whose path has no drive.
Script NotIn(const std::string& folder)
{
    return {"log: Path to NTRU TSS binaries: " + folder + R"(\TSP1_x64.dll)",
            Attributes(folder + R"(\TSP1_x64.dll)", kNoAttributes), Attributes(folder + R"(\TSP1.dll)", kNoAttributes),
            "log: CopyTSP1FileImp - NTRU TSS not installed err: 3"};
}

TEST(CopyTSP1FileImp, AStackThatIsNowhereIsNotPresent)
{
    ExpectWithoutService(MachineOf("{}"), "-1", {kProgramFiles, NotIn(kUsual)});
}

TEST(CopyTSP1FileImp, AServiceWithoutItsLibrariesIsNotPresent)
{
    const SimulatedRun run = Check(MachineWithFile(std::string(kStack) + R"(\other.dll)", Json::object()));
    EXPECT_EQ(run.result, "-1");
    EXPECT_EQ(run.log.back(), "CopyTSP1FileImp - NTRU TSS not installed err: 2");
    EXPECT_FALSE(run.outcome.callCounts.contains("SHGetFolderPathW"));
}

TEST(CopyTSP1FileImp, AServicePathWithoutQuotationMarksLeadsNowhere)
{
    ExpectLog(Check(MachineWithVersion(
                  "2.0.0.0", R"({"services": {"tcsd_win32.exe": {"binaryPath": "C:\\NTRU\\bin\\tcsd_win32.exe"}}})")),
              "-1",
              {kEnter, R"(log: Path to NTRU TSS binaries: :\NTRU\bin\TSP1_x64.dll)",
               "log: CopyTSP1FileImp - NTRU TSS not installed err: 123"});
}

TEST(CopyTSP1FileImp, UnknownProgramFilesMeanNotPresent)
{
    ExpectWithoutService(MachineOf(R"({"folders": {"programFiles": null}})"), "-1",
                         {NoFolder(kProgramFilesFolder), "log: CopyTSP1FileImp - Unable to get path to PROGRAM_FILES"});
}

TEST(CopyTSP1FileImp, AnUnknownSystemDirectoryIsAResultOfItsOwn)
{
    for (const char* version : {"1.2.1.24", "1.2.1.25"})
    {
        const SimulatedRun run = Check(MachineWithVersion(version, R"({"folders": {"system": null}})"));
        EXPECT_EQ(run.result, "1");
        EXPECT_EQ(run.log.back(), "CopyTSP1FileImp - Unable to get path to SYSTEM32");
        EXPECT_THAT(run.log, testing::Not(testing::Contains(testing::HasSubstr("Found updated TSS Version"))));
    }
}

// Failures of a folder look-up that the program treats as success.
constexpr unsigned kOtherFolderFailures[] = {0x80070003, 0x80070057, 1};

TEST(CopyTSP1FileImp, AnyOtherFailureToFindTheProgramFilesPassesForSuccess)
{
    for (const unsigned failure : kOtherFolderFailures)
    {
        SCOPED_TRACE(failure);
        ExpectWithoutService(
            MachineOf("{}"), "-1",
            {Failing(kProgramFiles, Signed(failure)), NotIn(R"(\NTRU Cryptosystems\NTRU TCG Software Stack\bin)")},
            {.faults = {fmt::format("SHGetFolderPathW={}", failure)}});
    }
}

TEST(CopyTSP1FileImp, AnyOtherFailureToFindTheSystemDirectoryPassesForSuccess)
{
    for (const unsigned failure : kOtherFolderFailures)
    {
        SCOPED_TRACE(failure);
        ExpectInService(MachineWithVersion("1.2.1.25"), "0",
                        {Attributes(kLibrary), VersionRead(kLibrary, {1, 2, 1, 25}), Failing(kSystem, Signed(failure)),
                         kUpdated, Attributes(R"(\TSP1_x64.dll)", kNoAttributes), kExit},
                        {.faults = {fmt::format("SHGetFolderPathW={}", failure)}});
    }
}

TEST(CopyTSP1FileImp, OfTwoLibrariesThatCannotBeSeenTheSecondsErrorIsLogged)
{
    ExpectInService(MachineWithVersion("1.2.1.25"), "-1",
                    {Attributes(kLibrary, kNoAttributes), Attributes(kOldLibrary, kNoAttributes),
                     "log: CopyTSP1FileImp - NTRU TSS not installed err: 32"},
                    {.faults = {"GetFileAttributesW#1=5", "GetFileAttributesW#2=32"}});
}

TEST(CopyTSP1FileImp, AServicesPathThatMemoryDoesNotSufficeForIsNone)
{
    Json description;
    description["services"]["tcsd_win32.exe"]["binaryPath"] = R"("C:\)" + std::string(400, 'n') + R"(\tcsd_win32.exe")";
    description["process"]["largestBlock"] = 512;
    const SimulatedRun run = Check(winsim::Machine::FromJson(description));
    EXPECT_EQ(run.result, "-1");
    EXPECT_EQ(run.log.at(1), LogOf(kNoService)[0]);
}

TEST(CopyTSP1FileImp, AnExceptionIsCaughtWhateverItsKind)
{
    for (const char* fault : {"GetFileVersionInfoSizeW=fault", "GetFileAttributesW#1=fault", "SHGetFolderPathW=fault"})
    {
        const SimulatedRun run = Check(MachineWithVersion("1.2.1.25"), {.faults = {fault}});
        EXPECT_EQ(run.result, "1") << fault;
        EXPECT_EQ(run.log.back(), "CopyTSP1FileImp - Unknown exception caught return 1") << fault;
    }
}

} // namespace
