// Proves what the export does with each answer of the SRK tool, and what it hands to the tool.
#include "tests/unit/tpm/install_session.h"

#include "tests/support/expected_script.h"
#include "tests/support/process_script.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

using winsim::Json;

constexpr char kMustUpgrade[] = "SRK Auth and TPM Owner Auth must be upgraded";
constexpr char kOther[] = "Something other error";

const std::string kTool = kToolPath;
const std::string kDefaultChange = kTool + " /T:\"NTRU\" /Y";

// ---- The check ----

struct VerifyCase
{
    std::int32_t code;
    const char* log;
    bool isChangeRun;
};

constexpr VerifyCase kVerifyCases[] = {
    {-2147483647 - 1, kOther, false},
    {-128, kOther, false},
    {-9, kOther, false},
    {-8, kOther, false},
    {-7, "TPM Not Enabled", false},
    {-6, "TPM Not Activated", false},
    {-5, kMustUpgrade, true},
    {-4, "Unable to load Resource file", false},
    {-3, kOther, false},
    {-2, kOther, false},
    {-1, kOther, false},
    {0, "SRK and TPM Owner Auth is OK", false},
    {1, "Unable to get Process Exit code assume must change SRK Auth.", true},
    {2, "Unable to launch process!", false},
    {3, kOther, false},
    {4, kOther, false},
    {5, kOther, false},
    {251, kOther, false},
    {259, kOther, false},
    {2147483647, kOther, false},
};

TEST(SrkAuthChange, EachAnswerToTheCheckHasItsLineAndItsNextStep)
{
    for (const VerifyCase& c : kVerifyCases)
    {
        SCOPED_TRACE(c.code);
        const SimulatedRun run = ChangeSrkAuth({.verifyCode = c.code, .changeCode = 0});
        EXPECT_EQ(run.exitCode, 0);
        if (c.isChangeRun)
        {
            EXPECT_THAT(run.log, ElementsAre(c.log, "SRK and TPM Owner Auth is now OK"));
            EXPECT_THAT(CommandLines(run), ElementsAre(kTool + " /V", kDefaultChange));
        }
        else
        {
            EXPECT_THAT(run.log, ElementsAre(c.log));
            EXPECT_THAT(CommandLines(run), ElementsAre(kTool + " /V"));
        }
        EXPECT_EQ(RunAtLogon(run.After()), Json::object());
    }
}

// ---- The change ----

struct ChangeCase
{
    std::int32_t code;
    const char* log;
    bool isDone;
};

constexpr ChangeCase kChangeCases[] = {
    {-2147483647 - 1, kOther, false},
    {-9, kOther, false},
    {-8, "User Cancelled", false},
    {-7, "TPM Not Enabled", false},
    {-6, "TPM Not Activated", false},
    {-5, kOther, false},
    {-4, "Unable to load Resource file", false},
    {-3, kOther, false},
    {-2, kOther, false},
    {-1, kOther, false},
    {0, "SRK and TPM Owner Auth is now OK", true},
    {1, "Unable to get Process Exit code assume must change SRK Auth.", false},
    {2, "Unable to launch process!", false},
    {3, kOther, false},
    {248, kOther, false},
    {259, kOther, false},
    {2147483647, kOther, false},
};

TEST(SrkAuthChange, EachAnswerToTheChangeHasItsLineAndALogonTaskUnlessItIsDone)
{
    for (const ChangeCase& c : kChangeCases)
    {
        SCOPED_TRACE(c.code);
        const SimulatedRun run = ChangeSrkAuth({.verifyCode = -5, .changeCode = c.code});
        EXPECT_EQ(run.exitCode, 0);
        EXPECT_THAT(run.log, ElementsAre(kMustUpgrade, c.log));
        EXPECT_THAT(CommandLines(run), ElementsAre(kTool + " /V", kDefaultChange));
        EXPECT_EQ(RunAtLogon(run.After()), c.isDone ? Json::object() : TaskAtLogon());
    }
}

// ---- The whole ----

