// Proves what the program finds out about the Windows it runs on, and what it logs about it.
#include "tests/support/simulated_run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

winsim::Machine WindowsVersion(const char* version)
{
    return MachineOf(std::string(R"({"windows": {"version": ")") + version + R"("}})");
}

constexpr char kWow64[] = R"({"windows": {"wow64": true}})";

TEST(IsVistaOrLater, FailsOnXpAndServer2003WithALine)
{
    for (const char* version : {"5.1", "5.2"})
    {
        const SimulatedRun run = CallFunction(WindowsVersion(version), "IsVistaOrLater");
        EXPECT_EQ(run.result, "false");
        EXPECT_THAT(run.log, ElementsAre("This is a XP system!"));
        EXPECT_EQ(CallFunction(WindowsVersion(version), "GetWindowsMajorVersion").result, "5");
    }
}

TEST(IsVistaOrLater, PassesFromVistaOnWithoutALine)
{
    for (const char* version : {"6.0", "6.1", "6.2", "6.3", "10.0"})
    {
        const SimulatedRun run = CallFunction(WindowsVersion(version), "IsVistaOrLater");
        EXPECT_EQ(run.result, "true");
        EXPECT_THAT(run.log, IsEmpty());
    }
}

} // namespace
