// Proves how the export reacts to each answer of the SRK tool, and what it passes to the tool.
#include "tests/support/run_tests.h"
#include "tests/unit/tpm/install_session.h"

#include "tests/support/simulated_run.h"
#include "tests/support/windows_script.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fmt/format.h>

#include <span>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

using winsim::Json;

constexpr char kMustUpgrade[] = "log: SRK Auth and TPM Owner Auth must be upgraded";
constexpr char kOther[] = "log: Something other error";

const std::string kTool = kToolPath;
const std::string kDefaultChange = kTool + " /T:\"NTRU\" /Y";

// ---- The check ----

// Exit codes of the tool, their line in the log, and whether the program goes on: from the check to the change, or from
// the change to its end without a task at the next logon.
struct Answer
{
    std::vector<std::int32_t> codes;
    const char* log;
    bool goesOn;
};

const Answer kAnswersToTheCheck[] = {
    {{-2147483647 - 1, -128, -9, -8, -3, -2, -1, 3, 4, 5, 251, 259, 2147483647}, kOther, false},
    {{-7}, "log: TPM Not Enabled", false},
    {{-6}, "log: TPM Not Activated", false},
    {{-5}, kMustUpgrade, true},
    {{-4}, "log: Unable to load Resource file", false},
    {{0}, "log: SRK and TPM Owner Auth is OK", false},
    {{1}, "log: Unable to get Process Exit code assume must change SRK Auth.", true},
    {{2}, "log: Unable to launch process!", false},
};

// Calls `check` for each exit code of these answers.
template <typename Check>
void ForEachCode(std::span<const Answer> answers, Check check)
{
    for (const Answer& answer : answers)
    {
        for (const std::int32_t code : answer.codes)
        {
            SCOPED_TRACE(code);
            check(code, answer);
        }
    }
}

TEST(SrkAuthChange, EachAnswerToTheCheckHasItsLineAndItsNextStep)
{
    ForEachCode(kAnswersToTheCheck, [](std::int32_t code, const Answer& answer) {
        const SimulatedRun run = ChangeSrkAuth({.verifyCode = code, .changeCode = 0});
        ExpectLog(run, "0", answer.goesOn ? Script{answer.log, "log: SRK and TPM Owner Auth is now OK"} : answer.log);
        EXPECT_EQ(CommandLines(run), answer.goesOn ? Script({kTool + " /V", kDefaultChange}) : kTool + " /V");
        EXPECT_EQ(RunAtLogon(run.After()), Json::object());
    });
}

// ---- The change ----

const Answer kAnswersToTheChange[] = {
    {{-2147483647 - 1, -9, -5, -3, -2, -1, 3, 248, 259, 2147483647}, kOther, false},
    {{-8}, "log: User Cancelled", false},
    {{-7}, "log: TPM Not Enabled", false},
    {{-6}, "log: TPM Not Activated", false},
    {{-4}, "log: Unable to load Resource file", false},
    {{0}, "log: SRK and TPM Owner Auth is now OK", true},
    {{1}, "log: Unable to get Process Exit code assume must change SRK Auth.", false},
    {{2}, "log: Unable to launch process!", false},
};

TEST(SrkAuthChange, EachAnswerToTheChangeHasItsLineAndALogonTaskUnlessItIsDone)
{
    ForEachCode(kAnswersToTheChange, [](std::int32_t code, const Answer& answer) {
        const SimulatedRun run = ChangeSrkAuth({.verifyCode = -5, .changeCode = code});
        ExpectLog(run, "0", {kMustUpgrade, answer.log});
        EXPECT_THAT(CommandLines(run), ElementsAre(kTool + " /V", kDefaultChange));
        EXPECT_EQ(RunAtLogon(run.After()), answer.goesOn ? Json::object() : TaskAtLogon());
    });
}

// ---- The whole ----

Script AskForData(const std::string& data)
{
    return {Call("MsiGetPropertyW", {"install#1", "CustomActionData", 0}, 234, {{"pcchValueBuf", data.size()}}),
            Call("MsiGetPropertyW", {"install#1", "CustomActionData", data.size() + 1}, 0,
                 {{"pcchValueBuf", data.size()}, {"szValueBuf", data}}),
            FolderIs(kProgramFilesFolder, R"(C:\Program Files)")};
}

