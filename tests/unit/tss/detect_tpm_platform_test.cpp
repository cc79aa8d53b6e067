// Proves how a stack and the TPM are found usable or not: the clean-up before detection, the questions to the detection
// library, the effect of its answers, and that nothing the library does ends the program.
#include "tests/support/step_sequence.h"
#include "tests/unit/tss/tss_script.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using testing::ElementsAre;
using winsim::Json;

constexpr char kRule[] = "log: --------------------------------------------";
constexpr char kLeftBehind[] = "log: Try to kill Kelo services left behind in previous installation";
constexpr char kNotEnabled[] = "log: TPM is not enabled rc: 10015";
constexpr char kNotActivated[] = "log: TPM is not activated rc: 10015";
constexpr char kCaught[] = "log: DetectTPMPlatform Exception Caught - Unable to Detect TSS Properly";
constexpr char kSrkEvent[] = "The TPM is in an incorrect state. The TPM must be reset to support use by Kelo Software";

// The exports of a library that reports no problem.
Json UsableExports()
{
    return {{"DetectTSS", 0}, {"isEnabled", 1}, {"isActivated", 1}, {"isOwned", 1}, {"ValidSRKAuth", 0}};
}

std::string LibraryPath(const std::string& vendor)
{
    return kTarget + (vendor.empty() ? "" : vendor + "\\") + "stkprobe.dll";
}

// A machine with the library of one vendor ("" for the library without a vendor) and with further changes.
winsim::Machine MachineWith(const Json& exports, const std::string& vendor = "", const char* changes = "{}")
{
    Json description = Json::parse(changes);
    description["libraries"][LibraryPath(vendor)] = {{"exports", exports}};
    return winsim::Machine::FromJson(description);
}

// The usable library with some exports changed or, with null, removed.
winsim::Machine MachineWithChanged(const char* exports)
{
    Json changed = UsableExports();
    changed.merge_patch(Json::parse(exports));
    return MachineWith(changed);
}

SimulatedRun Detect(const winsim::Machine& machine, const std::vector<std::string>& vendors = {"(null)"},
                    const SimulatedRunOptions& options = {})
{
    std::vector<std::string> arguments{kTarget};
    arguments.insert(arguments.end(), vendors.begin(), vendors.end());
    return CallFunction(machine, "DetectTPMPlatform", arguments, options);
}

// ---- Expected scripts ----

Script Begin(const std::string& vendor = "(null)")
{
    return {kRule, fmt::format("log: DetectTPMPlatform({},{})", kTarget, vendor)};
}

Script Loading(const std::string& path)
{
    return {Call("SetErrorMode", {0x8001}, 0), "log: Load " + path};
}

Script Loaded(const std::string& path)
{
    return {Loading(path), Call("LoadLibraryA", {path}, "library#1"), "log: Library Loaded, now checking for TSS..."};
}

Script NotLoaded(const std::string& path, unsigned error)
{
    return {Loading(path), Call("LoadLibraryA", {path}),
            fmt::format("log: Failed to Load Library: {} Err: {}", path, error)};
}

// One export is found and called.
Script Asked(const char* name, int answer)
{
    const std::string function = std::string("stkprobe.dll!") + name;
    return {Call("GetProcAddress", {"library#1", name}, function), Call(function, {}, answer)};
}

Script Missing(const char* name)
{
    return {Call("GetProcAddress", {"library#1", name})};
}

const Script kFreed = {Call("FreeLibrary", {"library#1"}, 1), Call("SetErrorMode", {0}, 0x8001)};
const Script kRestored = {Call("SetErrorMode", {0}, 0x8001)};

const Script kDetected = {Asked("DetectTSS", 0), "log: Detected TSS"};
const Script kEnabled = {Asked("isEnabled", 1), "log: TPM is enabled"};
const Script kActivated = {Asked("isActivated", 1), "log: TPM is activated"};
const Script kOwned = Asked("isOwned", 1);
const Script kSrkCorrect = {Asked("ValidSRKAuth", 0), "log: SRK is in correct auth format"};
const Script kUsable = {kDetected, kEnabled, kActivated, kOwned, kSrkCorrect};

