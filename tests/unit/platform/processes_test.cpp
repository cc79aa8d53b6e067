// Proves how a process is found by the name of its program file, and ended.
#include "tests/support/run_tests.h"
#include "tests/support/simulated_run.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace
{

using winsim::Json;

constexpr char kImage[] = "PatchAgent.exe";

// The program's own process, which is always listed last.
constexpr unsigned kOwnProcess = 4300;
constexpr char kOwnImage[] = "KeloCustomAction.exe";

winsim::Machine MachineRunning(const Json& processes)
{
    return winsim::Machine::FromJson({{"processes", processes}});
}

winsim::Machine MachineRunning(const char* processes)
{
    return MachineRunning(Json::parse(processes));
}

SimulatedRun Kill(const winsim::Machine& machine, const SimulatedRunOptions& options = {})
{
    return CallFunction(machine, "KillProcessByName", {kImage}, options);
}

SimulatedRun Find(const winsim::Machine& machine, const std::string& name = kImage,
                  const SimulatedRunOptions& options = {})
{
    return CallFunction(machine, "FindProcessByName", {name}, options);
}

// The listed processes, followed by the program's own.
std::string Listed(std::vector<unsigned> ids)
{
    ids.push_back(kOwnProcess);
    return Call("EnumProcesses", {4096}, 1, {{"lpidProcess", ids}, {"lpcbNeeded", ids.size() * 4}});
}

std::string NotOpened(unsigned id)
{
    return Call("OpenProcess", {1041, 0, id});
}

const std::string kClosed = Call("CloseHandle", {"process#1"}, 1);
const std::string kEnded = Call("TerminateProcess", {"process#1", 4294967295}, 1);

// The calls that inspect one process.
Script LookedAt(unsigned id, const std::string& name)
{
    return {Call("OpenProcess", {1041, 0, id}, "process#1"),
            Call("EnumProcessModules", {"process#1", 8}, 1, {{"lphModule", "module#foreign"}, {"lpcbNeeded", 8}}),
            Call("GetModuleBaseNameA", {"process#1", "module#foreign", 260}, name.size(), {{"lpBaseName", name}})};
}

// The calls that inspect the program's own process.
Script LookedAtItself()
{
    return {LookedAt(kOwnProcess, kOwnImage), kClosed};
}

constexpr char kTried[] = "log: Try to kill process: PatchAgent.exe";
constexpr char kFound[] = "log:   found process: <PatchAgent.exe>";
constexpr char kKilled[] = "log: Killed process: PatchAgent.exe";
constexpr char kNotFound[] = "log: Cannot find this process: PatchAgent.exe";

// The running processes except the program's own.
std::vector<unsigned> IdsOf(const winsim::Machine& machine)
{
    std::vector<unsigned> ids;
    for (const auto& process : machine.processes.All())
    {
        if (process.id != kOwnProcess)
            ids.push_back(process.id);
    }
    return ids;
}

TEST(KillProcessByName, EndsTheProcessAndDoesNotWaitForItsEnd)
{
    const SimulatedRun run = Kill(MachineRunning(R"([{"id": 8, "name": "a.exe"}, {"id": 12, "name": "PatchAgent.exe"},
                                                     {"id": 16, "name": "b.exe"}])"));
    ExpectRun(run, "true",
              {kTried, Listed({8, 12, 16}), LookedAt(8, "a.exe"), kClosed, LookedAt(12, "PatchAgent.exe"), kFound,
               kEnded, kClosed, kKilled});
    EXPECT_EQ(IdsOf(run.After()), (std::vector<unsigned>{8, 16}));
    EXPECT_EQ(run.outcome.clockMs, 0u);
}

TEST(KillProcessByName, NameIsComparedWithoutRegardToCase)
{
    ExpectRun(CallFunction(MachineRunning(R"([{"id": 8, "name": "PatchAgent.exe"}])"), "KillProcessByName",
                           {"PATCHAGENT.EXE"}),
              "true",
              {"log: Try to kill process: PATCHAGENT.EXE", Listed({8}), LookedAt(8, "PatchAgent.exe"),
               "log:   found process: <PATCHAGENT.EXE>", kEnded, kClosed, "log: Killed process: PATCHAGENT.EXE"});
}

const auto kKills =
    RunTests("KillProcessByName", &Kill)
        .Run("OfTwoWithTheNameOnlyTheFirstListedIsEnded",
             MachineRunning(R"([{"id": 24, "name": "PatchAgent.exe"}, {"id": 8, "name": "PatchAgent.exe"}])"), "true",
             {kTried, Listed({24, 8}), LookedAt(24, "PatchAgent.exe"), kFound, kEnded, kClosed, kKilled},
             [](const SimulatedRun& run) { EXPECT_EQ(IdsOf(run.After()), (std::vector<unsigned>{8})); })
        .Run("SecondOfTheNameIsEndedWhenTheFirstCannotBeOpened",
             MachineRunning(R"([{"id": 8, "name": "PatchAgent.exe", "deniedAccess": 1},
                     {"id": 12, "name": "PatchAgent.exe"}])"),
             "true",
             {kTried, Listed({8, 12}), NotOpened(8), LookedAt(12, "PatchAgent.exe"), kFound, kEnded, kClosed, kKilled})
        .Run("RefusedEndIsLoggedWithItsError",
             MachineRunning(R"([{"id": 8, "name": "PatchAgent.exe", "terminateError": 5}])"), "false",
             {kTried, Listed({8}), LookedAt(8, "PatchAgent.exe"), kFound, Failing(kEnded, 0), kClosed,
              "log: Unable to kill process: PatchAgent.exe", "log: error: 5"},
             [](const SimulatedRun& run) { EXPECT_EQ(IdsOf(run.After()), (std::vector<unsigned>{8})); })
        .Run("TheErrorIsReadAfterTheHandleIsClosed",
             MachineRunning(R"([{"id": 8, "name": "PatchAgent.exe", "terminateError": 5}])"),
             {.faults = {"CloseHandle=1816"}}, "false",
             {kTried, Listed({8}), LookedAt(8, "PatchAgent.exe"), kFound, Failing(kEnded, 0), Failing(kClosed, 0),
              "log: Unable to kill process: PatchAgent.exe", "log: error: 1816"})
        .Run("ListThatCannotBeHadIsAProcessNotFound", MachineRunning(R"([{"id": 8, "name": "PatchAgent.exe"}])"),
             {.faults = {"EnumProcesses=5"}}, "false", {kTried, Call("EnumProcesses", {4096}, 0), kNotFound})
        .Run("ProcessWithoutModulesIsPassedOver",
             MachineRunning(R"([{"id": 8}, {"id": 12, "name": "PatchAgent.exe"}])"), "true",
             {kTried, Listed({8, 12}), Call("OpenProcess", {1041, 0, 8}, "process#1"),
              Call("EnumProcessModules", {"process#1", 8}, 0), kClosed, LookedAt(12, "PatchAgent.exe"), kFound, kEnded,
              kClosed, kKilled});

