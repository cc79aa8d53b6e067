// Proves what kelo-rehearse reports to a shell and to readers of its reports: exit statuses, runs without a result,
// requested failures, and errors in a description.
#include "tests/unit/rehearse/kelo_rehearse.h"

#include "winsim/process/repeats.h"

#include <gmock/gmock.h>

namespace
{

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using winsim::Json;

const Json kPlain = Json::object();

// A text with single blanks in place of all its blanks and line breaks.
std::string OneLine(const std::string& text)
{
    std::istringstream words(text);
    std::string line;
    for (std::string word; words >> word;)
        line += (line.empty() ? "" : " ") + word;
    return line;
}

constexpr char kSetup[] = " -- /Setup";
constexpr char kCommit[] = " -- /Commit";

// TBS accepts the set-up's stop control and never stops.
const Json kHanging = Json::parse(R"({"windows": {"version": "6.1"},
    "registry": {"HKLM\\SOFTWARE\\Microsoft\\Tpm\\BlockedCommands\\List": {}},
    "services": {"TBS": {"state": "running", "onStop": {"states": []}}}})");

TEST_F(KeloRehearse, StatusIs0ForSuccessAnd1ForMinus1)
{
    const Rehearsal success = Run(kPlain, "", kCommit);
    EXPECT_EQ(success.exitStatus, 0);
    EXPECT_THAT(success.output,
                HasSubstr("\n  Result         exit code 0, decided in the step \"provider defaults\"\n"));
    const Rehearsal failure = Run(kPlain, "--fault RegCreateKeyExA=5", kCommit);
    EXPECT_EQ(failure.exitStatus, 1);
    EXPECT_THAT(failure.output,
                HasSubstr("\n  Result         exit code -1, decided in the step \"provider defaults\"\n"));
}

TEST_F(KeloRehearse, JsonOfARunWithAResultHasItAndNoReasonForNone)
{
    const Rehearsal run = Run(kPlain, "--json --fault RegCreateKeyExA=5", kCommit);
    EXPECT_EQ(run.exitStatus, 1);
    const Json report = Json::parse(run.output);
    EXPECT_EQ(report["exitCode"], -1);
    EXPECT_EQ(report["end"], "exit");
    EXPECT_EQ(report["noResult"], nullptr);
    EXPECT_EQ(report["repeatedCalls"], Json::array());
    EXPECT_EQ(report["repeatedLines"], Json::array());
}

TEST_F(KeloRehearse, WaitWithoutEndIsSaidFirstAndHasNoResult)
{
    const Rehearsal run = Run(kHanging, "", kSetup);
    EXPECT_EQ(run.exitStatus, 3);
    EXPECT_THAT(run.output, StartsWith("Run: /Setup\n"
                                       "  NO RESULT: the program would wait for ever; it was ended after 1200.250 s,\n"
                                       "  waiting for the service to change its state\n"
                                       "\n"
                                       "  Result         none\n"
                                       "  Waits          20 min 0 s, in command unblocking\n"));
    EXPECT_THAT(run.output, EndsWith("      +0.000  TBS  current status: 4, 1\n"
                                     "              4801 times in 20 min 0 s\n"));
}

// These bounds limit what is kept of some 34,000 calls, however long the wait is.
TEST_F(KeloRehearse, WaitWithoutEndIsRecordedOnce)
{
    const Rehearsal run = Run(kHanging, "--json", kSetup);
    EXPECT_EQ(run.exitStatus, 3);
    EXPECT_LT(run.output.size(), 150000u);
    const Json report = Json::parse(run.output);
    EXPECT_EQ(report["exitCode"], nullptr);
    EXPECT_EQ(report["end"], "endless");
    EXPECT_EQ(report["noResult"], "the program would wait for ever; it was ended after 1200.250 s");
    EXPECT_LT(report["calls"].size(), 500u);
    EXPECT_LT(report["log"].size(), 100u);

    ASSERT_EQ(report["repeatedCalls"].size(), 1u);
    const Json& repeat = report["repeatedCalls"][0];
    EXPECT_EQ(repeat["length"], 7);
    EXPECT_EQ(repeat["times"], 4800);
    EXPECT_EQ(repeat["everyMs"], 250);
    const std::size_t first = repeat["first"];
    EXPECT_EQ(report["calls"][first + 5]["call"], "Sleep");
    EXPECT_EQ(report["calls"][first + 7]["clockMs"], 4800 * 250);

    ASSERT_EQ(report["repeatedLines"].size(), 1u);
    EXPECT_EQ(report["repeatedLines"][0]["times"], 4801);
}

TEST_F(KeloRehearse, TraceShowsRepeatedCallsOnce)
{
    const Rehearsal run = Run(kHanging, "--trace", kSetup);
    EXPECT_EQ(run.exitStatus, 3);
    EXPECT_THAT(run.output, HasSubstr("\n              4801 times in 20 min 0 s\n"
                                      "            > Sleep(dwMilliseconds=250) -> null  (4801 times)\n"));
    EXPECT_LT(run.output.size(), 100000u);
}

