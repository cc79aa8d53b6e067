// Proves that the owner password stays between the installer and the tool: no record, log line, file or freed memory
// contains it.
#include "tests/unit/tpm/install_session.h"

#include "winsim/toolkit/install_log.h"
#include "winsim/toolkit/secrets.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

using winsim::Json;

constexpr char kPassword[] = "Tr0ub4dor&3 is secret";

// The data carries the password in every way that the grammar allows.
const std::vector<std::string> kDataWithPassword{
    std::string("/PASSWORD=") + kPassword,
    std::string("/CAPTION=c /INFO=i /PASSWORD=") + kPassword + " /TSS_VENDOR=KELO",
    std::string("/SILENT /PASSWORD=") + kPassword + " /INFO=i",
    // The caption ends only at a blank followed by a slash, so it includes the password.
    std::string("/CAPTION=c/PASSWORD=") + kPassword + " /INFO=i",
    std::string("/CAPTION=a/P:\"b /PASSWORD=") + kPassword + "\" /INFO=i",
    // The password contains another key, so the end of the password is also that key's value.
    std::string("/PASSWORD=x/CAPTION=") + kPassword + " /INFO=i",
    std::string("/PASSWORD=x/TSS_VENDOR=y/INFO=") + kPassword,
    std::string("/PASSWORD=x/PASSWORD=") + kPassword,
};

// Everything that is left of a run: records, log, events, files, registry. The description itself holds the password.
std::string EverythingOf(const SimulatedRun& run)
{
    std::string everything;
    for (const winsim::CallRecord& record : run.outcome.calls)
        everything += ToJson(record).dump() + "\n";
    for (const winsim::Change& change : Compare(run.before, run.After()))
        everything += ToJson(change).dump() + "\n";
    for (const std::string& line : winsim::LogLines(run.before, run.After()))
        everything += line + "\n";
    Json machine = run.After().ToJson();
    machine.erase("installer");
    return everything + machine.dump() + run.outcome.standardOutput;
}

TEST(OwnerPassword, IsInNothingThatARunLeaves)
{
    for (const std::string& data : kDataWithPassword)
    {
        for (const std::int32_t changeCode : {0, -8, 2, 3})
        {
            const SimulatedRun run = ChangeSrkAuth({.data = data, .verifyCode = -5, .changeCode = changeCode});
            const std::string everything = EverythingOf(run);
            EXPECT_THAT(everything, Not(HasSubstr("Tr0ub4dor"))) << data;
            EXPECT_THAT(everything, HasSubstr("***")) << data;
        }
    }
}

TEST(OwnerPassword, IsInNothingThatAFailingRunLeaves)
{
    const Session session{.data = kDataWithPassword[1], .verifyCode = -5, .changeCode = -8};
    for (const char* fault :
         {"MsiGetPropertyW#2=1627", "SHGetFolderPathW=5", "CreateProcessW#1=5", "CreateProcessW#2=5",
          "WaitForSingleObject=6", "GetExitCodeProcess#1=5", "GetExitCodeProcess#2=5", "CloseHandle=6",
          "RegOpenKeyExA=5", "RegSetValueExA=5", "SHCreateDirectoryExA=5"})
        EXPECT_THAT(EverythingOf(ChangeSrkAuth(session, {.faults = {fault}})), Not(HasSubstr("Tr0ub4dor"))) << fault;
}

// A run that frees memory with the password in it violates the memory rules, and so fails the tests above and all
// others. This test proves that such memory is detected.
TEST(OwnerPassword, InFreedMemoryIsFound)
{
    const winsim::Machine machine = winsim::Machine::FromJson(DescriptionOf({.data = kDataWithPassword[0]}));
    const SimulatedRun kept =
        CallFunction(machine, "FreeOrdinaryText", {std::string("with ") + kPassword + "!"}, {.mayViolate = true});
    EXPECT_THAT(kept.outcome.violations, Contains("memory was freed with a password in it"));
    const SimulatedRun other = CallFunction(machine, "FreeOrdinaryText", {"a text without any secret"});
    EXPECT_THAT(other.outcome.violations, IsEmpty());
}