const Script kReported = {Call("RegisterEventSourceW", {nullptr, "Kelo Platform Security"}, "eventSource#1"),
                          Call("ReportEventW", {"eventSource#1", 1, 2, 1018, nullptr, {kSrkEvent}, 0, nullptr}, 1),
                          Call("DeregisterEventSource", {"eventSource#1"}, 1)};

// The library at the target itself, asked with these lines.
Script Whole(const Script& asked)
{
    return {Begin(), Loaded(LibraryPath("")), asked, kFreed};
}

// ---- What the library answers ----

TEST(DetectTPMPlatform, WithoutAVendorTheLibraryAtTheTargetIsAskedAndNothingIsClearedAway)
{
    const SimulatedRun run = Detect(MachineWith(UsableExports(), "", R"({"files": {
        "C:\\Windows\\system32\\TSP1_x64.dll": {}, "C:\\Windows\\system32\\TSPI_x64.dll": {}}})"));
    ExpectRun(run, "true 0", Whole(kUsable));
    EXPECT_TRUE(run.After().files.Find(kTsp1) != nullptr && run.After().files.Find(kTspi) != nullptr);
    EXPECT_EQ(run.After().process.errorMode, 0u);
}

TEST(DetectTPMPlatform, WhatDetectTssAnswersIsTheResult)
{
    for (const auto& [exports, answer, result] :
         std::vector<std::tuple<const char*, int, const char*>>{{R"({"DetectTSS": 5})", 5, "false 5"},
                                                                {R"({"DetectTSS": 1})", 1, "false 1"},
                                                                {R"({"DetectTSS": -1})", -1, "false 4294967295"},
                                                                {R"({"DetectTSS": 10016})", 10016, "false 10016"}})
        ExpectRun(Detect(MachineWithChanged(exports)), result,
                  Whole({Asked("DetectTSS", answer), fmt::format("log: Failed to Detect TSS rc='{}'", answer)}));
}

TEST(DetectTPMPlatform, OnlyOneMeansEnabled)
{
    for (const int answer : {0, 2, -1, 10015})
        ExpectRun(Detect(MachineWithChanged(fmt::format(R"({{"isEnabled": {}}})", answer).c_str())), "false 10015",
                  Whole({kDetected, Asked("isEnabled", answer), kNotEnabled}));
}

TEST(DetectTPMPlatform, ATpmThatIsNotActivatedIsAskedFurtherAndNotUsable)
{
    for (const int answer : {0, 2, -1})
        ExpectRun(Detect(MachineWithChanged(fmt::format(R"({{"isActivated": {}}})", answer).c_str())), "false 10015",
                  Whole({kDetected, kEnabled, Asked("isActivated", answer), kNotActivated, kOwned, kSrkCorrect}));
}

TEST(DetectTPMPlatform, ATpmThatIsNotActivatedStaysNotUsableWhateverIsAnsweredThen)
{
    struct Case
    {
        const char* exports;
        Script asked;
    };
    const Script owned = kOwned;
    const Case cases[] = {
        {R"({"isOwned": 0})", Asked("isOwned", 0)},
        {R"({"isOwned": 2})", Asked("isOwned", 2)},
        {R"({"isOwned": -1})", Asked("isOwned", -1)},
        {R"({"isOwned": null})", Script{Missing("isOwned"), "log: Function isOwned() Not found"}},
        {R"({"ValidSRKAuth": null})", Script{owned, Missing("ValidSRKAuth"), "log: Function ValidSRKAuth() Not found"}},
        {R"({"ValidSRKAuth": 0})", Script{owned, kSrkCorrect}},
        {R"({"ValidSRKAuth": 1})",
         Script{owned, Asked("ValidSRKAuth", 1), "log: SRK is in incorrect auth format!", kReported}},
        {R"({"ValidSRKAuth": 2})", Script{owned, Asked("ValidSRKAuth", 2), "log: Cannot determine SRK auth format"}},
        {R"({"ValidSRKAuth": -1})", Script{owned, Asked("ValidSRKAuth", -1), "log: Cannot determine SRK auth format"}},
    };
    for (const Case& one : cases)
    {
        SCOPED_TRACE(one.exports);
        Json exports = Json::parse(one.exports);
        exports["isActivated"] = 0;
        ExpectRun(Detect(MachineWithChanged(exports.dump().c_str())), "false 10015",
                  Whole({kDetected, kEnabled, Asked("isActivated", 0), kNotActivated, one.asked}));
    }
}

