// Proves each action call by call on a machine where every step has work to do: the arguments of its steps, and how
// long the COM apartment lasts around them.
#include "tests/support/stack_machine.h"
#include "tests/support/step_sequence.h"
#include "tests/unit/entry/action_script.h"
#include "tests/unit/smartcard/card_script.h"
#include "winsim/toolkit/install_log.h"

#include <map>
#include <set>
#include <sstream>

namespace
{

// Windows 10 with the whole toolkit and old shims. `patch` changes the machine.
winsim::Machine ToolkitMachine(const char* patch = "{}")
{
    return Changed(Changed(StackMachine{.isKeloUsable = true, .hasKeloService = true, .hasShims = true}.Make(), R"({
        "registry": {
            "HKLM\\SOFTWARE\\Kelo Systems Corp\\Common": {"values": {
                "KlAutoEnrollInstalled": 1,
                "Installation Path": "C:\\Program Files\\Kelo Systems Corp\\Toolkit\\"}},
            "HKLM\\SOFTWARE\\Kelo Systems Corp.\\Common": {"values": {"Installation Path": "C:\\Elsewhere\\"}}
        },
        "files": {
            "C:\\Program Files\\Kelo Systems Corp\\Toolkit\\CertJobPlanner.dll": {},
            "C:\\Program Files\\Kelo Systems Corp\\Toolkit\\TPM_VSCard\\KeloVReaderBody.dll": {},
            "C:\\Program Files\\Kelo Systems Corp\\Toolkit\\TPM_VSCard\\KeloMiniDriverBody64.dll": {},
            "C:\\Program Files\\Kelo Systems Corp\\Toolkit\\TPM_VSCard\\KeloMiniDriverBody.dll": {}
        },
        "libraries": {"C:\\Program Files\\Kelo Systems Corp\\Toolkit\\CertJobPlanner.dll": {"exports": {
            "AreTasksInstalled": 0, "InstallAutoEnrollmentTasks": 0, "RemoveAutoEnrollmentTasks": 0}}},
        "programs": {"C:\\Program Files\\Kelo Systems Corp\\Toolkit\\TPM_VSCard\\DriverStager.exe": {"runs": []}}
    })"),
                   patch);
}

// The machine that a removal finds.
winsim::Machine InstalledMachine()
{
    return ToolkitMachine(R"({
        "files": {
            "C:\\Windows\\system32\\KeloVReaderBody.dll": {},
            "C:\\Windows\\system32\\KeloMiniDriverBody64.dll": {}
        },
        "services": {"KlPCR": {"binaryPath": "\"C:\\Program Files\\Kelo Systems Corp\\Toolkit\\KlPCR.exe\""}},
        "smartCards": {"readers": ["Kelo VIRTUAL_CARD_READER 0"]}
    })");
}

const std::string kEnterApartment = Call("CoInitializeEx", {nullptr, 0}, 0);
const std::string kLeaveApartment = Call("CoUninitialize");

// A step of automatic provisioning; it enters its own apartment when it runs alone.
void StepInApartment(StepSequence& expected, const std::string& function, const Words& arguments = {})
{
    EXPECT_EQ(expected.StepWithout({kEnterApartment, kLeaveApartment}, function, arguments), "0");
}

// Both steps of the virtual smart card. The presence test is made only once, before the first step.
void StepsOfCard(StepSequence& expected, const Script& presence, const char* minidriver, const char* reader)
{
    EXPECT_EQ(expected.Step(minidriver, {kToolkitFolder}), "0");
    EXPECT_EQ(expected.StepWithout(presence, reader, {kToolkitFolder}), "0");
}

struct SetupCase
{
    Words words;
    const char* vendor;
    const char* disablesProvisioning;
    bool installsCard;
};