// Another program replaces the installer program's image; it ends in the requested way.
TEST_F(KeloRehearse, DeathIsSaidFirstAndHasNoResult)
{
    const auto folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    std::filesystem::copy_file(folder / "kelo-rehearse", Path("kelo-rehearse"));
    std::filesystem::copy_file(folder / "ending_program.so", Path("KeloCustomAction.so"));
    for (const auto& [way, reason] : std::vector<std::pair<const char*, const char*>>{
             {"exception", "uncaught exception std::runtime_error: nobody catches this"},
             {"abort", "abort"},
             {"write nowhere", "access violation"}})
    {
        std::ofstream(Path("machine.json"))
            << Json{{"environment", {{"KELO_END_WAY", way}, {"KELO_END_MOMENT", "body"}}}};
        const Rehearsal text = RunShell(Path("kelo-rehearse") + " " + Path("machine.json"));
        EXPECT_EQ(text.exitStatus, 4);
        const std::string headline = OneLine(text.output);
        EXPECT_THAT(headline, StartsWith(std::string("Run: (no action) NO RESULT: the program died: ") + reason));
        EXPECT_THAT(headline, HasSubstr(" Result none Waits none "));

        const Rehearsal json = RunShell(Path("kelo-rehearse") + " --json " + Path("machine.json"));
        EXPECT_EQ(json.exitStatus, 4);
        const Json report = Json::parse(json.output);
        EXPECT_EQ(report["exitCode"], nullptr);
        EXPECT_EQ(report["end"], "death");
        EXPECT_EQ(report["noResult"], std::string("the program died: ") + reason);
        EXPECT_GT(report["calls"].size(), 0u);
    }
}

