// Proves where the NTRU stack's own TSP library is looked for, which versions need no shim, and what becomes of a shim.
#include "tests/support/step_sequence.h"
#include "tests/support/tss_script.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using winsim::Json;

constexpr char kStack[] = R"(C:\NTRU\bin)";
constexpr char kUsual[] = R"(C:\Program Files\NTRU Cryptosystems\NTRU TCG Software Stack\bin)";
constexpr char kEnter[] = "CopyTSP1FileImp - Enter";
constexpr char kExit[] = "CopyTSP1FileImp - Exit - return 0";
constexpr char kUpdated[] =
    "CopyTSP1FileImp - Found updated TSS Version must ensure no Tsp1_x64.dll exists in System32 "
    "directory";
constexpr char kNoService[] = "CopyTSP1FileImp - Unable to get path to NTRU binary from Service Manager";

// A machine with the stack's service, whose program lies in kStack, with one file there.
Json MachineWithFile(const std::string& path, const char* file)
{
    Json description = Json::parse(R"({"services": {"tcsd_win32.exe": {
        "binaryPath": "\"C:\\NTRU\\bin\\tcsd_win32.exe\" -s"}}})");
    description["files"][path] = Json::parse(file);
    return description;
}

Json MachineWithVersion(const std::string& version)
{
    return MachineWithFile(std::string(kStack) + R"(\TSP1_x64.dll)",
                           fmt::format(R"({{"version": "{}"}})", version).c_str());
}

SimulatedRun Check(const winsim::Machine& machine, const SimulatedRunOptions& options = {})
{
    return CallFunction(machine, "CopyTSP1FileImp", {}, options);
}

// ---- Expected scripts
// ------------------------------------------------------------------------------------------------

std::string AttributesLine(const std::string& path, unsigned attributes)
{
    return CallLine("GetFileAttributesW", {path}, attributes);
}

// Up to the library, in the service's folder.
void FindThroughService(StepSequence& expected)
{
    expected.Log(kEnter);
    expected.Step("GetServiceBinaryPath", {"tcsd_win32.exe"});
    expected.Log(fmt::format(R"(Path to NTRU TSS binaries: {}\TSP1_x64.dll)", kStack));
}

Script VersionRead(const std::string& path, const std::array<unsigned, 4>& version)
{
    return {CallLine("GetFileVersionInfoSizeW", {path}, 92), CallLine("GetFileVersionInfoW", {path, 0, 92}, 1),
            CallLine("VerQueryValueW", {"\\"}, 1,
                     {{"puLen", 52},
                      {"lplpBuffer",
                       {{"dwSignature", 0xFEEF04BD},
                        {"dwFileVersionMS", version[0] << 16 | version[1]},
                        {"dwFileVersionLS", version[2] << 16 | version[3]}}}}),
            LogLine(fmt::format("CopyTSP1FileImp - NTRU TSS Version: {}", fmt::join(version, ".")))};
}

const std::string kSystem = FolderLineW(kSystemFolder, R"(C:\Windows\system32)");

// ---- Versions
// --------------------------------------------------------------------------------------------------------

TEST(CopyTSP1FileImp, AnUpdatedVersionTakesTheShimOutOfTheSystemDirectory)
{
    winsim::Machine machine = winsim::Machine::FromJson(MachineWithVersion("1.2.1.25"));
    machine.files.Create(kTsp1, false);
    const SimulatedRun run = Check(machine);
    const std::string library = std::string(kStack) + R"(\TSP1_x64.dll)";
    StepSequence expected{machine};
    FindThroughService(expected);
    expected.Line(AttributesLine(library, kArchive));
    expected.Lines(VersionRead(library, {1, 2, 1, 25}));
    expected.Lines({kSystem, LogLine(kUpdated), AttributesLine(kTsp1, kArchive), CallLine("DeleteFileW", {kTsp1}, 1),
                    LogLine(kExit)});
    ExpectRun(run, "0", expected.Whole());
    EXPECT_EQ(run.After().files.Find(kTsp1), nullptr);
    EXPECT_NE(run.After().files.Find(library), nullptr);
}

