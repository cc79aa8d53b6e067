// Proves that kelo-rehearse calls the export, reports how it ended, and keeps passwords out of all its output.
#include "tests/unit/rehearse/kelo_rehearse.h"
#include "tests/unit/tpm/install_session.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

using winsim::Json;

constexpr char kPassword[] = "Tr0ub4dor&3 is secret";

Json MachineWithPassword()
{
    Json machine = DescriptionOf(
        {.data = std::string("/INFO=i /PASSWORD=") + kPassword + " /CAPTION=c", .verifyCode = -5, .changeCode = -8});
    // A described run may be identified by the password, too.
    Json& runs = machine["programs"][kToolPath]["runs"];
    runs.insert(runs.begin() + 1, Json{{"arguments", std::string("/P:\"") + kPassword + "\" /Y"}, {"exitCode", 0}});
    return machine;
}

TEST_F(KeloRehearse, CallsTheExportAndTellsItsResult)
{
    const Rehearsal text = Run(DescriptionOf({.verifyCode = -6}), "--export SRK_Auth_Change");
    EXPECT_EQ(text.exitStatus, 0);
    EXPECT_THAT(text.output, StartsWith("Run: SRK_Auth_Change\n"));
    EXPECT_THAT(text.output, HasSubstr("  TPM Not Activated\n"));
    EXPECT_THAT(text.output, HasSubstr("\n  Result         exit code 0, "));
}

TEST_F(KeloRehearse, AnExportThatFailsIsExitStatus1WhateverItsResult)
{
    const Json machine = DescriptionOf({.data = {{"error", 6}}});
    const Rehearsal text = Run(machine, "--export SRK_Auth_Change");
    EXPECT_EQ(text.exitStatus, 1);
    EXPECT_THAT(text.output, HasSubstr("\n  Result         exit code 10001\n"));
    const Rehearsal json = Run(machine, "--json --export SRK_Auth_Change");
    EXPECT_EQ(json.exitStatus, 1);
    EXPECT_EQ(Json::parse(json.output)["exitCode"], 10001);
}

TEST_F(KeloRehearse, AnythingButTheExportIsAUsageError)
{
    for (const char* options : {"--export WinMain", "--export srk_auth_change", "--export \"\""})
        EXPECT_EQ(Run(DescriptionOf({}), options).exitStatus, 2) << options;
    EXPECT_EQ(
        Run(DescriptionOf({}), "--export SRK_Auth_Change --trace " + Path("machine.json") + " -- /Setup").exitStatus,
        2);
}

TEST_F(KeloRehearse, NoPasswordIsPrintedOrWritten)
{
    for (const char* kind : {"", "--verbose", "--trace", "--trace=all --verbose", "--json"})
    {
        const Rehearsal run =
            Run(MachineWithPassword(), std::string(kind) + " --export SRK_Auth_Change --save " + Path("after.json"));
        EXPECT_EQ(run.exitStatus, 0) << run.output;
        EXPECT_THAT(run.output, Not(HasSubstr("Tr0ub4dor"))) << kind;
        EXPECT_THAT(run.output, HasSubstr("User Cancelled"));
        EXPECT_THAT(Content("after.json"), Not(HasSubstr("Tr0ub4dor")));
        EXPECT_THAT(Content("after.json"), HasSubstr("/INFO=i /PASSWORD=*** /CAPTION=c"));
    }
    EXPECT_THAT(Run(MachineWithPassword(), "--trace --export SRK_Auth_Change").output,
                HasSubstr(R"(/P:\"***\" /T:\"NTRU\")"));
}

TEST_F(KeloRehearse, ASavedMachineCanBeRehearsedAgain)
{
    Run(MachineWithPassword(), "--export SRK_Auth_Change --save " + Path("after.json"));
    const Rehearsal again = Run(Json::parse(Content("after.json")), "--export SRK_Auth_Change");
    EXPECT_EQ(again.exitStatus, 0);
    EXPECT_THAT(again.output, HasSubstr("User Cancelled"));
}

TEST_F(KeloRehearse, ABadPropertyIsNamedByItsPath)
{
    for (const auto& [data, complaint] : std::vector<std::pair<const char*, const char*>>{
             {"1", "CustomActionData: not an object"},
             {"[]", "CustomActionData: an empty list"},
             {"{}", "CustomActionData: no error"},
             {R"(["a", {"error": "x"}])", "CustomActionData[1].error: not an error such as ERROR_ACCESS_DENIED"},
             {R"({"error": 234, "length": 3})", "CustomActionData.length: unknown key"}})
    {
        const Rehearsal run = Run(DescriptionOf({.data = Json::parse(data)}), "--export SRK_Auth_Change");
        EXPECT_EQ(run.exitStatus, 2);
        EXPECT_EQ(run.output, "kelo-rehearse: " + Path("machine.json") + ": installer.properties." + complaint + "\n");
    }
}

} // namespace
