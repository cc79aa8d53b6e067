// Proves what the program reports about the version of Windows.
#include "tests/support/run_tests.h"
#include "tests/support/windows_script.h"

#include <gtest/gtest.h>

namespace
{

winsim::Machine Windows(const std::string& version, const std::string& more = "")
{
    return MachineOf(R"({"windows": {"version": ")" + version + "\"" + more + "}}");
}

std::string AtLeast(const winsim::Machine& machine, const char* major, const char* minor)
{
    const SimulatedRun run = CallFunction(machine, "IsWindowsVersionAtLeast", {major, minor});
    ExpectLog(run, run.result, {});
    return run.result;
}

TEST(IsWindowsVersionAtLeast, ComparesMajorAndMinorTogether)
{
    const std::tuple<const char*, const char*, const char*, const char*> versions[] = {
        {"5.1", "false", "false", "false"}, {"5.2", "true", "false", "false"}, {"6.0", "true", "true", "false"},
        {"6.1", "true", "true", "false"},   {"6.2", "true", "true", "true"},   {"6.3", "true", "true", "true"},
        {"10.0", "true", "true", "true"},
    };
    for (const auto& [version, isServer2003, isVista, isWindows8] : versions)
    {
        EXPECT_EQ(AtLeast(Windows(version), "5", "2"), isServer2003) << version;
        EXPECT_EQ(AtLeast(Windows(version), "6", "0"), isVista) << version;
        EXPECT_EQ(AtLeast(Windows(version), "6", "2"), isWindows8) << version;
    }
}

TEST(IsWindowsVersionAtLeast, ServicePacksTakeNoPart)
{
    for (const char* servicePack : {R"(, "servicePack": 0)", R"(, "servicePack": 1)", R"(, "servicePack": 3)"})
    {
        EXPECT_EQ(AtLeast(Windows("6.0", servicePack), "6", "0"), "true");
        EXPECT_EQ(AtLeast(Windows("6.1", servicePack), "6", "2"), "false");
        EXPECT_EQ(AtLeast(Windows("5.2", servicePack), "6", "0"), "false");
        EXPECT_EQ(AtLeast(Windows("6.3", servicePack), "6", "2"), "true");
    }
}

// The conditions are "greater or equal" (3) for each of three types; only two types (3) are tested.
TEST(IsWindowsVersionAtLeast, TestsMajorAndMinorAlone)
{
    ExpectRun(CallFunction(Windows("6.1"), "IsWindowsVersionAtLeast", {"6", "2"}), "false", AskForVersion(6, 2, false));
}

TEST(IsWindowsVersionAtLeast, ACallThatFailsIsNo)
{
    ExpectLog(
        CallFunction(Windows("10.0"), "IsWindowsVersionAtLeast", {"6", "0"}, {.faults = {"VerifyVersionInfoW=1150"}}),
        "false", {});
}

TEST(GetWindowsMajorVersion, IsTheMajorNumber)
{
    const std::pair<const char*, const char*> versions[] = {{"5.1", "5"}, {"5.2", "5"}, {"6.0", "6"},  {"6.1", "6"},
                                                            {"6.2", "6"}, {"6.3", "6"}, {"10.0", "10"}};
    for (const auto& [version, major] : versions)
        ExpectLog(CallFunction(Windows(version), "GetWindowsMajorVersion"), major, {});
}

SimulatedRun Ask(const winsim::Machine& machine, const SimulatedRunOptions& options = {})
{
    return CallFunction(machine, "GetWindowsMajorVersion", {}, options);
}

// The query with the extended record of 156 bytes, or with the plain one.
std::string AskForRecord(unsigned size)
{
    return Call("GetVersionExA", {size}, 1,
                {{"lpVersionInformation",
                  {{"dwMajorVersion", 6}, {"dwMinorVersion", 1}, {"dwBuildNumber", 7601}, {"dwPlatformId", 2}}}});
}

const auto kQueries =
    RunTests("GetWindowsMajorVersion", &Ask)
        .Run("AsksWithTheExtendedRecord", Windows("6.1", R"(, "build": 7601)"), "6", AskForRecord(156))
        .Run("AsksOnceMoreWithThePlainRecord", Windows("6.1", R"(, "build": 7601)"),
             {.faults = {"GetVersionExA#1=122"}}, "6", {Failing(AskForRecord(156), 0), AskForRecord(148)})
        .Run("IsZeroWhenBothCallsFail", Windows("6.1"), {.faults = {"GetVersionExA=122"}}, "0",
             {Failing(AskForRecord(156), 0), Failing(AskForRecord(148), 0)});

TEST(GetWindowsMajorVersion, IsZeroOnAnotherFamilyOfWindows)
{
    for (const char* platform : {R"(, "platform": 0)", R"(, "platform": 1)", R"(, "platform": 3)"})
        EXPECT_EQ(CallFunction(Windows("4.10", platform), "GetWindowsMajorVersion").result, "0") << platform;
}

TEST(GetWindowsMajorVersion, ServicePacksTakeNoPart)
{
    EXPECT_EQ(CallFunction(Windows("5.1", R"(, "servicePack": 3)"), "GetWindowsMajorVersion").result, "5");
}

} // namespace