// The export first checks for every program that Windows would try before the tool's own path.
Script OthersLookedFor()
{
    Script lines;
    for (const std::string program : {R"(C:\Program)", R"(C:\Program Files\Kelo)", R"(C:\Program Files\Kelo Systems)"})
    {
        for (const char* extension : {"", ".exe"})
            lines.push_back(Call("GetFileAttributesW", {program + extension}, 0xFFFFFFFF));
    }
    return lines;
}

Script RunTool(const std::string& arguments, std::uint32_t exitCode)
{
    return {OthersLookedFor(), StartProgram(nullptr, kTool + arguments, 0), kWaitForProgram,
            Call("GetExitCodeProcess", {"process#1"}, 1, {{"lpExitCode", exitCode}}), kCloseProgram};
}

// The first line opens the log: a library must not do so while it is being loaded.
const Script kOpenLog{
    Call("SHGetFolderPathA", {nullptr, 35, nullptr, 0}, 0, {{"pszPath", R"(C:\ProgramData)"}}),
    Call("SHCreateDirectoryExA", {nullptr, R"(C:\ProgramData\Kelo Systems Corp\InstallLogs\Toolkit\)", nullptr}, 183),
    Call("_fsopen", {R"(C:\ProgramData\Kelo Systems Corp\InstallLogs\Toolkit\kelo_install_log.txt)", "a", 64},
         "stream#1")};

TEST(SrkAuthChange, ChecksChangesAndPutsTheTaskOffToTheNextLogon)
{
    const std::string data = "/CAPTION=c";
    const SimulatedRun run = ChangeSrkAuth({.data = data, .verifyCode = -5, .changeCode = -8});
    EXPECT_THAT(run.startScript, IsEmpty());
    ExpectRun(
        run, "0",
        {AskForData(data), RunTool(" /V", 0xFFFFFFFB), kOpenLog, kMustUpgrade,
         RunTool(" /C:\"c\" /T:\"NTRU\" /Y", 0xFFFFFFF8), "log: User Cancelled",
         Call("RegOpenKeyExA", {"HKEY_LOCAL_MACHINE", R"(Software\Microsoft\Windows\CurrentVersion\Run)", 0, 131103}, 0,
              {{"phkResult", "key#1"}}),
         Call("RegSetValueExA", {"key#1", "ChangeTPMAuth", 0, 1, "ChangeTPMAuth", 14}, 0),
         Call("RegCloseKey", {"key#1"}, 0)});
    EXPECT_THAT(run.endScript, ElementsAre(Call("fclose", {"stream#1"}, 0)));
    EXPECT_EQ(RunAtLogon(run.After()), TaskAtLogon());
}

TEST(SrkAuthChange, ACheckThatFindsAllInOrderRunsTheToolOnce)
{
    ExpectRun(ChangeSrkAuth({.data = "/SILENT /CAPTION=c /PASSWORD="}), "0",
              {AskForData("/SILENT /CAPTION=c /PASSWORD="), RunTool(" /V", 0), kOpenLog,
               "log: SRK and TPM Owner Auth is OK"});
}

// ---- A program in the tool's stead ----

TEST(SrkAuthChange, AProgramThatWindowsWouldStartInsteadKeepsTheToolFromBeingRun)
{
    for (const char* planted :
         {R"(C:\Program)", R"(C:\Program.exe)", R"(C:\Program Files\Kelo.exe)", R"(C:\Program Files\Kelo Systems)"})
    {
        winsim::Json machine = DescriptionOf({.verifyCode = -5, .changeCode = 0});
        machine["files"][planted] = {{"text", "planted"}};
        const SimulatedRun run = ChangeSrkAuthOn(machine);
        SCOPED_TRACE(planted);
        ExpectLog(run, "0", {"log: Unable to launch process!"});
        EXPECT_EQ(CountOf("CreateProcessW", run.script), 0u);
    }
}