TEST(DetectTPMPlatform, ATpmWithoutOwnerIsUsableAndItsSrkIsNotLookedAt)
{
    for (const int answer : {0, 2, -1})
        ExpectRun(Detect(MachineWithChanged(fmt::format(R"({{"isOwned": {}}})", answer).c_str())), "true 0",
                  Whole({kDetected, kEnabled, kActivated, Asked("isOwned", answer)}));
}

TEST(DetectTPMPlatform, AnIncorrectSrkIsReportedAndChangesNothing)
{
    const SimulatedRun run = Detect(MachineWithChanged(R"({"ValidSRKAuth": 1})"));
    ExpectRun(run, "true 0",
              Whole({kDetected, kEnabled, kActivated, kOwned, Asked("ValidSRKAuth", 1),
                     "log: SRK is in incorrect auth format!", kReported}));
    const winsim::Event event{"Kelo Platform Security", 1, 2, 1018, {kSrkEvent}};
    EXPECT_THAT(run.After().events.entries, ElementsAre(event));
}

TEST(DetectTPMPlatform, AnIncorrectSrkOfATpmThatIsNotActivatedIsReportedToo)
{
    ExpectRun(Detect(MachineWithChanged(R"({"isActivated": 0, "ValidSRKAuth": 1})")), "false 10015",
              Whole({kDetected, kEnabled, Asked("isActivated", 0), kNotActivated, kOwned, Asked("ValidSRKAuth", 1),
                     "log: SRK is in incorrect auth format!", kReported}));
}

TEST(DetectTPMPlatform, AReportThatCannotBeMadeChangesNothing)
{
    ExpectRun(
        Detect(MachineWithChanged(R"({"ValidSRKAuth": 1})"), {"(null)"}, {.faults = {"RegisterEventSourceW=1722"}}),
        "true 0",
        Whole({kDetected, kEnabled, kActivated, kOwned, Asked("ValidSRKAuth", 1),
               "log: SRK is in incorrect auth format!",
               Call("RegisterEventSourceW", {nullptr, "Kelo Platform Security"})}));
}

TEST(DetectTPMPlatform, AnyOtherSrkAnswerDeterminesNothing)
{
    for (const int answer : {2, -1, 10015})
        ExpectRun(Detect(MachineWithChanged(fmt::format(R"({{"ValidSRKAuth": {}}})", answer).c_str())), "true 0",
                  Whole({kDetected, kEnabled, kActivated, kOwned, Asked("ValidSRKAuth", answer),
                         "log: Cannot determine SRK auth format"}));
}

TEST(DetectTPMPlatform, EachMissingExportHasItsLine)
{
    const std::tuple<const char*, const char*, Script, const char*> cases[] = {
        {"DetectTSS", "false 10016", {}, "Failed to get Function Pointer to DetectTSS()"},
        {"isEnabled", "false 10016", kDetected, "Function isEnabled() not found"},
        {"isActivated", "false 10016", Script{kDetected, kEnabled}, "Function isActivated() Not found"},
        {"isOwned", "true 0", Script{kDetected, kEnabled, kActivated}, "Function isOwned() Not found"},
        {"ValidSRKAuth", "true 0", Script{kDetected, kEnabled, kActivated, kOwned},
         "Function ValidSRKAuth() Not found"},
    };
    for (const auto& [name, result, before, line] : cases)
        ExpectRun(Detect(MachineWithChanged(fmt::format(R"({{"{}": null}})", name).c_str())), result,
                  Whole({before, Missing(name), std::string("log: ") + line}));
}

TEST(DetectTPMPlatform, NamesOfExportsAreComparedWithTheirCase)
{
    const SimulatedRun run = Detect(MachineWith({{"detectTSS", 0}, {"DETECTTSS", 0}}));
    EXPECT_EQ(run.result, "false 10016");
}

