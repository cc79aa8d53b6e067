// Proves how the installer gets access to the key of blocked TPM commands, which commands it removes from the key, and
// which services it stops and starts around that.
#include "tests/support/run_tests.h"
#include "tests/support/step_sequence.h"
#include "tests/unit/tss/tss_script.h"

#include <gtest/gtest.h>

namespace
{

using winsim::Json;

constexpr char kKey[] = R"(HKLM\SOFTWARE\Microsoft\Tpm\BlockedCommands\List)";
constexpr char kSubKey[] = R"(SOFTWARE\Microsoft\Tpm\BlockedCommands\List)";
constexpr char kObject[] = R"(MACHINE\SOFTWARE\Microsoft\Tpm\BlockedCommands\List)";
constexpr unsigned kForSubkeys = 2;
constexpr int kRegistryKey = 4;
constexpr int kOwnerInformation = 1;

const std::vector<ExpectedAccess> kList = {{kUsers, kGroupTrustee, kGenericRead},
                                           {kAdministrators, kGroupTrustee, kGenericAll},
                                           {kLocalSystem, kUnknownTrustee, kGenericAll}};

constexpr const char* kCommands[] = {"20", "22", "125", "62", "200", "16", "13"};

// The key as Windows creates it, and a key that belongs to another owner and lets administrators only read.
constexpr char kOpenKey[] = R"({"values": {"13": 1, "16": 1, "20": 1, "22": 1, "62": 1, "125": 1, "200": 1, "91": 1}})";
constexpr char kGuardedKey[] = R"({"values": {"13": 1, "91": 1}, "owner": "S-1-5-18", "access": [
    {"trustee": "S-1-5-18", "mask": 268435456, "inheritance": 2},
    {"trustee": "S-1-5-32-544", "mask": 2147483648, "inheritance": 2}]})";
// Without Windows' own TPM service, which has its own tests below.
constexpr char kNoTbs[] = R"({"services": {"TBS": null}})";

winsim::Machine MachineWithKey(const char* key, const char* changes = kNoTbs)
{
    Json description = Json::parse(changes);
    // A plain machine has no such key, so null has nothing to remove.
    if (const Json described = Json::parse(key); !described.is_null())
        description["registry"][kKey] = described;
    return winsim::Machine::FromJson(description);
}

// ---- Expected scripts ----

const Script kSids = {MakeSid(1, 32, 545), MakeSid(2, 32, 544), MakeSid(3, 18)};
const Script kSidsFreed = {FreeSid(1), FreeSid(2), FreeSid(3)};
const std::string kMakeList = MakeList(kList, kForSubkeys);
constexpr char kSucceeded[] = "log: Successfully changed DACL";

std::string ReplaceLine(int error, const char* object = kObject)
{
    return Call("SetNamedSecurityInfoW",
                {object, kRegistryKey, kListInformation, nullptr, nullptr, AclOf(kList, kForSubkeys), nullptr}, error);
}

std::string OwnerLine(int error)
{
    return Call("SetNamedSecurityInfoW",
                {kObject, kRegistryKey, kOwnerInformation, kAdministrators, nullptr, nullptr, nullptr}, error);
}

const std::string kOpenToken = Call("OpenProcessToken", {"process#current", 32}, 1, {{"TokenHandle", "token#1"}});
const std::string kCloseToken = Call("CloseHandle", {"token#1"}, 1);
const std::string kLookUp = Call("LookupPrivilegeValueA", {nullptr, "SeTakeOwnershipPrivilege"}, 1,
                                 {{"lpLuid", {{"LowPart", 9}, {"HighPart", 0}}}});

std::string AdjustLine(int attributes)
{
    const Json privilege{{"Luid", {{"LowPart", 9}, {"HighPart", 0}}}, {"Attributes", attributes}};
    Json state{{"PrivilegeCount", 1}, {"Privileges", Json::array({privilege})}};
    return Call("AdjustTokenPrivileges", {"token#1", 0, state, 16, nullptr, nullptr}, 1);
}

const Script kEnable = {kLookUp, AdjustLine(2)};
const Script kDisable = {kLookUp, AdjustLine(0)};
const Script kOpenProcessToken = {Call("GetCurrentProcess", {}, "process#current"), kOpenToken};