TEST(SrkAuthChange, ADescribedProgramIsSuchAFile)
{
    Json machine = DescriptionOf({.verifyCode = 0});
    machine["programs"][R"(C:\Program.exe)"]["runs"] = {{{"exitCode", 3}}};
    const SimulatedRun run = ChangeSrkAuthOn(machine);
    ExpectLog(run, "0", {"log: Unable to launch process!"});
    EXPECT_EQ(CountOf("CreateProcessW", run.script), 0u);
}

// The path is not quoted: Windows tries each blank as the end of the path.
TEST(SrkAuthChange, AProgramThatAppearsThereAfterTheCheckIsRunInsteadOfTheTool)
{
    Json machine = DescriptionOf({.verifyCode = 0});
    machine["programs"][R"(C:\planted.exe)"]["runs"] = {{{"exitCode", 3}}};
    const SimulatedRun before = ChangeSrkAuthOn(machine);
    const std::string lastCheck =
        fmt::format("GetFileAttributesW#{}", before.outcome.callCounts.at("GetFileAttributesW"));
    ExpectLog(ChangeSrkAuthOn(machine, {.meanwhile = {lastCheck + R"(=move C:\planted.exe -> C:\Program.exe)"}}), "0",
              {kOther});
}

TEST(SrkAuthChange, EachOfTwoBlanksMayEndThePathOfSuchAProgram)
{
    Json machine = DescriptionOf({.hasTool = false});
    machine["folders"]["programFiles"] = R"(C:\Two  blanks)";
    machine["files"][R"(C:\Two  blanks)"]["directory"] = true;
    machine["programs"][R"(C:\Two  blanks\Kelo Systems Corp\Common\TpmKeyFixer.exe)"]["runs"] = {{{"exitCode", 0}}};
    ExpectLog(ChangeSrkAuthOn(machine), "0", {"log: SRK and TPM Owner Auth is OK"});
    machine["files"][R"(C:\Two .exe)"] = {{"text", "planted"}};
    const SimulatedRun run = ChangeSrkAuthOn(machine);
    ExpectLog(run, "0", {"log: Unable to launch process!"});
    EXPECT_EQ(CountOf("CreateProcessW", run.script), 0u);
}

TEST(SrkAuthChange, AFolderOfThatNameIsNoProgram)
{
    winsim::Json machine = DescriptionOf({.verifyCode = 0, .changeCode = 0});
    machine["files"][R"(C:\Program.exe)"] = {{"directory", true}};
    ExpectLog(ChangeSrkAuthOn(machine), "0", {"log: SRK and TPM Owner Auth is OK"});
}

// ---- What the tool is handed ----

struct DataCase
{
    const char* data;
    const char* arguments;
};

TEST(SrkAuthChange, HandsTheToolWhatTheInstallerSays)
{
    constexpr DataCase kCases[] = {
        {"", R"( /T:"NTRU" /Y)"},
        {"/CAPTION=My Tool /INFO=x", R"( /C:"My Tool" /I:"x" /T:"NTRU" /Y)"},
        {"/INFO=x /CAPTION=My Tool", R"( /C:"My Tool" /I:"x" /T:"NTRU" /Y)"},
        {"/TSS_VENDOR=KELO", R"( /T:"KELO" /Y)"},
        {"/TSS_VENDOR=", " /Y"},
        {"/TSS_VENDOR= /CAPTION=c", R"( /C:"c" /Y)"},
        {"/SILENT", R"( /T:"NTRU" /S /Y)"},
        {"/VERIFY", R"( /T:"NTRU" /V /Y)"},
        {"/silent /TSS_VENDOR=", " /S /Y"},
        {"/VERIFY /CAPTION=Setup", R"( /C:"Setup" /T:"NTRU" /V /Y)"},
        {"/CAPTION=Setup /VERIFY", R"( /C:"Setup" /T:"NTRU" /Y)"},
        {"/SILENT /VERIFY", R"( /T:"NTRU" /S /Y)"},
        {"/VERIFY /SILENT", R"( /T:"NTRU" /V /Y)"},
        {"/CAPTION= /INFO= /PASSWORD= /TSS_VENDOR=", " /Y"},
        // Nothing inside a value is escaped.
        {R"(/CAPTION=a "b" c\ /INFO=%1%n)", R"( /C:"a "b" c\" /I:"%1%n" /T:"NTRU" /Y)"},
        {"/CAPTION=\u4E2D\u00E9", " /C:\"\u4E2D\u00E9\" /T:\"NTRU\" /Y"},
        {"what is this", R"( /T:"NTRU" /Y)"},
    };
    for (const DataCase& c : kCases)
        EXPECT_EQ(CommandLines(ChangeSrkAuth({.data = c.data, .verifyCode = -5})).back(), kTool + c.arguments)
            << c.data;
}

