// Proves how failures are requested, and what a call with the failure "nothing" returns.
#include "tests/support/simulated_run.h"
#include "winsim/machine/fault_table.h"
#include "winsim/process/gate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace
{

using winsim::Fault;
using winsim::ParseFault;

TEST(ParseFault, ReadsCallOccurrenceAndError)
{
    const Fault fault = ParseFault("RegOpenKeyExA#3=0x5");
    EXPECT_EQ(fault.call, "RegOpenKeyExA");
    EXPECT_EQ(fault.occurrence, 3);
    EXPECT_EQ(fault.error, 5);
    EXPECT_FALSE(fault.givesNothing);
}

TEST(ParseFault, ReadsNamesOfTheKindThatTheCallFailsWith)
{
    EXPECT_EQ(ParseFault("RegOpenKeyExA=ERROR_ACCESS_DENIED").error, 5);
    EXPECT_EQ(ParseFault("CoCreateInstance=E_FAIL").error, 0x80004005);
    EXPECT_EQ(ParseFault("IWbemServices::ExecMethod#2=WBEM_E_ACCESS_DENIED").error, 0x80041003);
    EXPECT_EQ(ParseFault("SHGetFolderPathA=E_INVALIDARG").error, 0x80070057);
    EXPECT_EQ(ParseFault("BCryptRegisterProvider=STATUS_ACCESS_DENIED").error, 0xC0000022);
    EXPECT_EQ(ParseFault("SCardListReadersW=SCARD_E_NO_READERS_AVAILABLE").error, 0x8010002E);
    for (const char* text : {"RegOpenKeyExA=E_FAIL", "CoCreateInstance=ERROR_ACCESS_DENIED", "RegOpenKeyExA=ERROR_NONE",
                             "BCryptRegisterProvider=SCARD_E_NO_SERVICE", "SCardListReadersW=STATUS_ACCESS_DENIED"})
        EXPECT_THROW(ParseFault(text), std::invalid_argument) << text;
}

TEST(ParseFault, ReadsASuccessWithNothing)
{
    const Fault fault = ParseFault("EnumProcesses#1=nothing");
    EXPECT_EQ(fault.call, "EnumProcesses");
    EXPECT_TRUE(fault.givesNothing);
}

TEST(ParseFault, ReadsAFault)
{
    const Fault fault = ParseFault("CopyFileA#2=fault");
    EXPECT_EQ(fault.call, "CopyFileA");
    EXPECT_TRUE(fault.faults);
}

TEST(ParseFault, RefusesWhatIsNoFault)
{
    for (const char* text : {"", "=5", "CreateFileW", "CreateFileW=", "CreateFileW=five", "CreateFileW#0=5",
                             "CreateFileW#x=5", "CreateFileW=4294967296"})
        EXPECT_THROW(ParseFault(text), std::invalid_argument) << text;
}

TEST(ParseFault, ReadsItsOwnText)
{
    for (const char* text : {"CreateFileW#2=5", "CreateFileW=0", "CoCreateInstance=0x80040154",
                             "EnumProcesses#7=nothing", "CopyFileA#1=fault"})
        EXPECT_EQ(TextOf(ParseFault(text)), text);
}

// Every failure that the sweep tries can also be requested by name, because both use the same table.
TEST(FaultPlan, FailuresOfTheTableCanBeAskedFor)
{
    for (const std::string& call : winsim::FallibleCalls())
    {
        for (const Fault& fault : winsim::FailuresOf(call, 1))
            EXPECT_EQ(ComplaintAbout(ParseFault(TextOf(fault))), "") << TextOf(fault);
    }
    EXPECT_EQ(ComplaintAbout(ParseFault("stkprobe.dll!DetectTSS=0")), "");
}

TEST(FaultPlan, CountsTheCallsThatAFaultHad)
{
    const SimulatedRun run = RunProgram(MachineOf("{}"), {"/Commit"},
                                        {.faults = {"RegCreateKeyExA=5", "RegCreateKeyExA#1=6", "RegSetValueExA#1=5"}});
    EXPECT_THAT(run.outcome.faultsReached, testing::ElementsAre(2, 0, 0));
}

// The run's own failures come first: the first one that fits a call decides.
TEST(FaultPlan, MachineAddsItsFailuresToThoseOfTheRun)
{
    const winsim::Machine machine =
        MachineOf(R"({"faults": ["RegCreateKeyExA=ERROR_ACCESS_DENIED", "RegSetValueExA=6"]})");
    const SimulatedRun run = RunProgram(machine, {"/Commit"}, {.faults = {"RegCreateKeyExA#1=8"}});
    std::vector<std::string> faults;
    for (const Fault& fault : run.outcome.faults)
        faults.push_back(TextOf(fault));
    EXPECT_THAT(faults, testing::ElementsAre("RegCreateKeyExA#1=8", "RegCreateKeyExA=5", "RegSetValueExA=6"));
    EXPECT_THAT(run.outcome.faultsReached, testing::ElementsAre(1, 1, 0));
    EXPECT_EQ(run.After().faults, machine.faults);
}

// An empty list of processes is a success: no process is ended, and the line is the one for a process that does not
// exist.
TEST(FaultPlan, EmptyListOfProcessesHidesThemAll)
{
    const winsim::Machine machine = MachineOf(R"({"processes": [{"name": "PatchAgent.exe"}]})");
    const SimulatedRun run =
        CallFunction(machine, "KillProcessByName", {"PatchAgent.exe"}, {.faults = {"EnumProcesses#1=nothing"}});
    EXPECT_THAT(run.log, testing::ElementsAre("Try to kill process: PatchAgent.exe",
                                              "Cannot find this process: PatchAgent.exe"));
    EXPECT_EQ(run.After().processes, machine.processes);
}

} // namespace