// ---- Libraries that do not load, throw or fault ----

TEST(DetectTPMPlatform, ALibraryThatDoesNotLoadIsLoggedWithItsError)
{
    const std::string path = LibraryPath("");
    const auto expect = [&](const char* machine, unsigned error) {
        ExpectRun(Detect(MachineOf(machine)), "false 10015", {Begin(), NotLoaded(path, error), kRestored});
    };
    expect("{}", 126);
    expect(R"({"files": {"C:\\Program Files\\Kelo Systems Corp\\Toolkit\\stkprobe.dll": {"text": "no library"}}})",
           193);
    expect(R"({"libraries": {"C:\\Program Files\\Kelo Systems Corp\\Toolkit\\stkprobe.dll": {"loadError": 1114}}})",
           1114);
    expect(R"({"files": {"C:\\Program Files\\Kelo Systems Corp\\Toolkit\\stkprobe.dll": {"directory": true}}})", 5);
}

TEST(DetectTPMPlatform, WhateverComesOutOfAnExportIsCaughtAndTheLibraryFreed)
{
    const std::pair<const char*, Script> exports[] = {
        {"DetectTSS", {}},
        {"isEnabled", kDetected},
        {"isActivated", Script{kDetected, kEnabled}},
        {"isOwned", Script{kDetected, kEnabled, kActivated}},
        {"ValidSRKAuth", Script{kDetected, kEnabled, kActivated, kOwned}},
    };
    for (const char* thing : {"access violation", "division by zero", "C++ exception", "number"})
    {
        for (const auto& [name, before] : exports)
        {
            const SimulatedRun run =
                Detect(MachineWithChanged(fmt::format(R"({{"{}": {{"throws": "{}"}}}})", name, thing).c_str()));
            const std::string function = std::string("stkprobe.dll!") + name;
            ExpectRun(run, "false 10015",
                      Whole({before, Call("GetProcAddress", {"library#1", name}, function),
                             Call(function, {}, nullptr, {{"exception", thing}}), kCaught}));
        }
    }
}

TEST(DetectTPMPlatform, WhatTheLibraryDoesToTheMachineStays)
{
    const SimulatedRun run = Detect(MachineWithChanged(
        R"({"isEnabled": {"result": 0, "effects": {"files": {"C:\\trace.txt": {"text": "here"}}}}})"));
    EXPECT_EQ(run.result, "false 10015");
    ASSERT_NE(run.After().files.Find(R"(C:\trace.txt)"), nullptr);
    EXPECT_EQ(run.After().files.Find(R"(C:\trace.txt)")->content, "here");
}

TEST(DetectTPMPlatform, TheErrorModeIsPutBack)
{
    const SimulatedRun run = Detect(MachineWith(UsableExports(), "", R"({"process": {"errorMode": 4}})"));
    EXPECT_EQ(run.result, "true 0");
    EXPECT_EQ(run.After().process.errorMode, 4u);
}

// ---- What is cleared away before ----

// A service that starts and stops at once.
constexpr char kPromptService[] = R"({"state": "running", "binaryPath": "\"C:\\Stack\\tcsd.exe\"",
    "onStart": {"states": [{"state": "running"}]}, "onStop": {"states": [{"state": "stopped"}]}})";

// With the description "null" the service does not exist.
winsim::Machine MachineWithService(const std::string& vendor, const char* service, const char* description)
{
    Json changes = Json::object();
    if (const Json described = Json::parse(description); !described.is_null())
        changes["services"][service] = described;
    return MachineWith(UsableExports(), vendor, changes.dump().c_str());
}

// The expected script of a detection.
class ExpectedDetection : public StepSequence
{
public:
    ExpectedDetection(const winsim::Machine& machine, const std::string& vendor)
        : StepSequence(machine), m_vendor(vendor)
    {
        Add(Begin(vendor));
    }

    void RemoveKelosShim()
    {
        Add("log: Remove old Tspi_x64.dll");
        Step("RemoveTSP1File", {"2"});
        Step("GetWindowsMajorVersion");
    }