// TakeKeyOwnership on a key that the installer may change.
const Script kTakenAtOnce = {kSids, kMakeList, ReplaceLine(0), kSucceeded, kSidsFreed};
// TakeKeyOwnership on a key whose owner has to be changed first.
const Script kTakenFromOwner = {kSids,    kMakeList,      ReplaceLine(5), kOpenProcessToken, kEnable,    OwnerLine(0),
                                kDisable, ReplaceLine(0), kSucceeded,     kSidsFreed,        kCloseToken};

SimulatedRun Take(const winsim::Machine& machine, const SimulatedRunOptions& options = {})
{
    return CallFunction(machine, "TakeKeyOwnership", {kObject}, options);
}

void ExpectReplacedList(const SimulatedRun& run)
{
    EXPECT_EQ(run.After().registry.Find(kKey)->security.access, EntriesOf(kList, kForSubkeys, winsim::kKeyRights));
}

// ---- TakeKeyOwnership ----

TEST(TakeKeyOwnership, AnOpenKeyGetsTheListAtOnce)
{
    const SimulatedRun run = Take(MachineWithKey(kOpenKey));
    ExpectRun(run, "true", kTakenAtOnce);
    ExpectReplacedList(run);
    EXPECT_EQ(run.After().registry.Find(kKey)->security.owner, std::nullopt);
}

TEST(TakeKeyOwnership, AGuardedKeyIsGivenToTheAdministratorsFirst)
{
    const SimulatedRun run = Take(MachineWithKey(kGuardedKey));
    ExpectRun(run, "true", kTakenFromOwner);
    ExpectReplacedList(run);
    EXPECT_EQ(run.After().registry.Find(kKey)->security.owner, kAdministrators);
    EXPECT_FALSE(run.After().token.IsEnabled("SeTakeOwnershipPrivilege"));
}

const auto kTakeovers =
    RunTests("TakeKeyOwnership", &Take)
        .Run("RightsThatAreDeniedOutrightAreTakenTheSameWay",
             MachineWithKey(R"({"deniedAccess": ["WRITE_DAC", "WRITE_OWNER", "KEY_SET_VALUE"]})"), "true",
             kTakenFromOwner,
             [](const SimulatedRun& run) { EXPECT_EQ(run.After().registry.Find(kKey)->security.deniedAccess, 0u); })
        .Run("AKeyOfTheAdministratorsLetsThemReplaceTheList",
             MachineWithKey(R"({"owner": "S-1-5-32-544", "deniedAccess": ["WRITE_DAC", "WRITE_OWNER"]})"), "true",
             kTakenAtOnce)
        .Run("AListThatCannotBeMadeEndsIt", MachineWithKey(kOpenKey), {.faults = {"SetEntriesInAclW=1336"}}, "false",
             {kSids, Failing(kMakeList, 1336), "log: Failed SetEntriesInAclW", kSidsFreed})
        .Run("ATokenThatCannotBeOpenedEndsIt", MachineWithKey(kGuardedKey), {.faults = {"OpenProcessToken=5"}}, "false",
             {kSids, kMakeList, ReplaceLine(5), kOpenProcessToken[0], Failing(kOpenToken, 0),
              "log: OpenProcessToken failed: 5", kSidsFreed})
        .Run("AnOwnerThatCannotBeSetEndsItWithThePrivilegeStillOn", MachineWithKey(kGuardedKey),
             {.faults = {"SetNamedSecurityInfoW#2=1307"}}, "false",
             {kSids, kMakeList, ReplaceLine(5), kOpenProcessToken, kEnable, OwnerLine(1307),
              "log: Could not set owner. Error: 1307", kSidsFreed, kCloseToken})
        .Run("APrivilegeThatCannotBeDisabledEndsIt", MachineWithKey(kGuardedKey),
             {.faults = {"AdjustTokenPrivileges#2=6"}}, "false",
             {kSids, kMakeList, ReplaceLine(5), kOpenProcessToken, kEnable, OwnerLine(0), kLookUp,
              Failing(AdjustLine(0), 0), "log: Failed SetPrivilege call unexpectedly.", kSidsFreed, kCloseToken})
        .Run("ASecondRefusalEndsIt", MachineWithKey(kGuardedKey), {.faults = {"SetNamedSecurityInfoW#3=5"}}, "false",
             {kSids, kMakeList, ReplaceLine(5), kOpenProcessToken, kEnable, OwnerLine(0), kDisable, ReplaceLine(5),
              "log: Second SetNamedSecurityInfo call failed: 5", kSidsFreed, kCloseToken});