TEST(CopyTSP1FileImp, AnUpdatedVersionWithoutAShimDeletesNothing)
{
    const winsim::Machine machine = winsim::Machine::FromJson(MachineWithVersion("1.2.1.25"));
    const SimulatedRun run = Check(machine);
    EXPECT_EQ(run.result, "0");
    EXPECT_FALSE(run.outcome.callCounts.contains("DeleteFileW"));
    EXPECT_EQ(run.log.back(), kExit);
}

TEST(CopyTSP1FileImp, AShimThatCannotBeDeletedChangesNothing)
{
    winsim::Machine machine = winsim::Machine::FromJson(MachineWithVersion("1.2.1.25"));
    machine.files.Create(kTsp1, false).isInUse = true;
    const SimulatedRun run = Check(machine);
    EXPECT_EQ(run.result, "0");
    EXPECT_EQ(run.log.back(), kExit);
    EXPECT_NE(run.After().files.Find(kTsp1), nullptr);
}

TEST(CopyTSP1FileImp, VersionsCompareFieldByField)
{
    struct Case
    {
        const char* version;
        bool isUpdated;
    };
    constexpr Case kCases[] = {
        {"1.2.1.24", false},   {"1.2.1.25", true},     {"1.2.1.26", true},         {"1.2.1.65535", true},
        {"1.2.2.0", true},     {"1.3.0.0", true},      {"2.0.0.0", true},          {"65535.0.0.0", true},
        {"32768.0.0.0", true},

        {"1.2.0.99", false},   {"1.2.0.65535", false}, {"1.1.65535.65535", false}, {"0.65535.65535.65535", false},
        {"0.0.0.0", false},    {"1.2.1.0", false},     {"1.0.1.25", false},
    };
    for (const Case& one : kCases)
    {
        winsim::Machine machine = winsim::Machine::FromJson(MachineWithVersion(one.version));
        machine.files.Create(kTsp1, false);
        const SimulatedRun run = Check(machine);
        EXPECT_EQ(run.result, "0") << one.version;
        EXPECT_EQ(run.After().files.Find(kTsp1) == nullptr, one.isUpdated) << one.version;
        EXPECT_EQ(std::count(run.log.begin(), run.log.end(), kUpdated), one.isUpdated ? 1 : 0) << one.version;
        EXPECT_EQ(std::count(run.log.begin(), run.log.end(),
                             std::string("CopyTSP1FileImp - NTRU TSS Version: ") + one.version),
                  1)
            << one.version;
    }
}

TEST(CopyTSP1FileImp, AnOldVersionIsPresentAndNothingMore)
{
    winsim::Machine machine = winsim::Machine::FromJson(MachineWithVersion("1.2.1.24"));
    machine.files.Create(kTsp1, false);
    const SimulatedRun run = Check(machine);
    const std::string library = std::string(kStack) + R"(\TSP1_x64.dll)";
    StepSequence expected{machine};
    FindThroughService(expected);
    expected.Line(AttributesLine(library, kArchive));
    expected.Lines(VersionRead(library, {1, 2, 1, 24}));
    expected.Lines({kSystem, LogLine(kExit)});
    ExpectRun(run, "0", expected.Whole());
}

TEST(CopyTSP1FileImp, ALibraryWithoutAVersionIsPresentAndNotUpdated)
{
    const std::string library = std::string(kStack) + R"(\TSP1_x64.dll)";
    const winsim::Machine machine = winsim::Machine::FromJson(MachineWithFile(library, "{}"));
    const SimulatedRun run = Check(machine);
    StepSequence expected{machine};
    FindThroughService(expected);
    expected.Lines({AttributesLine(library, kArchive), CallLine("GetFileVersionInfoSizeW", {library}, 0),
                    LogLine("CopyTSP1FileImp - Unable to get Tsp1_x64.dll version info size err: 1812"), kSystem,
                    LogLine(kExit)});
    ExpectRun(run, "0", expected.Whole());
}

