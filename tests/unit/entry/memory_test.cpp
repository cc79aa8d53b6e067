// Proves that no exception leaves the program: wherever memory runs out, one operation fails and the next ones still
// run.
#include "tests/support/stack_machine.h"
#include "tests/unit/entry/action_script.h"

#include <algorithm>
#include <set>

namespace
{

using testing::Contains;
using testing::ElementsAreArray;
using testing::IsSupersetOf;

constexpr char kFirstLine[] = "============= Begin-> Kelo CSP (x64) Custom Action ===================";
constexpr char kLastLine[] = "============= Kelo CSP Custom Action <-End ===================";

constexpr char kNoVendor[] = "No TSS_VENDOR parameter specified only install if a TSS and proper TPM state is found.";

// A machine with everything that the program looks for, and optionally a virtual reader.
winsim::Machine WholeMachine(bool hasReader)
{
    winsim::Json machine = StackMachine{.hasShims = true}.Make().ToJson();
    machine["registry"][R"(HKLM\SOFTWARE\Kelo Systems Corp\Common)"]["values"] = {
        {"KlAutoEnrollInstalled", 1}, {"Installation Path", kToolkitFolder}};
    machine["libraries"][std::string(kToolkitFolder) + "CertJobPlanner.dll"]["exports"] = {
        {"AreTasksInstalled", 0}, {"InstallAutoEnrollmentTasks", 0}, {"RemoveAutoEnrollmentTasks", 0}};
    machine["programs"][std::string(kToolkitFolder) + R"(TPM_VSCard\DriverStager.exe)"] = winsim::Json::object();
    for (const char* body : {"KeloVReaderBody.dll", "KeloMiniDriverBody64.dll", "KeloMiniDriverBody.dll"})
        machine["files"][std::string(kToolkitFolder) + R"(TPM_VSCard\)" + body] = {{"text", body}};
    if (hasReader)
        machine["smartCards"]["readers"] = {"Kelo VIRTUAL_CARD_READER 0"};
    return winsim::Machine::FromJson(machine);
}

// The runs of one action in which each piece of memory is refused once.
struct Runs
{
    std::set<std::string> caught; // the log lines about exceptions
    std::vector<SimulatedRun> each;
};

Runs RefuseEachPiece(const winsim::Machine& machine, const std::vector<std::string>& arguments)
{
    Runs runs;
    const unsigned pieces = RunProgram(machine, arguments).outcome.callCounts.at("operator new");
    for (unsigned piece = 1; piece <= pieces; ++piece)
    {
        runs.each.push_back(
            RunProgram(machine, arguments,
                       {.faults = {"operator new#" + std::to_string(piece) + "=8"}, .recordsParameters = false}));
        for (const std::string& line : runs.each.back().log)
        {
            if (line.find("xception") != std::string::npos)
                runs.caught.insert(line);
        }
    }
    return runs;
}

// The refused allocation is not counted.
std::ptrdiff_t CallsBeforeTheBody(const SimulatedRun& run)
{
    const auto begin = run.outcome.calls.begin();
    return std::count_if(begin, begin + static_cast<std::ptrdiff_t>(run.outcome.bodyBegin),
                         [](const winsim::CallRecord& call) { return call.name != "operator new"; });
}

// Whether the run lacked memory for one of the logs, whose lines are then missing.
bool LacksALog(const SimulatedRun& run, const SimulatedRun& whole)
{
    return run.outcome.callCounts.at("_fsopen") != whole.outcome.callCounts.at("_fsopen") ||
           CallsBeforeTheBody(run) != CallsBeforeTheBody(whole);
}

// A vendor that does not fit into memory is not requested, and then no stack is chosen.
bool LacksItsVendor(const SimulatedRun& run)
{
    return std::ranges::find(run.log, kNoVendor) != run.log.end();
}

// Each step's line is logged, unless its log is silent.
void ExpectEachRun(const Runs& runs, const SimulatedRun& whole, const std::vector<std::string>& lines)
{
    ASSERT_THAT(whole.log, IsSupersetOf(lines));
    for (const SimulatedRun& run : runs.each)
    {
        EXPECT_EQ(run.outcome.standardOutput, "Done!");
        EXPECT_EQ(run.exitCode, LacksItsVendor(run) ? -1 : whole.exitCode);
        if (LacksALog(run, whole) || LacksItsVendor(run))
            continue;
        EXPECT_THAT(run.log, IsSupersetOf(lines));
    }
}

TEST(Memory, ThatRunsOutInASetupFailsOneOperation)
{
    const std::vector<std::string> arguments{"/Setup", "/TSS_VENDOR=KELO", "/TPM_VSC=1", "/TPM_WIN8=1"};
    const winsim::Machine machine = WholeMachine(false);
    const Runs runs = RefuseEachPiece(machine, arguments);
    ExpectEachRun(runs, RunProgram(machine, arguments),
                  {kFirstLine, "Register the Kelo TCG Enabled KSP", "Install TPM Virtual Smartcard.... ",
                   "SetupTCGDLL() -->", "InstallTkService - Make sure that the Service isn't running first!",
                   "<-- SetupTCGDLL()", kLastLine});
    EXPECT_THAT(runs.caught, ElementsAreArray({
                                 "CTPMSmartCard::Install - Unknown exception caught return -3",
                                 "CTPMSmartCard::InstallMiniDrv - Unknown exception caught return -3",
                                 "CTPMSmartCard::RunDriverStager - Unknown exception caught return -2",
                                 "CopyShimFile - Unknown exception caught return 0",
                                 "InstallAutoEnrollmentTasks - Unknown exception caught return -1",
                                 "InstallTkService - Unknown exception caught return -1",
                                 "RemoveTSP1File - Unknown exception caught return -1",
                                 "SetConfigFileAccess - Unknown exception caught return 0",
                                 "SetPolicyDirectoryAccess - Unknown exception caught return 0",
                                 "TakeKeyOwnership - Unknown exception caught return 0",
                                 "Unknown exception caught trying to copy stkprobe.dll",
                             }));
}

TEST(Memory, ThatRunsOutInARemovalFailsOneOperation)
{
    const winsim::Machine machine = WholeMachine(true);
    const Runs runs = RefuseEachPiece(machine, {"/Uninstall"});
    ExpectEachRun(runs, RunProgram(machine, {"/Uninstall"}),
                  {kFirstLine, "UninstallTCGDLL() -->", "Unregister the Kelo TCG Enabled KSP",
                   "UnInstallTkService - Enter", kLastLine});
    EXPECT_THAT(runs.caught, ElementsAreArray({
                                 "CTPMSmartCard::RunDriverStager - Unknown exception caught return -2",
                                 "CTPMSmartCard::Uninstall - Unknown exception caught return -1",
                                 "CTPMSmartCard::Uninstall - Unknown exception caught return 0",
                                 "CTPMSmartCard::UninstallMiniDrv - Unknown exception caught return -1",
                                 "CTPMSmartCard::UninstallMiniDrv - Unknown exception caught return 0",
                                 "RemoveAutoEnrollmentTasks - Unknown exception caught return -1",
                                 "RemoveTSP1File - Unknown exception caught return -1",
                             }));
}

TEST(Memory, ThatRunsOutInACommitFailsNothing)
{
    const Runs runs = RefuseEachPiece(WholeMachine(false), {"/Commit"});
    ExpectEachRun(runs, RunProgram(WholeMachine(false), {"/Commit"}), {kFirstLine, kLastLine});
    EXPECT_TRUE(runs.caught.empty());
}

// The stack set-up finds no stack, and it alone decides.
TEST(Memory, ThatRunsOutBeforeAFailureLeavesItAFailure)
{
    const Runs runs = RefuseEachPiece(MachineOf("{}"), {"/Setup"});
    ExpectEachRun(runs, RunProgram(MachineOf("{}"), {"/Setup"}), {kFirstLine, "<-- SetupTCGDLL()", kLastLine});
    for (const SimulatedRun& run : runs.each)
        EXPECT_EQ(run.exitCode, -1);
}

// Only calls that take no memory of the program's own still work.
TEST(Memory, OfWhichThereIsNoneLetsEveryActionEnd)
{
    // A set-up without a vendor chooses no stack.
    for (const auto& [action, exitCode, output] :
         std::vector<std::tuple<const char*, int, const char*>>{{"/Setup", -1, "Done!"},
                                                                {"/Commit", 0, "Done!"},
                                                                {"/Rollback", 0, "Done!"},
                                                                {"/Uninstall", 0, "Done!"},
                                                                {"/Other", -1, ""}})
    {
        const SimulatedRun run = RunProgram(WholeMachine(false), {action}, {.faults = {"operator new=8"}});
        EXPECT_THAT(run.log, testing::IsEmpty()) << action;
        EXPECT_EQ(run.outcome.standardOutput, output) << action;
        EXPECT_EQ(run.exitCode, exitCode) << action;
    }
    EXPECT_EQ(RunExport(MachineOf("{}"), "SRK_Auth_Change", {.faults = {"operator new=8"}}).exitCode, 10001);
}

TEST(Memory, IsNotRecordedWhereNothingIsRefused)
{
    const SimulatedRun run = RunProgram(MachineOf("{}"), {"/Commit"});
    EXPECT_GT(run.outcome.callCounts.at("operator new"), 0u);
    for (const winsim::CallRecord& record : run.outcome.calls)
        EXPECT_NE(record.name, "operator new");
    const SimulatedRun refused = RunProgram(MachineOf("{}"), {"/Commit"}, {.faults = {"operator new#3=8"}});
    const auto first = std::ranges::find(refused.outcome.calls, "operator new", &winsim::CallRecord::name);
    ASSERT_NE(first, refused.outcome.calls.end());
    EXPECT_TRUE(first->isHousekeeping);
    EXPECT_EQ(first->result, true);
}

// All other exceptions reach the last handler.
TEST(WinMain, AnswersAnExceptionWithAFailure)
{
    for (const char* fault : {"GetCommandLineW=fault", "VerifyVersionInfoW=fault"})
        EXPECT_EQ(RunProgram(MachineOf("{}"), {"/Setup"}, {.faults = {fault}}).exitCode, -1) << fault;
}

// ---- A program that was not started by its full path ----

TEST(RunCustomAction, TakesNothingFromAFolderWithoutAFullPath)
{
    const winsim::Machine machine = Changed(
        WholeMachine(false),
        {{"process", {{"currentDirectory", std::string(kToolkitFolder).substr(0, std::strlen(kToolkitFolder) - 1)}}}});
    for (const char* program : {"KeloCustomAction.exe", "C:KeloCustomAction.exe", R"(sub\KeloCustomAction.exe)",
                                R"(\KeloCustomAction.exe)", R"(.\KeloCustomAction.exe)"})
    {
        SCOPED_TRACE(program);
        const SimulatedRun setup =
            CallFunction(machine, "RunCustomAction", {program, "/Setup", "/TSS_VENDOR=NTRU12", "/TPM_VSC=1"});
        EXPECT_EQ(setup.result, "0"); // a stack was chosen
        EXPECT_THAT(setup.log, Contains("Install SmartCard - Failed; Location of installation was not provided"));
        EXPECT_THAT(setup.log, Contains("Failed to Load Library:  Err: 206"));
        for (const char* call : {"CopyFileA", "CopyFileW", "CreateProcessW"})
            EXPECT_FALSE(setup.outcome.callCounts.contains(call)) << call;
        for (const std::string& line : setup.script)
            EXPECT_THAT(line, testing::Not(testing::HasSubstr("LoadLibraryA(\"stkprobe")));
    }
}

} // namespace
