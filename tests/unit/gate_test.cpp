// Proves how failures are asked for, and what a call that is to give nothing gives.
#include "tests/support/simulated_run.h"
#include "winsim/core/gate.h"

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
    for (const char* text : {"CreateFileW#2=5", "CreateFileW=0", "EnumProcesses#7=nothing", "CopyFileA#1=fault"})
        EXPECT_EQ(TextOf(ParseFault(text)), text);
}

// A list of no processes is a success: nobody is ended, and the line is the one of a process that is not there.
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