TEST(CopyTSP1FileImp, AVersionThatCannotBeReadIsNotLogged)
{
    const std::string library = std::string(kStack) + R"(\TSP1_x64.dll)";
    const winsim::Machine machine = winsim::Machine::FromJson(MachineWithVersion("2.0.0.0"));
    const SimulatedRun run = Check(machine, {.faults = {"GetFileVersionInfoW=5"}});
    StepSequence expected{machine};
    FindThroughService(expected);
    expected.Lines({AttributesLine(library, kArchive), CallLine("GetFileVersionInfoSizeW", {library}, 92),
                    CallLine("GetFileVersionInfoW", {library, 0, 92}, 0), kSystem, LogLine(kExit)});
    ExpectRun(run, "0", expected.Whole());
}

TEST(CopyTSP1FileImp, AVersionWithoutARootBlockIsNotAvailable)
{
    const std::string library = std::string(kStack) + R"(\TSP1_x64.dll)";
    const winsim::Machine machine = winsim::Machine::FromJson(MachineWithVersion("2.0.0.0"));
    const SimulatedRun run = Check(machine, {.faults = {"VerQueryValueW=1813"}});
    StepSequence expected{machine};
    FindThroughService(expected);
    expected.Lines({AttributesLine(library, kArchive), CallLine("GetFileVersionInfoSizeW", {library}, 92),
                    CallLine("GetFileVersionInfoW", {library, 0, 92}, 1), CallLine("VerQueryValueW", {"\\"}, 0),
                    LogLine("CopyTSP1FileImp - NTRU TSS Version: <Not Available>"), kSystem, LogLine(kExit)});
    ExpectRun(run, "0", expected.Whole());
}

TEST(CopyTSP1FileImp, AVersionWithAnEmptyRootBlockIsNotAvailable)
{
    const std::string library = std::string(kStack) + R"(\TSP1_x64.dll)";
    const winsim::Machine machine = winsim::Machine::FromJson(MachineWithVersion("2.0.0.0"));
    const SimulatedRun run = Check(machine, {.faults = {"VerQueryValueW=nothing"}});
    StepSequence expected{machine};
    FindThroughService(expected);
    expected.Lines({AttributesLine(library, kArchive), CallLine("GetFileVersionInfoSizeW", {library}, 92),
                    CallLine("GetFileVersionInfoW", {library, 0, 92}, 1),
                    CallLine("VerQueryValueW", {"\\"}, 1, {{"puLen", 0}}),
                    LogLine("CopyTSP1FileImp - NTRU TSS Version: <Not Available>"), kSystem, LogLine(kExit)});
    ExpectRun(run, "0", expected.Whole());
}

// ---- Places
// ----------------------------------------------------------------------------------------------------------

TEST(CopyTSP1FileImp, AStackWithTheOldNameAloneIsReadFromThere)
{
    const std::string library = std::string(kStack) + R"(\TSP1_x64.dll)";
    const std::string oldLibrary = std::string(kStack) + R"(\TSP1.dll)";
    const winsim::Machine machine =
        winsim::Machine::FromJson(MachineWithFile(oldLibrary, R"({"version": "1.2.1.30"})"));
    const SimulatedRun run = Check(machine);
    StepSequence expected{machine};
    FindThroughService(expected);
    expected.Lines({AttributesLine(library, kNoAttributes), AttributesLine(oldLibrary, kArchive)});
    expected.Lines(VersionRead(oldLibrary, {1, 2, 1, 30}));
    expected.Lines({kSystem, LogLine(kUpdated), AttributesLine(kTsp1, kNoAttributes), LogLine(kExit)});
    ExpectRun(run, "0", expected.Whole());
}

TEST(CopyTSP1FileImp, WithoutTheServiceTheProgramFilesAreLookedAt)
{
    const std::string library = std::string(kUsual) + R"(\TSP1_x64.dll)";
    Json description;
    description["files"][library] = {{"version", "1.2.1.24"}};
    const winsim::Machine machine = winsim::Machine::FromJson(description);
    const SimulatedRun run = Check(machine);
    StepSequence expected{machine};
    expected.Log(kEnter);
    EXPECT_EQ(expected.Step("GetServiceBinaryPath", {"tcsd_win32.exe"}), "(none) (untouched)");
    expected.Log(kNoService);
    expected.Lines({FolderLineW(kProgramFilesFolder, R"(C:\Program Files)"),
                    LogLine("Path to NTRU TSS binaries: " + library), AttributesLine(library, kArchive)});
    expected.Lines(VersionRead(library, {1, 2, 1, 24}));
    expected.Lines({kSystem, LogLine(kExit)});
    ExpectRun(run, "0", expected.Whole());
}