TEST(OwnerPassword, MemoryThatIsNeverFreedIsFound)
{
    const winsim::Machine machine = winsim::Machine::FromJson(DescriptionOf({.data = kDataWithPassword[0]}));
    const SimulatedRun run = CallFunction(machine, "LeaveMemory", {}, {.mayViolate = true});
    EXPECT_THAT(run.outcome.violations, ElementsAre("2 blocks of memory were not freed"));
}

TEST(OwnerPassword, MemoryThatIsFreedWithAnotherSizeIsFound)
{
    const winsim::Machine machine = winsim::Machine::FromJson(DescriptionOf({.data = kDataWithPassword[0]}));
    const SimulatedRun run = CallFunction(machine, "FreeTooMuch", {}, {.mayViolate = true});
    EXPECT_THAT(run.outcome.violations, ElementsAre("memory was freed with a size that it was not allocated with"));
}

// ---- How passwords are hidden ----

TEST(HideSecrets, PutsStarsInPlaceOfPasswordsAlone)
{
    struct Case
    {
        const char* text;
        const char* shown;
    };
    constexpr Case kCases[] = {
        {"", ""},
        {"/CAPTION=c /INFO=i", "/CAPTION=c /INFO=i"},
        {"/PASSWORD=secret", "/PASSWORD=***"},
        {"/PASSWORD=", "/PASSWORD="},
        {"/PASSWORD= /INFO=i", "/PASSWORD= /INFO=i"},
        {"/PASSWORD=a b/c /INFO=i", "/PASSWORD=*** /INFO=i"},
        {"/PASSWORD=a /PASSWORD=b", "/PASSWORD=*** /PASSWORD=***"},
        {"x.exe /C:\"c\" /P:\"secret\" /T:\"NTRU\" /Y", "x.exe /C:\"c\" /P:\"***\" /T:\"NTRU\" /Y"},
        {"x.exe /P:\"a\"b\" /Y", "x.exe /P:\"***\" /Y"},
        {"x.exe /P:\"\" /Y", "x.exe /P:\"\" /Y"},
        {"x.exe /P:\"unended", "x.exe /P:\"***"},
        {"x.exe /C:\"a/P:\"b\" /P:\"c\" /Y", "x.exe /C:\"a/P:\"***\" /P:\"***\" /Y"},
        {"x.exe /C:\"c/PASSWORD=p\" /I:\"i\" /Y", "x.exe /C:\"c/PASSWORD=*** /I:\"i\" /Y"},
        {"/password=shown", "/password=shown"},
        {"/PASSWORD=x/CAPTION=y /INFO=i", "/PASSWORD=*** /INFO=i"},
        {"/PASSWORD=x/PASSWORD=y /INFO=i", "/PASSWORD=*** /INFO=i"},
        {"x.exe /C:\"y\" /P:\"x/CAPTION=y\" /Y", "x.exe /C:\"***\" /P:\"***\" /Y"},
        {"x.exe /C:\"c\" /P:\"x/CAPTION=y\" /Y", "x.exe /C:\"c\" /P:\"***\" /Y"},
        {"x.exe /C:\"y/INFO=z\" /I:\"z\" /P:\"x/CAPTION=y/INFO=z\" /T:\"NTRU\" /Y",
         "x.exe /C:\"***\" /I:\"***\" /P:\"***\" /T:\"NTRU\" /Y"},
        {"x.exe /P:\"x/TSS_VENDOR=y\" /T:\"y\" /Y", "x.exe /P:\"***\" /T:\"***\" /Y"},
        {"x.exe /P:\"x/TSS_VENDOR=\" /Y", "x.exe /P:\"***\" /Y"},
        {"x.exe /P:\"x/PASSWORD=y\" /T:\"NTRU\" /Y", "x.exe /P:\"***\" /T:\"NTRU\" /Y"},
    };
    for (const Case& c : kCases)
        EXPECT_EQ(winsim::HideSecrets(c.text), c.shown);
}

TEST(HideAllSecrets, ReachesEveryTextOfAValue)
{
    EXPECT_EQ(winsim::HideAllSecrets(Json::parse(R"({"a": ["/PASSWORD=x", {"b": "/P:\"y\" /Y"}], "c": 1, "d": null})")),
              Json::parse(R"({"a": ["/PASSWORD=***", {"b": "/P:\"***\" /Y"}], "c": 1, "d": null})"));
}

} // namespace