TEST(TakeKeyOwnership, AnyOtherErrorEndsIt)
{
    ExpectRun(Take(MachineOf("{}")), "false",
              {kSids, kMakeList, ReplaceLine(2), "log: First SetNamedSecurityInfo call failed: 2", kSidsFreed});
    const std::string object = R"(NOWHERE\SOFTWARE)";
    ExpectRun(CallFunction("TakeKeyOwnership", {object}), "false",
              {kSids, kMakeList, ReplaceLine(87, object.c_str()), "log: First SetNamedSecurityInfo call failed: 87",
               kSidsFreed});
    // Ownership is taken only after error 5.
    for (const int error : {1307, 1314, 1300, 65})
        ExpectRun(Take(MachineWithKey(kGuardedKey), {.faults = {fmt::format("SetNamedSecurityInfoW#1={}", error)}}),
                  "false",
                  {kSids, kMakeList, ReplaceLine(error),
                   fmt::format("log: First SetNamedSecurityInfo call failed: {}", error), kSidsFreed});
}

TEST(TakeKeyOwnership, EachSidThatCannotBeMadeHasItsLine)
{
    const char* const names[] = {"Everyone", "Admin", "Admin"};
    for (unsigned failing = 1; failing <= 3; ++failing)
    {
        const SimulatedRun run =
            Take(MachineWithKey(kOpenKey), {.faults = {fmt::format("AllocateAndInitializeSid#{}=8", failing)}});
        Script script(kSids.begin(), kSids.begin() + failing - 1);
        script.push_back(Failing(kSids[failing - 1], 0));
        script.push_back(fmt::format("log: AllocateAndInitializeSid ({}) error 8", names[failing - 1]));
        script.insert(script.end(), kSidsFreed.begin(), kSidsFreed.begin() + failing - 1);
        ExpectRun(run, "false", script);
    }
}

TEST(TakeKeyOwnership, WithoutThePrivilegeOneIsNoAdministrator)
{
    winsim::Machine machine = MachineWithKey(kGuardedKey, R"({"token": {"privileges": ["SeDebugPrivilege"]},
                                                              "services": {"TBS": null}})");
    const SimulatedRun run = Take(machine);
    ExpectRun(run, "false",
              {kSids, kMakeList, ReplaceLine(5), kOpenProcessToken, kEnable,
               "log: You must be logged on as Administrator.", kSidsFreed, kCloseToken});
    const auto& calls = run.outcome.calls;
    const auto adjusted =
        std::find_if(calls.begin(), calls.end(), [](const auto& call) { return call.name == "AdjustTokenPrivileges"; });
    EXPECT_EQ(adjusted->error, 1300u);
}

TEST(TakeKeyOwnership, APrivilegeThatCannotBeEnabledIsTheSame)
{
    for (const char* fault : {"LookupPrivilegeValueA=1313", "AdjustTokenPrivileges=5"})
    {
        const SimulatedRun run = Take(MachineWithKey(kGuardedKey), {.faults = {fault}});
        ExpectLog(run, "false", {"log: You must be logged on as Administrator."});
        EXPECT_FALSE(run.After().token.IsEnabled("SeTakeOwnershipPrivilege"));
    }
}

// ---- SetPrivilege ----

TEST(SetPrivilege, EnablesAndDisablesWhatTheTokenHas)
{
    const SimulatedRun on = CallFunction("SetPrivilege", {"32", "SeTakeOwnershipPrivilege", "true"});
    ExpectRun(on, "true", {kOpenProcessToken, kEnable, kCloseToken});
    EXPECT_TRUE(on.After().token.IsEnabled("SeTakeOwnershipPrivilege"));
    const SimulatedRun off = CallFunction(on.After(), "SetPrivilege", {"32", "SeTakeOwnershipPrivilege", "false"});
    ExpectRun(off, "true", {kOpenProcessToken, kDisable, kCloseToken});
    EXPECT_FALSE(off.After().token.IsEnabled("SeTakeOwnershipPrivilege"));
}