TEST(CopyTSP1FileImp, AStackThatIsNowhereIsNotPresent)
{
    const std::string folder = std::string(kUsual) + "\\";
    const winsim::Machine machine = MachineOf("{}");
    const SimulatedRun run = Check(machine);
    StepSequence expected{machine};
    expected.Log(kEnter);
    expected.Step("GetServiceBinaryPath", {"tcsd_win32.exe"});
    expected.Log(kNoService);
    expected.Lines({FolderLineW(kProgramFilesFolder, R"(C:\Program Files)"),
                    LogLine("Path to NTRU TSS binaries: " + folder + "TSP1_x64.dll"),
                    AttributesLine(folder + "TSP1_x64.dll", kNoAttributes),
                    AttributesLine(folder + "TSP1.dll", kNoAttributes),
                    LogLine("CopyTSP1FileImp - NTRU TSS not installed err: 3")});
    ExpectRun(run, "-1", expected.Whole());
}

TEST(CopyTSP1FileImp, AServiceWithoutItsLibrariesIsNotPresent)
{
    const SimulatedRun run =
        Check(winsim::Machine::FromJson(MachineWithFile(std::string(kStack) + R"(\other.dll)", "{}")));
    EXPECT_EQ(run.result, "-1");
    EXPECT_EQ(run.log.back(), "CopyTSP1FileImp - NTRU TSS not installed err: 2");
    EXPECT_FALSE(run.outcome.callCounts.contains("SHGetFolderPathW"));
}

TEST(CopyTSP1FileImp, AServicePathWithoutQuotationMarksLeadsNowhere)
{
    Json description = MachineWithVersion("2.0.0.0");
    description["services"]["tcsd_win32.exe"]["binaryPath"] = R"(C:\NTRU\bin\tcsd_win32.exe)";
    const SimulatedRun run = Check(winsim::Machine::FromJson(description));
    EXPECT_EQ(run.result, "-1");
    EXPECT_EQ(run.log, (Script{kEnter, R"(Path to NTRU TSS binaries: :\NTRU\bin\TSP1_x64.dll)",
                               "CopyTSP1FileImp - NTRU TSS not installed err: 123"}));
}

TEST(CopyTSP1FileImp, UnknownProgramFilesMeanNotPresent)
{
    const winsim::Machine machine = MachineOf(R"({"folders": {"programFiles": null}})");
    const SimulatedRun run = Check(machine);
    StepSequence expected{machine};
    expected.Log(kEnter);
    expected.Step("GetServiceBinaryPath", {"tcsd_win32.exe"});
    expected.Log(kNoService);
    expected.Lines({CallLine("SHGetFolderPathW", {nullptr, kProgramFilesFolder, nullptr, 0}, Signed(kFail)),
                    LogLine("CopyTSP1FileImp - Unable to get path to PROGRAM_FILES")});
    ExpectRun(run, "-1", expected.Whole());
}

TEST(CopyTSP1FileImp, AnUnknownSystemDirectoryIsAResultOfItsOwn)
{
    for (const char* version : {"1.2.1.24", "1.2.1.25"})
    {
        Json description = MachineWithVersion(version);
        description["folders"]["system"] = nullptr;
        const SimulatedRun run = Check(winsim::Machine::FromJson(description));
        EXPECT_EQ(run.result, "1");
        EXPECT_EQ(run.log.back(), "CopyTSP1FileImp - Unable to get path to SYSTEM32");
    }
}

// Failures of a folder look-up that count as success.
constexpr unsigned kOtherFolderFailures[] = {0x80070003, 0x80070057, 1};

