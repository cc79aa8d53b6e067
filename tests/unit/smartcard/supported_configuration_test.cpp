// Proves on which systems the smart-card steps may run, and what is logged where they may not.
#include "tests/support/simulated_run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kXpLine[] = "This is a XP system!";
constexpr char kWow64Line[] = "IsSupportedConfiguration - This is a x86 process running on x64 system don't execute!";
constexpr char kIsWow64[] = R"(IsWow64Process("process#current") = )";
constexpr char kCurrentProcess[] = R"(GetCurrentProcess() = "process#current")";

winsim::Machine Windows(const std::string& version, const std::string& wow64 = "false")
{
    return MachineOf(R"({"windows": {"version": ")" + version + R"(", "wow64": )" + wow64 + "}}");
}

SimulatedRun IsSupported(const winsim::Machine& machine, const char* allowWow64,
                         const SimulatedRunOptions& options = {})
{
    return CallFunction(machine, "IsSupportedConfiguration", {allowWow64}, options);
}

TEST(IsVistaOrLater, FailsOnXpAndServer2003WithALine)
{
    for (const char* version : {"5.1", "5.2"})
    {
        const SimulatedRun run = CallFunction(Windows(version), "IsVistaOrLater");
        EXPECT_EQ(run.result, "false");
        EXPECT_THAT(run.log, ElementsAre(kXpLine));
        EXPECT_EQ(CallFunction(Windows(version), "GetWindowsMajorVersion").result, "5");
    }
}

TEST(IsVistaOrLater, PassesFromVistaOnWithoutALine)
{
    for (const char* version : {"6.0", "6.1", "6.2", "6.3", "10.0"})
    {
        const SimulatedRun run = CallFunction(Windows(version), "IsVistaOrLater");
        EXPECT_EQ(run.result, "true");
        EXPECT_THAT(run.log, IsEmpty());
    }
}

TEST(IsWOW64Process, IsFalseInA64BitProcess)
{
    const SimulatedRun run = CallFunction(Windows("10.0"), "IsWOW64Process");
    EXPECT_EQ(run.result, "false");
    EXPECT_THAT(run.script, ElementsAre(kCurrentProcess, kIsWow64 + std::string("1 Wow64Process:0")));
}

TEST(IsWOW64Process, IsTrueInA32BitProcessOn64BitWindows)
{
    const SimulatedRun run = CallFunction(Windows("10.0", "true"), "IsWOW64Process");
    EXPECT_EQ(run.result, "true");
    EXPECT_THAT(run.script, ElementsAre(kCurrentProcess, kIsWow64 + std::string("1 Wow64Process:1")));
}

TEST(IsWOW64Process, ACallThatFailsIsLoggedAndAnsweredWithNo)
{
    for (const char* error : {"5", "6", "87"})
    {
        const SimulatedRun run = CallFunction(Windows("10.0", "true"), "IsWOW64Process", {},
                                              {.faults = {std::string("IsWow64Process=") + error}});
        EXPECT_EQ(run.result, "false");
        EXPECT_THAT(run.log,
                    ElementsAre(std::string("IsWOW64Process - failed to detect process on host os type: ") + error));
        EXPECT_THAT(run.script, ElementsAre(kCurrentProcess, kIsWow64 + std::string("0"), "log: " + run.log.front()));
    }
}

TEST(IsSupportedConfiguration, A64BitProcessOnVistaOrLaterIsSupported)
{
    for (const char* version : {"6.0", "6.1", "6.2", "6.3", "10.0"})
    {
        for (const char* allowWow64 : {"false", "true"})
        {
            const SimulatedRun run = IsSupported(Windows(version), allowWow64);
            EXPECT_EQ(run.result, "true") << version << allowWow64;
            EXPECT_THAT(run.log, IsEmpty());
        }
    }
}

TEST(IsSupportedConfiguration, XpIsNotSupported)
{
    for (const char* version : {"5.1", "5.2"})
    {
        for (const char* allowWow64 : {"false", "true"})
        {
            const SimulatedRun run = IsSupported(Windows(version), allowWow64);
            EXPECT_EQ(run.result, "false") << version << allowWow64;
            EXPECT_THAT(run.log, ElementsAre(kXpLine));
        }
    }
}

TEST(IsSupportedConfiguration, A32BitProcessOn64BitWindowsIsNotSupported)
{
    for (const char* version : {"5.2", "10.0"})
    {
        const SimulatedRun run = IsSupported(Windows(version, "true"), "false");
        EXPECT_EQ(run.result, "false");
        EXPECT_THAT(run.log, ElementsAre(kWow64Line));
        // The version is not asked for any more.
        EXPECT_THAT(run.script, ElementsAre(kCurrentProcess, kIsWow64 + std::string("1 Wow64Process:1"),
                                            "log: " + std::string(kWow64Line)));
    }
}

TEST(IsSupportedConfiguration, A32BitProcessIsNotAskedForWhenItIsAllowed)
{
    const SimulatedRun run = IsSupported(Windows("10.0", "true"), "true");
    EXPECT_EQ(run.result, "true");
    EXPECT_THAT(run.log, IsEmpty());
    EXPECT_EQ(run.outcome.callCounts.count("IsWow64Process"), 0u);
}

TEST(IsSupportedConfiguration, AnUnknownKindOfProcessIsTakenForA64BitOne)
{
    const SimulatedRun run = IsSupported(Windows("10.0", "true"), "false", {.faults = {"IsWow64Process=5"}});
    EXPECT_EQ(run.result, "true");
    EXPECT_THAT(run.log, ElementsAre("IsWOW64Process - failed to detect process on host os type: 5"));
}

} // namespace