TEST(SetPrivilege, FailsForAPrivilegeThatTheTokenLacksOrWindowsDoesNotKnow)
{
    EXPECT_EQ(CallFunction("SetPrivilege", {"32", "SeTcbPrivilege", "true"}).result, "false");
    EXPECT_EQ(CallFunction("SetPrivilege", {"32", "SeNoSuchPrivilege", "true"}).result, "false");
}

TEST(SetPrivilege, FailsForATokenThatMayNotBeAdjusted)
{
    EXPECT_EQ(CallFunction("SetPrivilege", {"8", "SeDebugPrivilege", "true"}).result, "false");
}

// ---- DeleteRegistryValue ----

const std::string kOpenForDeletion =
    Call("RegOpenKeyExW", {"HKEY_LOCAL_MACHINE", kSubKey, 0, 2}, 0, {{"phkResult", "key#1"}});

Script DeletionOf(const char* name, int status)
{
    return {kOpenForDeletion, Call("RegDeleteValueW", {"key#1", name}, status), kCloseKey};
}

SimulatedRun DeleteValue(const char* key, const SimulatedRunOptions& options = {})
{
    return CallFunction(MachineWithKey(key), "DeleteRegistryValue", {kSubKey, "13"}, options);
}

TEST(DeleteRegistryValue, DeletesTheValueAlone)
{
    const SimulatedRun run = DeleteValue(kOpenKey);
    ExpectRun(run, "true", DeletionOf("13", 0));
    EXPECT_EQ(run.After().registry.FindValue(kKey, "13"), nullptr);
    EXPECT_EQ(run.After().registry.Find(kKey)->values.size(), 7u);
}

TEST(DeleteRegistryValue, AValueThatIsNotThereIsAsGoodAsDeleted)
{
    ExpectRun(DeleteValue("{}"), "true", DeletionOf("13", 2));
    ExpectRun(DeleteValue(kOpenKey, {.faults = {"RegDeleteValueW=5"}}), "true", DeletionOf("13", 5));
}

TEST(DeleteRegistryValue, AKeyThatCannotBeOpenedIsAFailure)
{
    ExpectRun(DeleteValue("null"), "false", Failing(kOpenForDeletion, 2));
    ExpectRun(DeleteValue(kGuardedKey), "false", Failing(kOpenForDeletion, 5));
}

// ---- UnblockTpmCommands ----

SimulatedRun Unblock(const winsim::Machine& machine, const SimulatedRunOptions& options = {})
{
    return CallFunction(machine, "UnblockTpmCommands", {}, options);
}

// The part before the services. Returns true if the key was opened.
bool OpenKeyAndDelete(StepSequence& expected)
{
    expected.Step("GetWindowsMajorVersion");
    expected.Add("log: Vista OS");
    if (expected.Step("TakeKeyOwnership", {kObject}) != "true")
    {
        expected.Add("log: Ownership was not taken on registry Key");
        return false;
    }
    expected.Add("log: Ownership taken for Default List of Blocked Commands");
    for (const char* command : kCommands)
    {
        if (expected.Step("DeleteRegistryValue", {kSubKey, command}) == "true")
            expected.Add(std::string("log: Unblocked Command ") + command);
    }
    return true;
}

TEST(UnblockTpmCommands, BeforeVistaNothingIsTouched)
{
    for (const char* version : {"5.1", "5.2"})
    {
        winsim::Machine machine = MachineWithKey(kOpenKey, R"({"services": {"TBS": {"state": "running"}}})");
        machine.windows.major = 5;
        machine.windows.minor = version[2] - '0';
        const SimulatedRun run = Unblock(machine);
        StepSequence expected{machine};
        expected.Step("GetWindowsMajorVersion");
        expected.Add("log: Not VISTA OS");
        ExpectRun(run, "1", expected);
        EXPECT_EQ(run.After().registry, machine.registry);
        EXPECT_EQ(run.After().services, machine.services);
    }
}