    void RemoveNtrusShim()
    {
        Add("log: Remove old Tsp1_x64.dll");
        Step("RemoveTSP1File", {"0"});
    }

    void KillLeftovers()
    {
        Add(kLeftBehind);
        for (const std::string image : {"PatchAgent.exe", "VaultCourier.exe"})
        {
            const bool killed = Step("KillProcessByName", {image}) == "true";
            Add("log: kill " + image + (killed ? " --> OK" : " --> ERROR"));
        }
    }

    // Kelo's part, from Vista on. Returns whether the service could be restarted.
    bool CleanUpKelo()
    {
        KillLeftovers();
        Add("log: Restart Kelo Service");
        return Step("RestartServiceByName", {"tcsd_x86"}) == "true";
    }

    // NTRU's part, which runs once.
    void CleanUpNtru()
    {
        KillLeftovers();
        if (Step("IsServiceRunning", {"tcsd_win32.exe"}) != "true")
        {
            Add("log: NTRU service not running");
            return;
        }
        Add("log: restarting NTRU TSS service...");
        const bool restarted = Step("RestartServiceByName", {"tcsd_win32.exe"}) == "true";
        Add(restarted ? "log: NTRU TSS service restarted" : "log: Unable to restart NTRU TSS service");
    }

    void AskUsableLibrary() { Add({Loaded(LibraryPath(m_vendor)), kUsable, kFreed}); }

private:
    std::string m_vendor;
};

TEST(DetectTPMPlatform, KeloFromVistaOnLosesItsShimItsProcessesAndItsServicesState)
{
    winsim::Machine machine = MachineWithService("KELO", "tcsd_x86", kPromptService);
    machine.files.Create(kTspi, false);
    machine.files.Create(kTsp1, false);
    machine.processes.Add({5000, "PatchAgent.exe", 0, 0});
    const SimulatedRun run = Detect(machine, {"KELO"});
    ExpectedDetection expected{machine, "KELO"};
    expected.RemoveKelosShim();
    EXPECT_TRUE(expected.CleanUpKelo());
    expected.AskUsableLibrary();
    ExpectRun(run, "true 0", expected);
    EXPECT_TRUE(run.After().files.Find(kTsp1) != nullptr);
    EXPECT_TRUE(run.After().files.Find(kTspi) == nullptr);
    EXPECT_TRUE(run.After().processes.Find(5000) == nullptr);
}

TEST(DetectTPMPlatform, KeloWithoutItsServiceIsAskedAllTheSame)
{
    const winsim::Machine machine = MachineWith(UsableExports(), "KELO");
    ExpectedDetection expected{machine, "KELO"};
    expected.RemoveKelosShim();
    EXPECT_FALSE(expected.CleanUpKelo());
    expected.AskUsableLibrary();
    ExpectRun(Detect(machine, {"KELO"}), "true 0", expected);
}

TEST(DetectTPMPlatform, KeloBeforeVistaLosesItsShimAlone)
{
    const winsim::Machine machine =
        Changed(MachineWithService("KELO", "tcsd_x86", kPromptService), R"({"windows": {"version": "5.1"}})");
    ExpectedDetection expected{machine, "KELO"};
    expected.RemoveKelosShim();
    expected.AskUsableLibrary();
    ExpectRun(Detect(machine, {"KELO"}), "true 0", expected);
}

TEST(DetectTPMPlatform, Ntru12RestartsItsServiceAndLosesItsShim)
{
    winsim::Machine machine = MachineWithService("NTRU12", "tcsd_win32.exe", kPromptService);
    machine.files.Create(kTsp1, false);
    machine.processes.Add({5000, "vaultcourier.exe", 0, 0});
    const SimulatedRun run = Detect(machine, {"NTRU12"});
    ExpectedDetection expected{machine, "NTRU12"};
    expected.CleanUpNtru();
    expected.RemoveNtrusShim();
    expected.AskUsableLibrary();
    ExpectRun(run, "true 0", expected);
    EXPECT_TRUE(run.After().files.Find(kTsp1) == nullptr);
    EXPECT_TRUE(run.After().processes.Find(5000) == nullptr);
}