void ExpectSetup(const winsim::Machine& machine, const SetupCase& setup)
{
    StepSequence expected{machine};
    expected.Add({StartOf(setup.words), HeadOf(setup.words)});
    Words arguments{kProgramPath};
    arguments.insert(arguments.end(), setup.words.begin(), setup.words.end());
    expected.Step("ReadSetupOptions", arguments);
    expected.Step("RegisterKsps");
    expected.Step("InstallAutoEnrollmentTasks");
    expected.Add(kEnterApartment);
    StepInApartment(expected, "Win8Install", {setup.disablesProvisioning});
    if (setup.installsCard)
    {
        expected.Add("log: Install TPM Virtual Smartcard.... ");
        StepsOfCard(expected, kNoReaders, "InstallMiniDrv", "Install");
    }
    const std::string shownVendor = setup.vendor == std::string("(null)") ? "" : setup.vendor;
    expected.Add(std::string("log: call SetupTCGDLL(") + kToolkitFolder + ", " + shownVendor + ")");
    const std::string result = expected.Step("SetupTCGDLL", {kToolkitFolder, setup.vendor});
    expected.Step("PublishResultMessage", {result});
    expected.Add(kLeaveApartment);
    expected.Add(kEnd);

    const SimulatedRun run = RunProgram(machine, setup.words);
    ExpectRun(run, result == "0" ? "0" : "-1", expected);
    EXPECT_EQ(run.After().wmi.autoProvisioning, setup.disablesProvisioning == std::string("false"));
}

TEST(ActionSteps, ASetUpHandsItsOptionsToItsSteps)
{
    const SetupCase cases[] = {
        {{"/Setup"}, "(null)", "false", false},
        {{"/Setup", "/TPM_WIN8=0"}, "(null)", "true", false},
        {{"/Setup", "/ProductType=Enterprise N"}, "(null)", "true", false},
        {{"/Setup", "/ProductType=Home"}, "(null)", "false", false},
        {{"/Setup", "/TPM_VSC=0"}, "(null)", "false", true},
        {{"/Setup", "/TSS_VENDOR=NTRU12"}, "NTRU12", "false", false},
        {{"/Setup", "/TSS_VENDOR=KELO", "/TPM_VSC=1", "/TPM_WIN8=1", "/ProductType=Enterprise"}, "KELO", "true", true},
    };
    for (const SetupCase& setup : cases)
    {
        SCOPED_TRACE(winsim::Json(setup.words).dump());
        ExpectSetup(ToolkitMachine(), setup);
    }
}

TEST(ActionSteps, ASetUpThatFailsLeavesItsResultAsTheMessage)
{
    // The result counts with all its 32 bits.
    ExpectSetup(ToolkitMachine(R"({
        "libraries": {
            "C:\\Program Files\\Kelo Systems Corp\\Toolkit\\KELO\\stkprobe.dll": {"exports": {"DetectTSS": 7}},
            "C:\\Program Files\\Kelo Systems Corp\\Toolkit\\NTRU12\\stkprobe.dll": {"exports": {"DetectTSS": -65536}}},
        "services": {"tcsd_x86": null}})"),
                {{"/Setup", "/TSS_VENDOR=OTHER", "/TPM_VSC=1"}, "OTHER", "false", true});
}

TEST(ActionSteps, ARemovalTakesItsStepsInOrderAndTheApartmentLastsToTheMessage)
{
    for (const char* action : {"/Rollback", "/Uninstall"})
    {
        SCOPED_TRACE(action);
        const winsim::Machine machine = InstalledMachine();
        StepSequence expected{machine};
        expected.Add({StartOf({action}), HeadOf({action})});
        EXPECT_EQ(expected.Step("UninstallTCGDLL"), "0");
        expected.Step("UnregisterKsps");
        EXPECT_EQ(expected.Step("UnInstallTkService"), "0");
        expected.Add(kEnterApartment);
        StepInApartment(expected, "Win8Uninstall");
        expected.Step("RemoveAutoEnrollmentTasks");
        StepsOfCard(expected, kReaderFound, "UninstallMiniDrv", "Uninstall");
        expected.Step("PublishResultMessage", {"0"});
        expected.Add(kLeaveApartment);
        expected.Add(kEnd);

        ExpectRun(RunProgram(machine, {action}), "0", expected);
    }
}

// ---- Whose log a line is written through ----

// A module and the beginnings of its lines in the runs below, each with a bar after it.
struct Module
{
    const char* name;
    const char* beginnings;
};