// The tool sees the password, though no record of the run does.
TEST(SrkAuthChange, HandsTheToolThePasswordBetweenTheInformationAndTheVendor)
{
    Json machine = DescriptionOf({.data = "/PASSWORD=own er\"s/secret /INFO=i /SILENT"});
    machine["programs"][kToolPath]["runs"] = {
        {{"arguments", "/V"}, {"exitCode", 0xFFFFFFFB}},
        {{"arguments", R"(/I:"i" /P:"own er"s/secret" /T:"NTRU" /Y)"}, {"exitCode", 0}},
        {{"exitCode", 0xFFFFFFF8}}};
    const SimulatedRun run = ChangeSrkAuthOn(machine);
    ExpectLog(run, "0", {kMustUpgrade, "log: SRK and TPM Owner Auth is now OK"});
    EXPECT_EQ(CommandLines(run).back(), kTool + R"( /I:"i" /P:"***" /T:"NTRU" /Y)");
}

TEST(SrkAuthChange, TheToolIsLookedForWhereWindowsKeepsPrograms)
{
    Json machine = DescriptionOf({.hasTool = false});
    machine["folders"]["programFiles"] = R"(D:\Programs)";
    machine["files"][R"(D:\Programs)"]["directory"] = true;
    machine["programs"][R"(D:\Programs\Kelo Systems Corp\Common\TpmKeyFixer.exe)"]["runs"] = {{{"exitCode", 0}}};
    ExpectLog(ChangeSrkAuthOn(machine), "0", {"log: SRK and TPM Owner Auth is OK"});
}

TEST(SrkAuthChange, WithoutAFolderForProgramsTheToolIsNotFound)
{
    const SimulatedRun run = ChangeSrkAuth({}, {.faults = {"SHGetFolderPathW=0x80004005"}});
    EXPECT_THAT(CommandLines(run), ElementsAre(R"(\Kelo Systems Corp\Common\TpmKeyFixer.exe /V)"));
    ExpectLog(run, "0", {"log: Unable to launch process!"});
}

// ---- What goes wrong around the tool ----

TEST(SrkAuthChange, AMissingToolEndsItWithoutALogonTask)
{
    const SimulatedRun run = ChangeSrkAuth({.hasTool = false});
    ExpectLog(run, "0", {"log: Unable to launch process!"});
    EXPECT_EQ(CommandLines(run).size(), 1u);
    EXPECT_EQ(RunAtLogon(run.After()), Json::object());
}

const auto kFailures =
    RunTests("SrkAuthChange", &ChangeSrkAuth)
        .Log("AToolThatIsGoneForTheChangeLeavesALogonTask", {.verifyCode = -5}, {.faults = {"CreateProcessW#2=5"}}, "0",
             {kMustUpgrade, "log: Unable to launch process!"},
             [](const SimulatedRun& run) { EXPECT_EQ(RunAtLogon(run.After()), TaskAtLogon()); })
        .Log("AnExitCodeThatCannotBeReadIsLoggedAndChangesTheAuthorization", {}, {.faults = {"GetExitCodeProcess#1=5"}},
             "0",
             {"log: Unable to get Process exit code! err: 5",
              "log: Unable to get Process Exit code assume must change SRK Auth.",
              "log: SRK and TPM Owner Auth is now OK"},
             [](const SimulatedRun& run) { EXPECT_EQ(RunAtLogon(run.After()), Json::object()); })
        .Log("AChangeWhoseExitCodeCannotBeReadLeavesALogonTask", {.verifyCode = -5},
             {.faults = {"GetExitCodeProcess#2=6"}}, "0",
             {kMustUpgrade, "log: Unable to get Process exit code! err: 6",
              "log: Unable to get Process Exit code assume must change SRK Auth."},
             [](const SimulatedRun& run) { EXPECT_EQ(RunAtLogon(run.After()), TaskAtLogon()); })
        .Log("AnExceptionEndsTheActionAndNotTheInstaller", {.verifyCode = -5, .changeCode = -8},
             {.faults = {"RegOpenKeyExA=fault"}}, "0", {kMustUpgrade, "log: User Cancelled"})
        .Log("AMissingRunKeyIsLoggedAndNotMade", {.verifyCode = -5, .changeCode = -8, .hasRunKey = false}, "0",
             {kMustUpgrade, "log: User Cancelled", "log: Couldn't create Machine Run Key for TpmKeyFixer"},
             [](const SimulatedRun& run) { EXPECT_EQ(RunAtLogon(run.After()), nullptr); })
        .Log("ARunKeyThatMayNotBeOpenedIsLogged", {.verifyCode = -5, .changeCode = -8}, {.faults = {"RegOpenKeyExA=5"}},
             "0", {kMustUpgrade, "log: User Cancelled", "log: Couldn't create Machine Run Key for TpmKeyFixer"})
        .Log("ARunValueThatCannotBeWrittenIsNotLookedAt", {.verifyCode = -5, .changeCode = -8},
             {.faults = {"RegSetValueExA=5"}}, "0", {kMustUpgrade, "log: User Cancelled"},
             [](const SimulatedRun& run) { EXPECT_EQ(RunAtLogon(run.After()), Json::object()); })
        .Log("WithoutALogItStillDoesItsWork", {.verifyCode = -5, .changeCode = -8},
             {.faults = {"SHCreateDirectoryExA=5"}}, "0", {},
             [](const SimulatedRun& run) { EXPECT_EQ(RunAtLogon(run.After()), TaskAtLogon()); });

TEST(SrkAuthChange, AWaitThatFailsIsNotLookedAt)
{
    const SimulatedRun run = ChangeSrkAuth({}, {.faults = {"WaitForSingleObject=6"}});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.outcome.callCounts.at("GetExitCodeProcess"), 1u);
}