TEST_F(KeloRehearse, FailureIsMarkedInTraceAndJson)
{
    const Rehearsal trace = Run(kPlain, "--trace --fault RegCreateKeyExA=ERROR_ACCESS_DENIED", kCommit);
    EXPECT_THAT(OneLine(trace.output),
                HasSubstr("lpSecurityAttributes=null) -> 5 error 5 ERROR_ACCESS_DENIED (fault)"));
    EXPECT_THAT(OneLine(trace.output),
                HasSubstr(" Fault RegCreateKeyExA=5: 2 of 2 calls, in the step \"provider defaults\" "));

    const Json report = Json::parse(Run(kPlain, "--json --fault RegCreateKeyExA#1=0x5", kCommit).output);
    EXPECT_EQ(report["faults"], Json::parse(R"([{"fault": "RegCreateKeyExA#1=5", "times": 1}])"));
    for (const Json& call : report["calls"])
        EXPECT_EQ(call.contains("fault"), call["call"] == "RegCreateKeyExA" && call["result"] == 5) << call;
}

TEST_F(KeloRehearse, FailureThatIsNotReachedIsReported)
{
    const std::string options = "--fault RegCreateKeyExA#2=5 --fault StartServiceW=5";
    const Rehearsal text = Run(kPlain, options, kCommit);
    EXPECT_EQ(text.exitStatus, 0);
    EXPECT_THAT(text.output, HasSubstr("\n  Fault          RegCreateKeyExA#2=5: NOT REACHED, of 1 call\n"
                                       "  Fault          StartServiceW=5: NOT REACHED, of 0 calls\n"));
    const Json report = Json::parse(Run(kPlain, "--json " + options, kCommit).output);
    EXPECT_EQ(report["faults"], Json::parse(R"([{"fault": "RegCreateKeyExA#2=5", "times": 0},
                                                {"fault": "StartServiceW=5", "times": 0}])"));
}

TEST_F(KeloRehearse, FailureThatCannotBeIsAUsageError)
{
    for (const auto& [fault, complaint] : std::vector<std::pair<const char*, const char*>>{
             {"RegCreateKeyEx=5", "the simulated machine has no call RegCreateKeyEx; there is RegCreateKeyExA"},
             {"NoSuchCall=5", "the simulated machine has no call NoSuchCall"},
             {"Sleep=5", "Sleep cannot fail"},
             {"RegCreateKeyExA=nothing", "RegCreateKeyExA cannot succeed with nothing"},
             {"RegCreateKeyExA=0",
              "0 is not a failure of RegCreateKeyExA; use another Win32 error such as ERROR_ACCESS_DENIED"},
             {"CoCreateInstance=1", "1 is not a failure of CoCreateInstance; use another HRESULT such as E_FAIL"},
             {"RegCreateKeyExA=E_FAIL", "the error is neither a 32-bit number nor a known Win32 error such as "
                                        "ERROR_ACCESS_DENIED; write CALL[#N]=ERROR"}})
    {
        const Rehearsal run = Run(kPlain, std::string("--fault ") + fault, kCommit);
        EXPECT_EQ(run.exitStatus, 2);
        EXPECT_EQ(run.output,
                  std::string("kelo-rehearse: fault \"") + fault + "\": " + complaint + " (--help tells more)\n");
    }
}

TEST_F(KeloRehearse, BadDescriptionIsNamedByFileAndPath)
{
    for (const auto& [description, complaint] : std::vector<std::pair<const char*, const char*>>{
             {R"({"windows": {"build": "x"}})", "windows.build: not a number"},
             {R"({"windows": {"build": 1, "build": 2}})", "windows.build: this key is there twice"},
             {R"({"files": {"C:\\none": null}})", "files.C:\\none: null, but there is nothing to remove"}})
    {
        const Rehearsal run = RunText(description, "", kCommit);
        EXPECT_EQ(run.exitStatus, 2);
        EXPECT_EQ(run.output, "kelo-rehearse: " + Path("machine.json") + ": " + complaint + "\n");
    }
    EXPECT_EQ(RunCommand("no-such.json -- /Commit").output, "kelo-rehearse: no-such.json: cannot be read\n");
    EXPECT_EQ(RunCommand("no-such.json -- /Commit").exitStatus, 2);
}

TEST_F(KeloRehearse, ManyFaultsAreCountedUnlessAllIsAskedFor)
{
    std::string options;
    for (const char* call : {"StartServiceW", "DeleteFileA", "CopyFileA", "OpenServiceW"})
        options += std::string(" --fault ") + call + "=5";
    EXPECT_THAT(Run(kPlain, options, kCommit).output,
                HasSubstr("\n  Fault          StartServiceW=5: NOT REACHED, of 0 calls\n"
                          "  Fault          DeleteFileA=5: NOT REACHED, of 0 calls\n"
                          "  Faults         and 2 more: --verbose\n"));
    EXPECT_THAT(Run(kPlain, "--verbose" + options, kCommit).output,
                HasSubstr("\n  Fault          OpenServiceW=5: NOT REACHED, of 0 calls\n"));
}

TEST_F(KeloRehearse, ShowsARunThatWasSeenElsewhereWithItsExitStatus)
{
    const Json seen = Json::parse(R"({"exitCode": 0,
        "log": ["2013/05/07 14:03:09.042 TZ-4 [7] command line argv[1]: /Commit"],
        "changes": [{"area": "registry", "kind": "added", "item": "HKLM\\A [b]", "before": null, "after": 17}],
        "facts": [["Made", "by hand"]]})");
    std::ofstream(Path("run.json")) << seen;
    const Rehearsal run = Run(kPlain, "--seen " + Path("run.json"), kCommit);
    EXPECT_EQ(run.exitStatus, 0);
    EXPECT_THAT(run.output, StartsWith("Run: /Commit\n"
                                       "  ENDED WITH 0, and its log stops in the step \"options\"\n"
                                       "\n"
                                       "  Result         exit code 0, decided in the step \"options\"\n"
                                       "  Time           none\n"
                                       "  Changes        1: 1 in the registry\n"
                                       "  Made           by hand\n"));
    EXPECT_THAT(run.output, HasSubstr("\n    HKLM\\A\n      added       b = 17 (0x11)\n"));

    Json endless = seen;
    endless.update(Json{{"exitCode", nullptr}, {"end", "endless"}, {"noResult", "it did not end"}});
    std::ofstream(Path("run.json")) << endless;
    EXPECT_EQ(Run(kPlain, "--seen " + Path("run.json"), kCommit).exitStatus, 3);
    endless["end"] = "death";
    std::ofstream(Path("run.json")) << endless;
    EXPECT_EQ(Run(kPlain, "--seen " + Path("run.json"), kCommit).exitStatus, 4);
    EXPECT_EQ(Run(kPlain, "--json --seen " + Path("run.json"), kCommit).exitStatus, 2);
    std::ofstream(Path("run.json")) << "{}";
    EXPECT_EQ(Run(kPlain, "--seen " + Path("run.json"), kCommit).exitStatus, 2);
}

TEST_F(KeloRehearse, TellsAResultThatIsNotTheOneOfTheLog)
{
    const Json seen = Json::parse(R"json({"exitCode": -1, "changes": [], "log": [
        "2013/05/07 14:03:09.042 TZ-4 [7] ============= Begin-> Kelo CSP (x64) Custom Action ===================",
        "2013/05/07 14:03:09.042 TZ-4 [7] <-- UninstallTCGDLL()",
        "2013/05/07 14:03:09.042 TZ-4 [7] ============= Kelo CSP Custom Action <-End ==================="]})json");
    std::ofstream(Path("run.json")) << seen;
    const Rehearsal run = Run(kPlain, "--seen " + Path("run.json"), " -- /Rollback");
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_THAT(run.output, StartsWith("Run: /Rollback\n  ENDED WITH -1, unlike its log\n"));
}

TEST_F(KeloRehearse, ChoicesArePrintedWithoutAMachine)
{
    const Rehearsal run = RunCommand("--choices");
    EXPECT_EQ(run.exitStatus, 0);
    EXPECT_THAT(run.output, StartsWith("# Choices\n"));
}

} // namespace
