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

SimulatedRun Detect(const winsim::Machine& machine, const std::vector<std::string>& vendors = {"(null)"},
                    const SimulatedRunOptions& options = {})
{
    std::vector<std::string> arguments{kTarget};
    arguments.insert(arguments.end(), vendors.begin(), vendors.end());
    return CallFunction(machine, "DetectTPMPlatform", arguments, options);
}

// A run with the usable library, some of its exports changed or, with null, removed.
SimulatedRun DetectWith(const Json& changes, const SimulatedRunOptions& options = {})
{
    Json exports = UsableExports();
    exports.merge_patch(changes);
    return Detect(MachineWith(exports), {"(null)"}, options);
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

constexpr char kUndetermined[] = "log: Cannot determine SRK auth format";

// The exports in the order in which they are asked, each with the usable answers before it.
const std::pair<const char*, Script> kQuestions[] = {
    {"DetectTSS", {}},
    {"isEnabled", kDetected},
    {"isActivated", {kDetected, kEnabled}},
    {"isOwned", {kDetected, kEnabled, kActivated}},
    {"ValidSRKAuth", {kDetected, kEnabled, kActivated, kOwned}},
};

const Script kReported = {Call("RegisterEventSourceW", {nullptr, "Kelo Platform Security"}, "eventSource#1"),
                          Call("ReportEventW", {"eventSource#1", 1, 2, 1018, nullptr, {kSrkEvent}, 0, nullptr}, 1),
                          Call("DeregisterEventSource", {"eventSource#1"}, 1)};

const Script kSrkIncorrect = {Asked("ValidSRKAuth", 1), "log: SRK is in incorrect auth format!", kReported};

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

// Expects this result for each answer of an export, and these lines after the answer.
void ExpectForEach(const std::initializer_list<int>& answers, const char* name, const std::string& result,
                   const Script& lines)
{
    const auto question = std::ranges::find(kQuestions, std::string_view(name), &std::pair<const char*, Script>::first);
    for (const int answer : answers)
    {
        SCOPED_TRACE(answer);
        ExpectRun(DetectWith({{name, answer}}), result, Whole({question->second, Asked(name, answer), lines}));
    }
}

TEST(DetectTPMPlatform, WhatDetectTssAnswersIsTheResult)
{
    for (const int answer : {5, 1, -1, 10016})
        ExpectForEach({answer}, "DetectTSS", fmt::format("false {}", static_cast<unsigned>(answer)),
                      fmt::format("log: Failed to Detect TSS rc='{}'", answer));
}

TEST(DetectTPMPlatform, OnlyOneMeansEnabled)
{
    ExpectForEach({0, 2, -1, 10015}, "isEnabled", "false 10015", kNotEnabled);
}

TEST(DetectTPMPlatform, ATpmThatIsNotActivatedIsAskedFurtherAndNotUsable)
{
    ExpectForEach({0, 2, -1}, "isActivated", "false 10015", {kNotActivated, kOwned, kSrkCorrect});
}

TEST(DetectTPMPlatform, ATpmThatIsNotActivatedStaysNotUsableWhateverIsAnsweredThen)
{
    const std::pair<const char*, Script> cases[] = {
        {R"({"isOwned": 0})", Asked("isOwned", 0)},
        {R"({"isOwned": 2})", Asked("isOwned", 2)},
        {R"({"isOwned": -1})", Asked("isOwned", -1)},
        {R"({"isOwned": null})", {Missing("isOwned"), "log: Function isOwned() Not found"}},
        {R"({"ValidSRKAuth": null})", {kOwned, Missing("ValidSRKAuth"), "log: Function ValidSRKAuth() Not found"}},
        {R"({"ValidSRKAuth": 0})", {kOwned, kSrkCorrect}},
        {R"({"ValidSRKAuth": 1})", {kOwned, kSrkIncorrect}},
        {R"({"ValidSRKAuth": 2})", {kOwned, Asked("ValidSRKAuth", 2), kUndetermined}},
        {R"({"ValidSRKAuth": -1})", {kOwned, Asked("ValidSRKAuth", -1), kUndetermined}},
    };
    for (const auto& [changes, asked] : cases)
    {
        SCOPED_TRACE(changes);
        Json exports = Json::parse(changes);
        exports["isActivated"] = 0;
        ExpectRun(DetectWith(exports), "false 10015",
                  Whole({kDetected, kEnabled, Asked("isActivated", 0), kNotActivated, asked}));
    }
}

TEST(DetectTPMPlatform, ATpmWithoutOwnerIsUsableAndItsSrkIsNotLookedAt)
{
    ExpectForEach({0, 2, -1}, "isOwned", "true 0", {});
}

TEST(DetectTPMPlatform, AnyOtherSrkAnswerDeterminesNothing)
{
    ExpectForEach({2, -1, 10015}, "ValidSRKAuth", "true 0", kUndetermined);
}

TEST(DetectTPMPlatform, AnIncorrectSrkIsReportedAndChangesNothing)
{
    const SimulatedRun run = DetectWith({{"ValidSRKAuth", 1}});
    ExpectRun(run, "true 0", Whole({kDetected, kEnabled, kActivated, kOwned, kSrkIncorrect}));
    const winsim::Event event{"Kelo Platform Security", 1, 2, 1018, {kSrkEvent}};
    EXPECT_THAT(run.After().events.entries, ElementsAre(event));
}

TEST(DetectTPMPlatform, AReportThatCannotBeMadeChangesNothing)
{
    ExpectRun(
        DetectWith({{"ValidSRKAuth", 1}}, {.faults = {"RegisterEventSourceW=1722"}}), "true 0",
        Whole({kDetected, kEnabled, kActivated, kOwned, Before(kSrkIncorrect, kReported[0]), Failing(kReported[0])}));
}

TEST(DetectTPMPlatform, EachMissingExportHasItsLine)
{
    constexpr std::pair<const char*, const char*> kRows[] = {
        {"false 10016", "log: Failed to get Function Pointer to DetectTSS()"},
        {"false 10016", "log: Function isEnabled() not found"},
        {"false 10016", "log: Function isActivated() Not found"},
        {"true 0", "log: Function isOwned() Not found"},
        {"true 0", "log: Function ValidSRKAuth() Not found"},
    };
    for (std::size_t i = 0; i < std::size(kRows); ++i)
    {
        const auto& [name, before] = kQuestions[i];
        SCOPED_TRACE(name);
        ExpectRun(DetectWith({{name, nullptr}}), kRows[i].first, Whole({before, Missing(name), kRows[i].second}));
    }
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
    for (const char* thing : {"access violation", "division by zero", "C++ exception", "number"})
    {
        for (const auto& [name, before] : kQuestions)
        {
            SCOPED_TRACE(std::string(thing) + " in " + name);
            const std::string function = std::string("stkprobe.dll!") + name;
            ExpectRun(DetectWith({{name, {{"throws", thing}}}}), "false 10015",
                      Whole({before, Call("GetProcAddress", {"library#1", name}, function),
                             Call(function, {}, nullptr, {{"exception", thing}}), kCaught}));
        }
    }
}

TEST(DetectTPMPlatform, WhatTheLibraryDoesToTheMachineStays)
{
    const SimulatedRun run = DetectWith(
        Json::parse(R"({"isEnabled": {"result": 0, "effects": {"files": {"C:\\trace.txt": {"text": "here"}}}}})"));
    EXPECT_EQ(run.result, "false 10015");
    EXPECT_EQ(TextOf(run.After(), R"(C:\trace.txt)"), "here");
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

    // Expects a run that ends with the questions to a usable library.
    void ExpectUsable(const SimulatedRun& run)
    {
        AskUsableLibrary();
        ExpectRun(run, "true 0", *this);
    }

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
    expected.ExpectUsable(run);
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
    expected.ExpectUsable(Detect(machine, {"KELO"}));
}

TEST(DetectTPMPlatform, KeloBeforeVistaLosesItsShimAlone)
{
    const winsim::Machine machine =
        Changed(MachineWithService("KELO", "tcsd_x86", kPromptService), R"({"windows": {"version": "5.1"}})");
    ExpectedDetection expected{machine, "KELO"};
    expected.RemoveKelosShim();
    expected.ExpectUsable(Detect(machine, {"KELO"}));
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
    expected.ExpectUsable(run);
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
        expected.ExpectUsable(Detect(machine, {"NTRU12"}));
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
    expected.ExpectUsable(run);
    EXPECT_TRUE(run.After().files.Find(kTsp1) != nullptr && run.After().files.Find(kTspi) != nullptr);
}

TEST(DetectTPMPlatform, VendorsAreComparedWithTheirCase)
{
    for (const char* vendor : {"kelo", "ntru12", "Ntru", "OTHER", ""})
    {
        const std::string path = std::string(kTarget) + vendor + "\\stkprobe.dll";
        const Json library = {{"exports", UsableExports()}};
        ExpectRun(Detect(winsim::Machine::FromJson({{"libraries", {{path, library}}}}), {vendor}), "true 0",
                  {Begin(vendor), Loaded(path), kUsable, kFreed});
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

// Expects a detection in which no library is loaded because the path of the target is none.
void ExpectNothingLoaded(const winsim::Machine& machine, const std::string& target, const std::string& vendor)
{
    SCOPED_TRACE(target);
    const SimulatedRun run = CallFunction(machine, "DetectTPMPlatform", {target, vendor});
    ExpectLog(run, "false 10015",
              {kRule, fmt::format("log: DetectTPMPlatform({},{})", target, vendor), "log: Load ",
               "log: Failed to Load Library:  Err: 206"});
    EXPECT_EQ(CountOf("LoadLibraryA", run.script), 0u);
}

TEST(DetectTPMPlatform, APathOf239CharactersIsTheLongestThatIsLoaded)
{
    const std::string rest = R"(OTHER\stkprobe.dll)";
    for (const std::size_t length : {239, 240})
    {
        const std::string target = TargetOfLength(length - rest.size());
        Json description;
        description["libraries"][target + rest] = {{"exports", UsableExports()}};
        const SimulatedRun run =
            CallFunction(winsim::Machine::FromJson(description), "DetectTPMPlatform", {target, "OTHER"});
        EXPECT_EQ(run.result, length == 239 ? "true 0" : "false 10015");
        EXPECT_EQ(CountOf("LoadLibraryA", run.script), length == 239 ? 1u : 0u);
    }
}

TEST(DetectTPMPlatform, ATargetThatIsTooLongLoadsNothing)
{
    // Libraries where a path would lead that was cut short or made only of its last pieces.
    Json description;
    for (const char* wrong : {R"(C:\Windows\system32\stkprobe.dll)", R"(C:\OTHER\stkprobe.dll)", R"(C:\stkprobe.dll)",
                              R"(C:\Program Files\Kelo Systems Corp\Toolkit\stkprobe.dll)"})
        description["libraries"][wrong] = {{"exports", UsableExports()}};
    for (std::size_t length = 230; length <= 300; ++length)
        ExpectNothingLoaded(winsim::Machine::FromJson(description), TargetOfLength(length), "OTHER");
}

TEST(DetectTPMPlatform, AMissingOrEmptyTargetLoadsNothing)
{
    for (const char* target : {"(null)", "", "C:", R"(C:Toolkit\)", R"(Toolkit\)", R"(\Toolkit\)"})
        ExpectNothingLoaded(
            MachineOf(R"({"libraries": {"C:\\Windows\\system32\\stkprobe.dll": {"exports": {"DetectTSS": 0}}}})"),
            target, "(null)");
}

} // namespace