TEST(SrkAuthChange, ClosingFailuresChangeNothing)
{
    const SimulatedRun run =
        ChangeSrkAuth({.verifyCode = -5, .changeCode = -8}, {.faults = {"CloseHandle=6", "RegCloseKey=6"}});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(RunAtLogon(run.After()), TaskAtLogon());
}

TEST(SrkAuthChange, AToolThatTakesItsTimeIsWaitedFor)
{
    Json machine = DescriptionOf({});
    machine["programs"][kToolPath]["runs"] = {{{"exitCode", 0}, {"runMs", 7200000}}};
    const SimulatedRun run = ChangeSrkAuthOn(machine);
    ExpectLog(run, "0", {"log: SRK and TPM Owner Auth is OK"});
    EXPECT_EQ(run.outcome.clockMs, 7200000u);
}

TEST(SrkAuthChange, AToolWhoseCommandLineMemoryDoesNotSufficeForIsNotStarted)
{
    Json machine = DescriptionOf({});
    const std::string programs = R"(C:\)" + std::string(250, 'p');
    machine["folders"]["programFiles"] = programs;
    machine["files"][programs]["directory"] = true;
    machine["process"]["largestBlock"] = 400;
    const SimulatedRun run = ChangeSrkAuthOn(machine);
    ExpectLog(run, "0", {"log: Unable to launch process!"});
    EXPECT_FALSE(run.outcome.callCounts.contains("CreateProcessW"));
}

TEST(SrkAuthChange, MemoryThatRunsOutIsNoOtherErrorOfTheTool)
{
    const unsigned pieces = ChangeSrkAuth({.verifyCode = -5}).outcome.callCounts.at("operator new");
    for (unsigned piece = 1; piece <= pieces; ++piece)
    {
        const SimulatedRun run =
            ChangeSrkAuth({.verifyCode = -5}, {.faults = {fmt::format("operator new#{}=8", piece)}});
        EXPECT_THAT(run.log, testing::Not(testing::Contains(LogOf(kOther)[0]))) << piece;
    }
}