// Restarts TBS as the unblocking does. Returns whether the restart succeeded.
bool RestartTbs(StepSequence& expected)
{
    const bool stopped = expected.Step("StopServiceByName", {"tcsd_win32.exe"}) == "true";
    expected.Step("StopServiceByName", {"IFXTCS"});
    expected.Step("StopServiceByName", {"tcsd_x86"});
    const bool restarted = expected.Step("RestartServiceByName", {"TBS"}) == "true";
    if (stopped)
        expected.Step("StartServiceByName", {"tcsd_win32.exe"});
    return restarted;
}

// How far an unblocking run gets.
struct Course
{
    bool opensKey = true;
    bool findsTbs = true;
    bool restartsTbs = true;
};

// Expects an unblocking run with this course and result.
SimulatedRun ExpectUnblocking(const winsim::Machine& machine, const Course& course, const std::string& result)
{
    SimulatedRun run = Unblock(machine);
    StepSequence expected{machine};
    EXPECT_EQ(OpenKeyAndDelete(expected), course.opensKey);
    EXPECT_EQ(expected.Step("IsServiceRunning", {"TBS"}), course.findsTbs ? "true" : "false");
    if (course.findsTbs)
    {
        EXPECT_EQ(RestartTbs(expected), course.restartsTbs);
    }
    ExpectRun(run, result, expected);
    return run;
}

TEST(UnblockTpmCommands, SevenCommandsAreTakenOffInOrderAndTheOthersStay)
{
    const SimulatedRun run = ExpectUnblocking(MachineWithKey(kOpenKey), {.findsTbs = false}, "0");
    ExpectLog(run, "0",
              {"log: Vista OS", "log: Successfully changed DACL",
               "log: Ownership taken for Default List of Blocked Commands", "log: Unblocked Command 20",
               "log: Unblocked Command 22", "log: Unblocked Command 125", "log: Unblocked Command 62",
               "log: Unblocked Command 200", "log: Unblocked Command 16", "log: Unblocked Command 13",
               "log: Cannot open service: TBS"});
    EXPECT_EQ(run.After().registry.Find(kKey)->values.size(), 1u);
    EXPECT_NE(run.After().registry.FindValue(kKey, "91"), nullptr);
}

TEST(UnblockTpmCommands, AValueThatIsMissingIsLoggedAllTheSame)
{
    const SimulatedRun run = Unblock(MachineWithKey("{}"));
    EXPECT_EQ(run.result, "0");
    EXPECT_EQ(std::count_if(run.log.begin(), run.log.end(),
                            [](const std::string& line) { return line.starts_with("Unblocked Command "); }),
              7);
}

TEST(UnblockTpmCommands, AValueWhoseKeyCannotBeOpenedIsPassedOverInSilence)
{
    const SimulatedRun run = Unblock(MachineWithKey(kOpenKey), {.faults = {"RegOpenKeyExW#3=5"}});
    EXPECT_EQ(run.result, "0");
    EXPECT_EQ(std::count(run.log.begin(), run.log.end(), "Unblocked Command 125"), 0);
    EXPECT_EQ(std::count(run.log.begin(), run.log.end(), "Unblocked Command 62"), 1);
    EXPECT_NE(run.After().registry.FindValue(kKey, "125"), nullptr);
}

TEST(UnblockTpmCommands, AKeyThatCannotBeOpenedIsAFailureWhenNothingIsRestarted)
{
    ExpectUnblocking(MachineWithKey("null"), {.opensKey = false, .findsTbs = false}, "-1");
}

TEST(UnblockTpmCommands, AStoppedTbsTouchesNoService)
{
    const char* services = R"({"services": {"TBS": {"state": "stopped"}, "tcsd_win32.exe": {"state": "running"},
        "IFXTCS": {"state": "running"}, "tcsd_x86": {"state": "running"}}})";
    for (const bool opensKey : {true, false})
    {
        const winsim::Machine machine = MachineWithKey(opensKey ? kOpenKey : "null", services);
        const SimulatedRun run =
            ExpectUnblocking(machine, {.opensKey = opensKey, .findsTbs = false}, opensKey ? "0" : "-1");
        EXPECT_EQ(run.After().services, machine.services);
    }
}