TEST(DetectTPMPlatform, NtrusServiceIsLeftAloneWhenItDoesNotRun)
{
    for (const char* service : {R"({"state": "stopped"})", "null"})
    {
        const winsim::Machine machine = MachineWithService("NTRU12", "tcsd_win32.exe", service);
        ExpectedDetection expected{machine, "NTRU12"};
        expected.CleanUpNtru();
        expected.RemoveNtrusShim();
        expected.AskUsableLibrary();
        ExpectRun(Detect(machine, {"NTRU12"}), "true 0", expected);
    }
}

TEST(DetectTPMPlatform, TheShortNtruIdentifierHasNoShimAndItsOwnLibrary)
{
    winsim::Machine machine = MachineWithService("NTRU", "tcsd_win32.exe", kPromptService);
    machine.files.Create(kTsp1, false);
    machine.files.Create(kTspi, false);
    const SimulatedRun run = Detect(machine, {"NTRU"});
    ExpectedDetection expected{machine, "NTRU"};
    expected.CleanUpNtru();
    expected.AskUsableLibrary();
    ExpectRun(run, "true 0", expected);
    EXPECT_TRUE(run.After().files.Find(kTsp1) != nullptr && run.After().files.Find(kTspi) != nullptr);
}

TEST(DetectTPMPlatform, VendorsAreComparedWithTheirCase)
{
    for (const char* vendor : {"kelo", "ntru12", "Ntru", "OTHER", ""})
    {
        Json description;
        description["libraries"][std::string(kTarget) + vendor + "\\stkprobe.dll"] = {{"exports", UsableExports()}};
        const SimulatedRun run = Detect(winsim::Machine::FromJson(description), {vendor});
        const std::string path = std::string(kTarget) + vendor + "\\stkprobe.dll";
        ExpectRun(run, "true 0", {Begin(vendor), Loaded(path), kUsable, kFreed});
    }
}

TEST(DetectTPMPlatform, AFailedRestartOfNtrusServiceLoadsNothingAndLeavesTheErrorModeAtZero)
{
    winsim::Machine machine = MachineWithService("NTRU12", "tcsd_win32.exe",
                                                 R"({"state": "running", "onStop": {"states": [{"state": "stopped"}]},
                               "onStart": {"error": 1053}})");
    machine.files.Create(kTsp1, false);
    machine.process.errorMode = 4;
    const SimulatedRun run = Detect(machine, {"NTRU12"});
    ExpectedDetection expected{machine, "NTRU12"};
    expected.CleanUpNtru();
    expected.Add(Call("SetErrorMode", {0}, 4));
    ExpectRun(run, "false 10015", expected);
    EXPECT_EQ(run.After().process.errorMode, 0u);
    EXPECT_TRUE(run.After().files.Find(kTsp1) != nullptr);
}

// ---- Once per process ----

TEST(DetectTPMPlatform, NtruIsClearedAwayOncePerProcess)
{
    const winsim::Machine machine = MachineWithService("NTRU12", "tcsd_win32.exe", kPromptService);
    ExpectedDetection expected{machine, "NTRU12"};
    expected.CleanUpNtru();
    expected.RemoveNtrusShim();
    expected.AskUsableLibrary();
    expected.Add(Begin("NTRU12"));
    expected.RemoveNtrusShim();
    expected.AskUsableLibrary();
    ExpectRun(Detect(machine, {"NTRU12", "NTRU12"}), "true 0, true 0", expected);
}

TEST(DetectTPMPlatform, TheTwoNtruIdentifiersShareTheOneTime)
{
    const SimulatedRun run = Detect(MachineWithService("NTRU12", "tcsd_win32.exe", kPromptService), {"NTRU", "NTRU12"});
    EXPECT_EQ(run.result, "false 10015, true 0");
    EXPECT_EQ(std::count(run.log.begin(), run.log.end(), "NTRU TSS service restarted"), 1);
    EXPECT_EQ(CountOf("EnumProcesses", run.script), 2u);
}

