// Proves which owners make a directory trusted.
#include "tests/support/simulated_run.h"

#include <gtest/gtest.h>

namespace
{

constexpr char kUser[] = "S-1-5-21-1-2-3-500";

SimulatedRun Check(const std::string& owner, const SimulatedRunOptions& options = {})
{
    winsim::Json machine;
    machine["token"]["user"] = kUser;
    machine["files"]["C:\\Folder"] = {{"directory", true}, {"owner", owner}};
    return CallFunction(winsim::Machine::FromJson(machine), "CheckOwner", {"C:\\Folder"}, options);
}

std::string OwnerErrorOf(const std::string& owner, const SimulatedRunOptions& options = {})
{
    return Check(owner, options).result;
}

TEST(CheckOwner, AdministratorsTheSystemAndItsServicesAreTrusted)
{
    for (const char* owner :
         {"S-1-5-32-544", "S-1-5-18", "S-1-5-19", "S-1-5-20",
          "S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464"}) // Windows' own installer
        EXPECT_EQ(OwnerErrorOf(owner), "0") << owner;
}

TEST(CheckOwner, TheUserOfTheProcessIsTrusted)
{
    const SimulatedRun run = Check(kUser);
    EXPECT_EQ(run.result, "0");
    // The token is opened to be read, and for nothing else; the buffer holds a record and the longest SID.
    for (const winsim::CallRecord& call : run.outcome.calls)
    {
        if (call.name == "OpenProcessToken")
        {
            EXPECT_EQ(call.in["DesiredAccess"], 8);
        }
        else if (call.name == "GetTokenInformation")
        {
            EXPECT_EQ(call.in["TokenInformationLength"], 16 + 68);
        }
    }
}

TEST(CheckOwner, NobodyElseIs)
{
    for (const char* owner :
         {"S-1-5-21-1-2-3-1001", "S-1-5-32-545", "S-1-5-11", "S-1-1-0", "S-1-3-0", "S-1-12-1-5-6-7-8", "S-1-5-32",
          "S-1-5", "S-1-5-32-544-1", "S-1-2-18", "S-1-1099511627781-18"})
        EXPECT_EQ(OwnerErrorOf(owner), "1307") << owner;
}

TEST(CheckOwner, AUserWhoCannotBeToldIsNobody)
{
    EXPECT_EQ(OwnerErrorOf(kUser, {.faults = {"OpenProcessToken=5"}}), "1307");
    EXPECT_EQ(OwnerErrorOf(kUser, {.faults = {"GetTokenInformation=122"}}), "1307");
}

TEST(CheckOwner, AnOwnerThatCannotBeReadIsTheError)
{
    EXPECT_EQ(OwnerErrorOf("S-1-5-18", {.faults = {"GetSecurityInfo=5"}}), "5");
}

TEST(IsTrustedOwner, NoOwnerIsNone)
{
    EXPECT_EQ(CallFunction(winsim::Machine::FromJson(winsim::Json::object()), "IsNobodyTrusted").result, "false");
}

} // namespace