TEST(CopyTSP1FileImp, AnyOtherFailureToFindTheProgramFilesPassesForSuccess)
{
    constexpr char kLibrary[] = R"(\NTRU Cryptosystems\NTRU TCG Software Stack\bin\TSP1_x64.dll)";
    constexpr char kOldLibrary[] = R"(\NTRU Cryptosystems\NTRU TCG Software Stack\bin\TSP1.dll)";
    for (const unsigned failure : kOtherFolderFailures)
    {
        SCOPED_TRACE(failure);
        const winsim::Machine machine = MachineOf("{}");
        StepSequence expected{machine};
        expected.Log(kEnter);
        expected.Step("GetServiceBinaryPath", {"tcsd_win32.exe"});
        expected.Log(kNoService);
        expected.Lines({CallLine("SHGetFolderPathW", {nullptr, kProgramFilesFolder, nullptr, 0}, Signed(failure)),
                        LogLine(std::string("Path to NTRU TSS binaries: ") + kLibrary),
                        AttributesLine(kLibrary, kNoAttributes), AttributesLine(kOldLibrary, kNoAttributes),
                        LogLine("CopyTSP1FileImp - NTRU TSS not installed err: 3")});
        ExpectRun(Check(machine, {.faults = {fmt::format("SHGetFolderPathW={}", failure)}}), "-1", expected.Whole());
    }
}

TEST(CopyTSP1FileImp, AnyOtherFailureToFindTheSystemDirectoryPassesForSuccess)
{
    const std::string library = std::string(kStack) + R"(\TSP1_x64.dll)";
    for (const unsigned failure : kOtherFolderFailures)
    {
        SCOPED_TRACE(failure);
        const winsim::Machine machine = winsim::Machine::FromJson(MachineWithVersion("1.2.1.25"));
        StepSequence expected{machine};
        FindThroughService(expected);
        expected.Line(AttributesLine(library, kArchive));
        expected.Lines(VersionRead(library, {1, 2, 1, 25}));
        expected.Lines({CallLine("SHGetFolderPathW", {nullptr, kSystemFolder, nullptr, 0}, Signed(failure)),
                        LogLine(kUpdated), AttributesLine(R"(\TSP1_x64.dll)", kNoAttributes), LogLine(kExit)});
        ExpectRun(Check(machine, {.faults = {fmt::format("SHGetFolderPathW={}", failure)}}), "0", expected.Whole());
    }
}

TEST(CopyTSP1FileImp, OfTwoLibrariesThatCannotBeSeenTheSecondsErrorIsLogged)
{
    const winsim::Machine machine = winsim::Machine::FromJson(MachineWithVersion("1.2.1.25"));
    StepSequence expected{machine};
    FindThroughService(expected);
    expected.Lines({AttributesLine(std::string(kStack) + R"(\TSP1_x64.dll)", kNoAttributes),
                    AttributesLine(std::string(kStack) + R"(\TSP1.dll)", kNoAttributes),
                    LogLine("CopyTSP1FileImp - NTRU TSS not installed err: 32")});
    ExpectRun(Check(machine, {.faults = {"GetFileAttributesW#1=5", "GetFileAttributesW#2=32"}}), "-1",
              expected.Whole());
}

TEST(CopyTSP1FileImp, AServicesPathThatMemoryDoesNotSufficeForIsNone)
{
    Json description;
    description["services"]["tcsd_win32.exe"]["binaryPath"] = R"("C:\)" + std::string(400, 'n') + R"(\tcsd_win32.exe")";
    description["process"]["largestBlock"] = 512;
    const SimulatedRun run = Check(winsim::Machine::FromJson(description));
    EXPECT_EQ(run.result, "-1");
    EXPECT_EQ(run.log.at(1), kNoService);
}

TEST(CopyTSP1FileImp, AnExceptionIsCaughtWhateverItsKind)
{
    const winsim::Json description = MachineWithVersion("1.2.1.25");
    for (const char* fault : {"GetFileVersionInfoSizeW=fault", "GetFileAttributesW#1=fault", "SHGetFolderPathW=fault"})
    {
        const SimulatedRun run = Check(winsim::Machine::FromJson(description), {.faults = {fault}});
        EXPECT_EQ(run.result, "1") << fault;
        EXPECT_EQ(run.log.back(), "CopyTSP1FileImp - Unknown exception caught return 1") << fault;
    }
}

} // namespace