TEST(SrkAuthChange, AChangeWhoseCommandLineMemoryDoesNotSufficeForIsPutOffToTheNextLogon)
{
    Json machine = DescriptionOf({.data = "/CAPTION=" + std::string(300, 'c'), .verifyCode = -5});
    machine["process"]["largestBlock"] = 700;
    const SimulatedRun run = ChangeSrkAuthOn(machine);
    ExpectLog(run, "0", {kMustUpgrade, "log: Unable to launch process!"});
    EXPECT_EQ(CommandLines(run).size(), 1u);
    EXPECT_EQ(RunAtLogon(run.After()), TaskAtLogon());
}

TEST(SrkAuthChange, OptionsThatMemoryDoesNotSufficeForAreNotThere)
{
    Json machine = DescriptionOf({});
    machine["installer"]["properties"]["CustomActionData"] = "/CAPTION=" + std::string(100, 'c');
    ExpectLog(ChangeSrkAuthOn(machine), "0", "log: SRK and TPM Owner Auth is OK");
    // The property and its copy get their memory; the caption does not.
    ExpectLog(ChangeSrkAuthOn(machine, {.faults = {"operator new#4=8"}}), "10001", {});
}

TEST(SrkAuthChange, AnEarlierRunValueIsReplaced)
{
    Json machine = DescriptionOf({.verifyCode = -5, .changeCode = -4});
    machine["registry"][kRunKey]["values"]["ChangeTPMAuth"] = 7;
    EXPECT_EQ(RunAtLogon(ChangeSrkAuthOn(machine).After()), TaskAtLogon());
}

TEST(SrkAuthChange, WithoutMemoryForALogItStillDoesItsWork)
{
    Json machine = DescriptionOf({.verifyCode = -5, .changeCode = -8});
    const SimulatedRun logged = ChangeSrkAuthOn(machine);
    const std::string appData = std::string(250, 'd');
    machine["folders"]["commonAppData"] = R"(C:\)" + appData;
    machine["files"][R"(C:\)" + appData]["directory"] = true;
    machine["process"]["largestBlock"] = 290;
    const SimulatedRun run = ChangeSrkAuthOn(machine);
    EXPECT_EQ(RunAtLogon(run.After()), TaskAtLogon());

    // The first line finds the folder; every line then has no path to try.
    Script script;
    for (const std::string& line : logged.script)
    {
        if (line.starts_with("SHGetFolderPathA("))
            script.push_back(FolderIsA(kProgramDataFolder, R"(C:\)" + appData));
        else if (line.starts_with("log: "))
            script.push_back(Call("_fsopen", {"", "a", 64}));
        else if (!line.starts_with("SHCreateDirectoryExA(") && !line.starts_with("_fsopen(") &&
                 !line.starts_with("log: "))
            script.push_back(line);
    }
    ExpectRun(run, "0", script);
    EXPECT_THAT(run.endScript, IsEmpty());
}

// ---- Running a program ----

TEST(RunAndWait, ReturnsTheExitCodeAsASignedNumber)
{
    for (const std::int32_t code : {0, 1, 2, 259, -1, -8, 2147483647, -2147483647 - 1})
        EXPECT_EQ(
            CallFunction(winsim::Machine::FromJson(DescriptionOf({.changeCode = code})), "RunAndWait", {kTool + " /Y"})
                .result,
            std::to_string(code));
}

TEST(RunAndWait, AProgramThatDoesNotStartIs2)
{
    ExpectLog(CallFunction("RunAndWait", {"nothing.exe"}), "2", {});
}

TEST(RunAndWait, ACommandLineThatIsTooLongForWindowsIs2)
{
    const winsim::Machine machine = winsim::Machine::FromJson(DescriptionOf({}));
    const std::string longest = kTool + " " + std::string(32766 - kTool.size() - 1, 'x');
    EXPECT_EQ(CallFunction(machine, "RunAndWait", {longest}).result, "0");
    EXPECT_EQ(CallFunction(machine, "RunAndWait", {longest + "x"}).result, "2");
}

} // namespace