constexpr Module kModules[] = {
    {"entry", "============= |command line |TSS Vendor: |TPM VSC Flag|TPM_WIN8 flag|VSC was not previously|"
              "Install TPM Virtual Smartcard|call SetupTCGDLL(|"},
    {"platform", "Found service: | TBS |TBS | tcsd_|tcsd_|Service |Cannot open service: |Stopping service|"
                 "Starting service|service started|Try to kill process: |  found process: |Killed process: |"
                 "Cannot find this process: |"},
    {"tss", "==================================================|SetupTCGDLL() -->|<-- SetupTCGDLL()|Target: |"
            "TSS_VENDOR: |No TSS_VENDOR |Vista OS|Not Vista+ OS|Successfully changed DACL|Ownership taken|"
            "Unblocked Command |Commands blocked|------------|DetectTPMPlatform(|Remove old T|RemoveTSP1File - |"
            "Try to kill Kelo services|kill |Restart Kelo Service|NTRU service not running|Load |Library Loaded|"
            "Detected TSS|Failed to Detect TSS|TPM is |SRK is |Found Kelo TSS|Found NTRU TSS|"
            "Set to default TPM Platform|remove old TSP1.dll|if NTRU present|NTRU not present|CopyTSP1FileImp - |"
            "Path to NTRU TSS|Copying Kelo|Copied |Kelo TSS not present|CopyTCGDLL - |UninstallTCGDLL() -->|"
            "Remove TSP1_x64|<-- UninstallTCGDLL()|"},
    {"service", "InstallTkService - |InstallTkService failed|UnInstallTkService - |KlTKService - |"
                "This is Vista/Win7, |This is Win8, |Wait timed out|"},
    {"smartcard", "CTPMSmartCard::|Install SmartCard - |Install MiniDriver - |Remove SmartCard - |System32 Directory: |"
                  "\"C:|Kelo Toolkit Installation -> |  DriverStager process|This is a XP system!|"},
    {"providers", "Register the Kelo|Unregister the Kelo|Successfully registered|BCryptRemove|Kelo KSPs will not|"},
    {"tpm", "Target system is not Win8+|"},
    {"enroll", "*** |"},
};

// The module that a message comes from: empty for none, and the joined names for several.
std::string ModuleOf(const std::string& message)
{
    std::string found;
    for (const Module& module : kModules)
    {
        std::istringstream beginnings(module.beginnings);
        bool isFound = false;
        for (std::string beginning; std::getline(beginnings, beginning, '|');)
            isFound = isFound || message.starts_with(beginning);
        if (isFound)
            found += module.name;
    }
    return found;
}

TEST(ActionSteps, EachModuleWritesItsLinesThroughItsOwnLog)
{
    const winsim::Machine windows7 = ToolkitMachine(R"({"windows": {"version": "6.1"}})");
    const winsim::Machine windowsXp = ToolkitMachine(R"({"windows": {"version": "5.1"}, "services": {"TBS": null}})");
    const winsim::Machine withoutStack = ToolkitMachine(R"({
        "libraries": {"C:\\Program Files\\Kelo Systems Corp\\Toolkit\\KELO\\stkprobe.dll": {"exports": {"DetectTSS": 7}}},
        "services": {"tcsd_x86": null}, "processes": [{"id": 4, "name": "PatchAgent.exe"}]})");
    winsim::Machine installed = InstalledMachine();
    installed.windows.major = 6;
    installed.windows.minor = 1;
    const winsim::Machine stubborn = Changed(installed, R"({"services": {"KlPCR": {
        "state": "running", "controlsAccepted": 0, "waitHint": 20000}}})");

    std::map<std::string, std::set<std::string>> logsOf;    // by module
    std::map<std::string, std::set<std::string>> modulesOf; // by log
    const auto note = [&](const winsim::Machine& machine, const Words& words) {
        for (const winsim::CallRecord& record : RunProgram(machine, words).outcome.calls)
        {
            if (record.name != "fputs")
                continue;
            const std::string message = winsim::MessageOf(record.in["str"].get<std::string>());
            const std::string module = ModuleOf(message);
            EXPECT_NE(module, "") << message;
            logsOf[module].insert(record.in["stream"].get<std::string>());
            modulesOf[record.in["stream"].get<std::string>()].insert(module);
        }
    };
    for (const winsim::Machine& machine : {windows7, windowsXp, withoutStack})
    {
        for (const char* vendor : {"/TSS_VENDOR=KELO", "/TSS_VENDOR=NTRU12"})
            note(machine, {"/Setup", vendor, "/TPM_VSC=1", "/TPM_WIN8=1"});
    }
    note(installed, {"/Uninstall"});
    note(stubborn, {"/Rollback"});

    EXPECT_EQ(logsOf.size(), std::size(kModules));
    EXPECT_EQ(modulesOf.size(), std::size(kModules));
    for (const auto& [module, logs] : logsOf)
        EXPECT_EQ(logs.size(), 1u) << module << " writes through " << winsim::Json(logs).dump();
    for (const auto& [log, modules] : modulesOf)
        EXPECT_EQ(modules.size(), 1u) << log << " is written through by " << winsim::Json(modules).dump();
}

} // namespace