TEST(KillProcessByName, ProcessThatCannotBeOpenedIsNotFound)
{
    // The program requests each of these three rights.
    for (const unsigned denied : {0x1u, 0x10u, 0x400u})
    {
        const SimulatedRun run =
            Kill(MachineRunning(Json{{{"id", 8}, {"name", "PatchAgent.exe"}, {"deniedAccess", denied}}}));
        ExpectRun(run, "false", {kTried, Listed({8}), NotOpened(8), LookedAtItself(), kNotFound});
        EXPECT_EQ(IdsOf(run.After()), (std::vector<unsigned>{8}));
    }
}

TEST(KillProcessByName, NameIsNoFormat)
{
    ExpectRun(CallFunction(MachineRunning(R"([{"id": 8, "name": "%s%n.exe"}])"), "KillProcessByName", {"%s%n.exe"}),
              "true",
              {"log: Try to kill process: %s%n.exe", Listed({8}), LookedAt(8, "%s%n.exe"),
               "log:   found process: <%s%n.exe>", kEnded, kClosed, "log: Killed process: %s%n.exe"});
}

TEST(FindProcessByName, GivesAnOpenHandleAndOneLine)
{
    ExpectRun(Find(MachineRunning(R"([{"id": 8, "name": "PatchAgent.exe"}])")), "true",
              {Listed({8}), LookedAt(8, "PatchAgent.exe"), kFound, kClosed});
}