TEST(DetectTPMPlatform, AFailedTimeCountsToo)
{
    const SimulatedRun run =
        Detect(MachineWithService("NTRU12", "tcsd_win32.exe", R"({"state": "running", "onStop": {"error": 5}})"),
               {"NTRU12", "NTRU12"});
    EXPECT_EQ(run.result, "false 10015, true 0");
    EXPECT_EQ(std::count(run.log.begin(), run.log.end(), "Unable to restart NTRU TSS service"), 1);
}

TEST(DetectTPMPlatform, KeloIsClearedAwayEachTime)
{
    const SimulatedRun run = Detect(MachineWith(UsableExports(), "KELO"), {"KELO", "KELO"});
    EXPECT_EQ(std::count(run.script.begin(), run.script.end(), kLeftBehind), 2);
}

TEST(DetectTPMPlatform, EachProcessHasItsOwnOneTime)
{
    for (int process = 0; process < 2; ++process)
    {
        const SimulatedRun run = Detect(MachineWithService("NTRU12", "tcsd_win32.exe", kPromptService), {"NTRU12"});
        EXPECT_EQ(std::count(run.log.begin(), run.log.end(), "NTRU TSS service restarted"), 1);
    }
}

// ---- Paths that do not fit ----

std::string TargetOfLength(std::size_t length)
{
    return R"(C:\)" + std::string(length - 4, 'd') + "\\";
}

TEST(DetectTPMPlatform, APathOf239CharactersIsTheLongestThatIsLoaded)
{
    const std::string behind = R"(OTHER\stkprobe.dll)";
    for (const std::size_t length : {239, 240})
    {
        const std::string target = TargetOfLength(length - behind.size());
        Json description;
        description["libraries"][target + behind] = {{"exports", UsableExports()}};
        const SimulatedRun run =
            CallFunction(winsim::Machine::FromJson(description), "DetectTPMPlatform", {target, "OTHER"});
        EXPECT_EQ(run.result, length == 239 ? "true 0" : "false 10015");
        EXPECT_EQ(CountOf("LoadLibraryA", run.script), length == 239 ? 1u : 0u);
    }
}

TEST(DetectTPMPlatform, ATargetThatIsTooLongLoadsNothing)
{
    for (std::size_t length = 230; length <= 300; ++length)
    {
        const std::string target = TargetOfLength(length);
        // Libraries where a path would lead that was cut short or made only of its last pieces.
        Json description;
        for (const std::string& wrong : {std::string(R"(C:\Windows\system32\stkprobe.dll)"),
                                         std::string(R"(C:\OTHER\stkprobe.dll)"), std::string(R"(C:\stkprobe.dll)"),
                                         std::string(R"(C:\Program Files\Kelo Systems Corp\Toolkit\stkprobe.dll)")})
            description["libraries"][wrong] = {{"exports", UsableExports()}};
        const SimulatedRun run =
            CallFunction(winsim::Machine::FromJson(description), "DetectTPMPlatform", {target, "OTHER"});
        ExpectLog(run, "false 10015",
                  {kRule, fmt::format("log: DetectTPMPlatform({},OTHER)", target), "log: Load ",
                   "log: Failed to Load Library:  Err: 206"});
        EXPECT_EQ(CountOf("LoadLibraryA", run.script), 0u);
    }
}

TEST(DetectTPMPlatform, AMissingOrEmptyTargetLoadsNothing)
{
    for (const char* target : {"(null)", "", "C:", R"(C:Toolkit\)", R"(Toolkit\)", R"(\Toolkit\)"})
    {
        const SimulatedRun run = CallFunction(
            MachineOf(R"({"libraries": {"C:\\Windows\\system32\\stkprobe.dll": {"exports": {"DetectTSS": 0}}}})"),
            "DetectTPMPlatform", {target, "(null)"});
        ExpectLog(run, "false 10015",
                  {kRule, fmt::format("log: DetectTPMPlatform({},(null))", target), "log: Load ",
                   "log: Failed to Load Library:  Err: 206"});
        EXPECT_EQ(CountOf("LoadLibraryA", run.script), 0u);
    }
}

} // namespace
