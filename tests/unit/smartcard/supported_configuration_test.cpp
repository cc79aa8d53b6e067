// Proves on which systems the smart-card steps may run, and what is logged on the others.
#include "tests/support/windows_script.h"

#include <gtest/gtest.h>

namespace
{

constexpr char kXpLine[] = "log: This is a XP system!";
constexpr char kWow64Line[] =
    "log: IsSupportedConfiguration - This is a x86 process running on x64 system don't execute!";

winsim::Machine Windows(const std::string& version, bool wow64 = false)
{
    return winsim::Machine::FromJson({{"windows", {{"version", version}, {"wow64", wow64}}}});
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
        ExpectLog(CallFunction(Windows(version), "IsVistaOrLater"), "false", kXpLine);
        EXPECT_EQ(CallFunction(Windows(version), "GetWindowsMajorVersion").result, "5");
    }
}

TEST(IsVistaOrLater, PassesFromVistaOnWithoutALine)
{
    for (const char* version : {"6.0", "6.1", "6.2", "6.3", "10.0"})
        ExpectLog(CallFunction(Windows(version), "IsVistaOrLater"), "true", {});
}

TEST(IsWOW64Process, IsFalseInA64BitProcess)
{
    ExpectRun(CallFunction(Windows("10.0"), "IsWOW64Process"), "false", AskForWow64(false));
}

TEST(IsWOW64Process, IsTrueInA32BitProcessOn64BitWindows)
{
    ExpectRun(CallFunction(Windows("10.0", true), "IsWOW64Process"), "true", AskForWow64(true));
}

TEST(IsWOW64Process, ACallThatFailsIsLoggedAndAnsweredWithNo)
{
    const Script ask = AskForWow64();
    for (const std::string error : {"5", "6", "87"})
        ExpectRun(
            CallFunction(Windows("10.0", true), "IsWOW64Process", {}, {.faults = {"IsWow64Process=" + error}}), "false",
            {ask[0], Failing(ask[1], 0), "log: IsWOW64Process - failed to detect process on host os type: " + error});
}

TEST(IsSupportedConfiguration, A64BitProcessOnVistaOrLaterIsSupported)
{
    for (const char* version : {"6.0", "6.1", "6.2", "6.3", "10.0"})
    {
        for (const char* allowWow64 : {"false", "true"})
            ExpectLog(IsSupported(Windows(version), allowWow64), "true", {});
    }
}

TEST(IsSupportedConfiguration, XpIsNotSupported)
{
    for (const char* version : {"5.1", "5.2"})
    {
        for (const char* allowWow64 : {"false", "true"})
            ExpectLog(IsSupported(Windows(version), allowWow64), "false", kXpLine);
    }
}

TEST(IsSupportedConfiguration, A32BitProcessOn64BitWindowsIsNotSupported)
{
    // The version is no longer asked for.
    for (const char* version : {"5.2", "10.0"})
        ExpectRun(IsSupported(Windows(version, true), "false"), "false", {AskForWow64(true), kWow64Line});
}

TEST(IsSupportedConfiguration, A32BitProcessIsNotAskedForWhenItIsAllowed)
{
    const SimulatedRun run = IsSupported(Windows("10.0", true), "true");
    ExpectLog(run, "true", {});
    EXPECT_EQ(run.outcome.callCounts.count("IsWow64Process"), 0u);
}

TEST(IsSupportedConfiguration, AnUnknownKindOfProcessIsTakenForA64BitOne)
{
    ExpectLog(IsSupported(Windows("10.0", true), "false", {.faults = {"IsWow64Process=5"}}), "true",
              "log: IsWOW64Process - failed to detect process on host os type: 5");
}

} // namespace