Script AskForData(const std::string& data)
{
    const std::string length = std::to_string(data.size());
    return {R"(MsiGetPropertyW("install#1", "CustomActionData", 0) = 234 pcchValueBuf:)" + length,
            R"(MsiGetPropertyW("install#1", "CustomActionData", )" + std::to_string(data.size() + 1) +
                ") = 0 pcchValueBuf:" + length + " szValueBuf:" + Json(data).dump(),
            R"(SHGetFolderPathW(null, 38, null, 0) = 0 pszPath:"C:\\Program Files")"};
}

// What Windows would take for the program's name before it comes to the tool's is looked for first.
Script OthersLookedFor()
{
    Script lines;
    for (const char* program : {R"(C:\Program)", R"(C:\Program Files\Kelo)", R"(C:\Program Files\Kelo Systems)"})
    {
        for (const char* extension : {"", ".exe"})
            lines.push_back("GetFileAttributesW(" + Json(std::string(program) + extension).dump() + ") = 4294967295");
    }
    return lines;
}

Script RunTool(const std::string& arguments, std::uint32_t exitCode)
{
    // The first run has ended when the second begins, so both get the same free identifier.
    Script lines = OthersLookedFor();
    const Script run{
        R"(CreateProcessW(null, )" + Json(kTool + arguments).dump() + ", null, null, 0, 0, null, null, " + kStartup +
            R"() = 1 lpProcessInformation:{"hProcess":"process#1","hThread":"thread#1","dwProcessId":4312,"dwThreadId":4313})",
        R"(WaitForSingleObject("process#1", 4294967295) = 0)",
        R"(GetExitCodeProcess("process#1") = 1 lpExitCode:)" + std::to_string(exitCode),
        R"(CloseHandle("process#1") = 1)", R"(CloseHandle("thread#1") = 1)"};
    lines.insert(lines.end(), run.begin(), run.end());
    return lines;
}

// The first line opens the log: a library must not do that while it is loaded.
const Script kOpenLog{
    R"(SHGetFolderPathA(null, 35, null, 0) = 0 pszPath:"C:\\ProgramData")",
    R"(SHCreateDirectoryExA(null, "C:\\ProgramData\\Kelo Systems Corp\\InstallLogs\\Toolkit\\", null) = 183)",
    R"(_fsopen("C:\\ProgramData\\Kelo Systems Corp\\InstallLogs\\Toolkit\\kelo_install_log.txt", "a", 64) = "stream#1")"};

TEST(SrkAuthChange, ChecksChangesAndPutsTheTaskOffToTheNextLogon)
{
    const std::string data = "/CAPTION=c";
    const SimulatedRun run = ChangeSrkAuth({.data = data, .verifyCode = -5, .changeCode = -8});
    EXPECT_THAT(run.startScript, IsEmpty());
    EXPECT_THAT(
        run.script,
        ElementsAreArray(Joined(
            {AskForData(data),
             RunTool(" /V", 0xFFFFFFFB),
             kOpenLog,
             {std::string("log: ") + kMustUpgrade},
             RunTool(" /C:\"c\" /T:\"NTRU\" /Y", 0xFFFFFFF8),
             {"log: User Cancelled"},
             {R"(RegOpenKeyExA("HKEY_LOCAL_MACHINE", "Software\\Microsoft\\Windows\\CurrentVersion\\Run", 0, 131103) = 0 )"
              R"(phkResult:"key#1")",
              R"(RegSetValueExA("key#1", "ChangeTPMAuth", 0, 1, "ChangeTPMAuth", 14) = 0)",
              R"(RegCloseKey("key#1") = 0)"}})));
    EXPECT_THAT(run.endScript, ElementsAre(R"(fclose("stream#1") = 0)"));
    EXPECT_EQ(RunAtLogon(run.After()), TaskAtLogon());
}

TEST(SrkAuthChange, ACheckThatFindsAllInOrderRunsTheToolOnce)
{
    const SimulatedRun run = ChangeSrkAuth({.data = "/SILENT /CAPTION=c /PASSWORD="});
    EXPECT_THAT(run.script, ElementsAreArray(Joined({AskForData("/SILENT /CAPTION=c /PASSWORD="),
                                                     RunTool(" /V", 0),
                                                     kOpenLog,
                                                     {"log: SRK and TPM Owner Auth is OK"}})));
}

// ---- A program in the tool's stead ----

TEST(SrkAuthChange, AProgramThatWindowsWouldStartInsteadKeepsTheToolFromBeingRun)
{
    for (const char* planted :
         {R"(C:\Program)", R"(C:\Program.exe)", R"(C:\Program Files\Kelo.exe)", R"(C:\Program Files\Kelo Systems)"})
    {
        winsim::Json machine = DescriptionOf({.verifyCode = -5, .changeCode = 0});
        machine["files"][planted] = {{"text", "planted"}};
        const SimulatedRun run = RunExport(winsim::Machine::FromJson(machine), "SRK_Auth_Change");
        EXPECT_EQ(run.exitCode, 0);
        EXPECT_THAT(run.log, ElementsAre("Unable to launch process!")) << planted;
        EXPECT_EQ(CountOf("CreateProcessW", run.script), 0u);
    }
}

TEST(SrkAuthChange, AFolderOfThatNameIsNoProgram)
{
    winsim::Json machine = DescriptionOf({.verifyCode = 0, .changeCode = 0});
    machine["files"][R"(C:\Program.exe)"] = {{"directory", true}};
    const SimulatedRun run = RunExport(winsim::Machine::FromJson(machine), "SRK_Auth_Change");
    EXPECT_THAT(run.log, ElementsAre("SRK and TPM Owner Auth is OK"));
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
        // Nothing within a value is escaped.
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
    const SimulatedRun run = RunExport(winsim::Machine::FromJson(machine), "SRK_Auth_Change");
    EXPECT_THAT(run.log, ElementsAre(kMustUpgrade, "SRK and TPM Owner Auth is now OK"));
    EXPECT_EQ(CommandLines(run).back(), kTool + R"( /I:"i" /P:"***" /T:"NTRU" /Y)");
}

TEST(SrkAuthChange, TheToolIsLookedForWhereWindowsKeepsPrograms)
{
    Json machine = DescriptionOf({.hasTool = false});
    machine["folders"]["programFiles"] = R"(D:\Programs)";
    machine["files"][R"(D:\Programs)"]["directory"] = true;
    machine["programs"][R"(D:\Programs\Kelo Systems Corp\Common\TpmKeyFixer.exe)"]["runs"] = {{{"exitCode", 0}}};
    const SimulatedRun run = RunExport(winsim::Machine::FromJson(machine), "SRK_Auth_Change");
    EXPECT_THAT(run.log, ElementsAre("SRK and TPM Owner Auth is OK"));
}

TEST(SrkAuthChange, WithoutAFolderForProgramsTheToolIsNotFound)
{
    const SimulatedRun run = ChangeSrkAuth({}, {.faults = {"SHGetFolderPathW=0x80004005"}});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(CommandLines(run), ElementsAre(R"(\Kelo Systems Corp\Common\TpmKeyFixer.exe /V)"));
    EXPECT_THAT(run.log, ElementsAre("Unable to launch process!"));
}

// The path is not quoted: Windows tries each blank as its end.
TEST(SrkAuthChange, AProgramAtABlankOfThePathIsRunInsteadOfTheTool)
{
    Json machine = DescriptionOf({.verifyCode = 0});
    machine["programs"][R"(C:\Program.exe)"]["runs"] = {{{"exitCode", 3}}};
    const SimulatedRun run = RunExport(winsim::Machine::FromJson(machine), "SRK_Auth_Change");
    EXPECT_THAT(run.log, ElementsAre(kOther));
}

// ---- What goes wrong around the tool ----

TEST(SrkAuthChange, AMissingToolEndsItWithoutALogonTask)
{
    const SimulatedRun run = ChangeSrkAuth({.hasTool = false});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.log, ElementsAre("Unable to launch process!"));
    EXPECT_EQ(CommandLines(run).size(), 1u);
    EXPECT_EQ(RunAtLogon(run.After()), Json::object());
}

TEST(SrkAuthChange, AToolThatIsGoneForTheChangeLeavesALogonTask)
{
    const SimulatedRun run = ChangeSrkAuth({.verifyCode = -5}, {.faults = {"CreateProcessW#2=5"}});
    EXPECT_THAT(run.log, ElementsAre(kMustUpgrade, "Unable to launch process!"));
    EXPECT_EQ(RunAtLogon(run.After()), TaskAtLogon());
}

TEST(SrkAuthChange, AnExitCodeThatCannotBeReadIsLoggedAndChangesTheAuthorization)
{
    const SimulatedRun run = ChangeSrkAuth({}, {.faults = {"GetExitCodeProcess#1=5"}});
    EXPECT_THAT(run.log, ElementsAre("Unable to get Process exit code! err: 5",
                                     "Unable to get Process Exit code assume must change SRK Auth.",
                                     "SRK and TPM Owner Auth is now OK"));
    EXPECT_EQ(RunAtLogon(run.After()), Json::object());
}

TEST(SrkAuthChange, AChangeWhoseExitCodeCannotBeReadLeavesALogonTask)
{
    const SimulatedRun run = ChangeSrkAuth({.verifyCode = -5}, {.faults = {"GetExitCodeProcess#2=6"}});
    EXPECT_THAT(run.log, ElementsAre(kMustUpgrade, "Unable to get Process exit code! err: 6",
                                     "Unable to get Process Exit code assume must change SRK Auth."));
    EXPECT_EQ(RunAtLogon(run.After()), TaskAtLogon());
}

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
    const SimulatedRun run = RunExport(winsim::Machine::FromJson(machine), "SRK_Auth_Change");
    EXPECT_THAT(run.log, ElementsAre("SRK and TPM Owner Auth is OK"));
    EXPECT_EQ(run.outcome.clockMs, 7200000u);
}

TEST(SrkAuthChange, AToolWhoseCommandLineMemoryDoesNotSufficeForIsNotStarted)
{
    Json machine = DescriptionOf({});
    const std::string programs = R"(C:\)" + std::string(250, 'p');
    machine["folders"]["programFiles"] = programs;
    machine["files"][programs]["directory"] = true;
    machine["process"]["largestBlock"] = 400;
    const SimulatedRun run = RunExport(winsim::Machine::FromJson(machine), "SRK_Auth_Change");
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.log, ElementsAre("Unable to launch process!"));
    EXPECT_FALSE(run.outcome.callCounts.contains("CreateProcessW"));
}

TEST(SrkAuthChange, OptionsThatMemoryDoesNotSufficeForAreNotThere)
{
    Json machine = DescriptionOf({});
    machine["installer"]["properties"]["CustomActionData"] = "/CAPTION=" + std::string(100, 'c');
    const SimulatedRun whole = RunExport(winsim::Machine::FromJson(machine), "SRK_Auth_Change");
    EXPECT_THAT(whole.log, ElementsAre("SRK and TPM Owner Auth is OK"));
    // The property, its copy, and the caption that fails.
    const SimulatedRun run =
        RunExport(winsim::Machine::FromJson(machine), "SRK_Auth_Change", {.faults = {"operator new#4=8"}});
    EXPECT_EQ(run.exitCode, 10001);
    EXPECT_THAT(run.log, IsEmpty());
}

TEST(SrkAuthChange, AnExceptionEndsTheActionAndNotTheInstaller)
{
    const SimulatedRun run = ChangeSrkAuth({.verifyCode = -5, .changeCode = -8}, {.faults = {"RegOpenKeyExA=fault"}});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.log, ElementsAre(kMustUpgrade, "User Cancelled"));
}

TEST(SrkAuthChange, AMissingRunKeyIsLoggedAndNotMade)
{
    const SimulatedRun run = ChangeSrkAuth({.verifyCode = -5, .changeCode = -8, .hasRunKey = false});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.log,
                ElementsAre(kMustUpgrade, "User Cancelled", "Couldn't create Machine Run Key for TpmKeyFixer"));
    EXPECT_EQ(RunAtLogon(run.After()), nullptr);
}

TEST(SrkAuthChange, ARunKeyThatMayNotBeOpenedIsLogged)
{
    const SimulatedRun run = ChangeSrkAuth({.verifyCode = -5, .changeCode = -8}, {.faults = {"RegOpenKeyExA=5"}});
    EXPECT_THAT(run.log,
                ElementsAre(kMustUpgrade, "User Cancelled", "Couldn't create Machine Run Key for TpmKeyFixer"));
}

TEST(SrkAuthChange, ARunValueThatCannotBeWrittenIsNotLookedAt)
{
    const SimulatedRun run = ChangeSrkAuth({.verifyCode = -5, .changeCode = -8}, {.faults = {"RegSetValueExA=5"}});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.log, ElementsAre(kMustUpgrade, "User Cancelled"));
    EXPECT_EQ(RunAtLogon(run.After()), Json::object());
}

TEST(SrkAuthChange, AnEarlierRunValueIsReplaced)
{
    Json machine = DescriptionOf({.verifyCode = -5, .changeCode = -4});
    machine["registry"][kRunKey]["values"]["ChangeTPMAuth"] = 7;
    const SimulatedRun run = RunExport(winsim::Machine::FromJson(machine), "SRK_Auth_Change");
    EXPECT_EQ(RunAtLogon(run.After()), TaskAtLogon());
}

TEST(SrkAuthChange, WithoutALogItStillDoesItsWork)
{
    const SimulatedRun run =
        ChangeSrkAuth({.verifyCode = -5, .changeCode = -8}, {.faults = {"SHCreateDirectoryExA=5"}});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.log, IsEmpty());
    EXPECT_EQ(RunAtLogon(run.After()), TaskAtLogon());
}

TEST(SrkAuthChange, WithoutMemoryForALogItStillDoesItsWork)
{
    Json machine = DescriptionOf({.verifyCode = -5, .changeCode = -8});
    const SimulatedRun logged = RunExport(winsim::Machine::FromJson(machine), "SRK_Auth_Change");
    const std::string appData = std::string(250, 'd');
    machine["folders"]["commonAppData"] = R"(C:\)" + appData;
    machine["files"][R"(C:\)" + appData]["directory"] = true;
    machine["process"]["largestBlock"] = 290;
    const SimulatedRun run = RunExport(winsim::Machine::FromJson(machine), "SRK_Auth_Change");
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(RunAtLogon(run.After()), TaskAtLogon());

    // The first line finds the folder; each has no path to try.
    Script script;
    for (const std::string& line : logged.script)
    {
        if (line.starts_with("SHGetFolderPathA("))
            script.push_back(R"(SHGetFolderPathA(null, 35, null, 0) = 0 pszPath:"C:\\)" + appData + "\"");
        else if (line.starts_with("log: "))
            script.push_back(R"(_fsopen("", "a", 64))");
        else if (!line.starts_with("SHCreateDirectoryExA(") && !line.starts_with("_fsopen(") &&
                 !line.starts_with("log: "))
            script.push_back(line);
    }
    EXPECT_THAT(run.script, ElementsAreArray(script));
    EXPECT_THAT(run.endScript, IsEmpty());
}

// ---- Running a program ----

TEST(RunAndWait, ReturnsTheExitCodeAsASignedNumber)
{
    for (const std::int32_t code : {0, 1, 2, 259, -1, -8, 2147483647, -2147483647 - 1})
    {
        const winsim::Machine machine = winsim::Machine::FromJson(DescriptionOf({.changeCode = code}));
        EXPECT_EQ(CallFunction(machine, "RunAndWait", {kTool + " /Y"}).result, std::to_string(code));
    }
}

TEST(RunAndWait, AProgramThatDoesNotStartIs2)
{
    const SimulatedRun run = CallFunction(MachineOf("{}"), "RunAndWait", {"nothing.exe"});
    EXPECT_EQ(run.result, "2");
    EXPECT_THAT(run.log, IsEmpty());
}

TEST(RunAndWait, ACommandLineThatIsTooLongForWindowsIs2)
{
    const winsim::Machine machine = winsim::Machine::FromJson(DescriptionOf({}));
    const std::string longest = kTool + " " + std::string(32766 - kTool.size() - 1, 'x');
    EXPECT_EQ(CallFunction(machine, "RunAndWait", {longest}).result, "0");
    EXPECT_EQ(CallFunction(machine, "RunAndWait", {longest + "x"}).result, "2");
}

} // namespace