TEST(FindProcessByName, NoMatchIsANullHandleWithoutALine)
{
    for (const char* other : {"PatchAgent", "PatchAgent.exe.exe", "xPatchAgent.exe", "Patch Agent.exe"})
        ExpectRun(Find(MachineRunning(Json{{{"id", 8}, {"name", other}}})), "false",
                  {Listed({8}), LookedAt(8, other), kClosed, LookedAtItself()});
}

TEST(FindProcessByName, NameThatCannotBeHadMatchesNothing)
{
    ExpectRun(Find(MachineRunning(R"([{"id": 8, "name": "PatchAgent.exe"}])"), kImage,
                   {.faults = {"GetModuleBaseNameA#1=6"}}),
              "false",
              {Listed({8}), Call("OpenProcess", {1041, 0, 8}, "process#1"),
               Call("EnumProcessModules", {"process#1", 8}, 1, {{"lphModule", "module#foreign"}, {"lpcbNeeded", 8}}),
               Call("GetModuleBaseNameA", {"process#1", "module#foreign", 260}, 0), kClosed, LookedAtItself()});
}

TEST(FindProcessByName, NameOf259CharactersIsFoundAndALongerOneIsCut)
{
    const std::string longest = std::string(255, 'x') + ".exe";
    EXPECT_EQ(Find(MachineRunning(Json{{{"id", 8}, {"name", longest}}}), longest).result, "true");
    const std::string tooLong = "x" + longest;
    EXPECT_EQ(Find(MachineRunning(Json{{{"id", 8}, {"name", tooLong}}}), tooLong).result, "false");
    EXPECT_EQ(Find(MachineRunning(Json{{{"id", 8}, {"name", tooLong}}}), tooLong.substr(0, 259)).result, "true");
}

TEST(FindProcessByName, ProcessAfterThe1024thIsNotLookedAt)
{
    const auto machineWith = [](unsigned others) {
        return MachineRunning(
            Json{{{"id", 8}, {"name", "other.exe"}, {"count", others}}, {{"id", 80000}, {"name", kImage}}});
    };
    const SimulatedRun last = Find(machineWith(1023));
    ExpectLog(last, "true", kFound);
    EXPECT_EQ(CountOf("OpenProcess", last.script), 1024u);

    const SimulatedRun beyond = Find(machineWith(1024));
    ExpectLog(beyond, "false", {});
    EXPECT_EQ(CountOf("OpenProcess", beyond.script), 1024u);
    EXPECT_EQ(CountOf("EnumProcesses", beyond.script), 1u);
}

TEST(FindProcessByName, LettersAreThoseOfTheCodePage)
{
    // In code page 932, the second bytes of these two letters are A and a. In a page such as 1252, only letters of
    // ASCII have two cases.
    Json description = {{"windows", {{"codePage", 932}}}, {"processes", {{{"id", 8}, {"name", "ア.exe"}}}}};
    const winsim::Machine japanese = winsim::Machine::FromJson(description);
    ExpectLog(Find(japanese, "\x83\x61.exe"), "false", {});
    ExpectLog(Find(japanese, "\x83\x41.EXE"), "true", "log:   found process: <ア.EXE>");

    description = {{"processes", {{{"id", 8}, {"name", "Ärger.exe"}}}}};
    const winsim::Machine german = winsim::Machine::FromJson(description);
    ExpectLog(Find(german, "\xE4rger.exe"), "false", {});
    ExpectLog(Find(german, "\xC4RGER.EXE"), "true", "log:   found process: <ÄRGER.EXE>");
}

} // namespace