// ---- Around the restart ----

constexpr char kAllRunning[] = R"({"services": {"TBS": {"state": "running"}, "tcsd_win32.exe": {"state": "running"},
    "IFXTCS": {"state": "running"}, "tcsd_x86": {"state": "running"}}})";

std::uint32_t StateOf(const SimulatedRun& run, const char* service)
{
    const winsim::Service* found = run.After().services.Find(service);
    return found == nullptr ? 0 : found->status.state;
}

TEST(UnblockTpmCommands, TheStacksAreStoppedAroundTheRestartAndOnlyNtrusIsStartedAgain)
{
    const SimulatedRun run = ExpectUnblocking(MachineWithKey(kOpenKey, kAllRunning), {}, "0");
    EXPECT_EQ(StateOf(run, "TBS"), 4u);
    EXPECT_EQ(StateOf(run, "tcsd_win32.exe"), 4u);
    EXPECT_EQ(StateOf(run, "IFXTCS"), 1u);
    EXPECT_EQ(StateOf(run, "tcsd_x86"), 1u);
}

TEST(UnblockTpmCommands, WithoutNtrusServiceNoneIsStartedAgain)
{
    const SimulatedRun run = ExpectUnblocking(MachineWithKey(kOpenKey, R"({"services": {"TBS": {"state": "running"},
        "IFXTCS": {"state": "running"}, "tcsd_x86": {"state": "running"}}})"),
                                              {}, "0");
    EXPECT_EQ(StateOf(run, "IFXTCS"), 1u);
    EXPECT_EQ(StateOf(run, "tcsd_x86"), 1u);
}

TEST(UnblockTpmCommands, ANtruServiceThatRefusesTheStopIsNotStartedAgain)
{
    for (const char* refusal : {R"({"controlsAccepted": 0})", R"({"onStop": {"error": 1053, "states": []}})"})
    {
        Json services = {{"TBS", {{"state", "running"}}}, {"tcsd_win32.exe", {{"state", "running"}}}};
        services["tcsd_win32.exe"].update(Json::parse(refusal));
        const SimulatedRun run = ExpectUnblocking(Changed(MachineWithKey(kOpenKey), {{"services", services}}), {}, "0");
        EXPECT_EQ(CountOf("StartServiceA", run.script), 1u);
    }
}

TEST(UnblockTpmCommands, ANtruServiceThatWasStoppedBeforeIsStartedToo)
{
    const SimulatedRun run = ExpectUnblocking(MachineWithKey(kOpenKey, R"({"services": {"TBS": {"state": "running"},
        "tcsd_win32.exe": {"state": "stopped"}}})"),
                                              {}, "0");
    EXPECT_EQ(StateOf(run, "tcsd_win32.exe"), 4u);
}

TEST(UnblockTpmCommands, ARestartThatSucceedsOutweighsAKeyThatStayedClosed)
{
    ExpectUnblocking(MachineWithKey("null", kAllRunning), {.opensKey = false}, "0");
}

TEST(UnblockTpmCommands, AFailedRestartIsAResultOfItsOwnAndNtrusServiceIsStartedAllTheSame)
{
    constexpr char kStuck[] = R"({"services": {"TBS": {"state": "running", "onStart": {"error": 1053}},
        "tcsd_win32.exe": {"state": "running"}}})";
    for (const bool opensKey : {true, false})
    {
        const SimulatedRun run = ExpectUnblocking(MachineWithKey(opensKey ? kOpenKey : "null", kStuck),
                                                  {.opensKey = opensKey, .restartsTbs = false}, "-2");
        EXPECT_EQ(StateOf(run, "tcsd_win32.exe"), 4u);
    }
}

TEST(UnblockTpmCommands, ATbsThatIsOnItsWayCountsAsRunning)
{
    EXPECT_EQ(Unblock(MachineWithKey(kOpenKey, R"({"services": {"TBS": {"state": "startPending", "states": [
            {"afterMs": 500, "state": "running"}]}}})"))
                  .outcome.callCounts.contains("ControlService"),
              true);
}

} // namespace
