// Proves how the policy directory and the configuration file are created and opened to the accounts that need them.
#include "tests/unit/tss/tss_script.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace
{

constexpr unsigned kInheritance = 3;
constexpr unsigned kProtectedListInformation = 0x80000004;
constexpr unsigned kReadAndWrite = 0xC0000000;
constexpr int kFileObject = 1;

// The two objects go through the same steps; these are the differences.
struct Object
{
    const char* function;
    const char* path;
    const char* kind; // in the log
    unsigned usersAccess;
};

constexpr Object kDirectory = {"SetPolicyDirectoryAccess", R"(C:\ProgramData\Kelo Systems Corp\Common\policies)",
                               "directory", kGenericRead};
constexpr Object kFile = {"SetConfigFileAccess", R"(C:\ProgramData\Kelo Systems Corp\Common\Kelo_Config.ini)", "file",
                          kGenericAll};

constexpr char kBothExist[] = R"({"files": {
    "C:\\ProgramData\\Kelo Systems Corp\\Common\\policies": {"directory": true},
    "C:\\ProgramData\\Kelo Systems Corp\\Common\\Kelo_Config.ini": {"text": "[Kelo]"}}})";

std::vector<ExpectedAccess> ListOf(const Object& object)
{
    return {{kUsers, kGroupTrustee, object.usersAccess},
            {kAdministrators, kGroupTrustee, kGenericAll},
            {kLocalSystem, kUnknownTrustee, kGenericAll},
            {kNetworkService, kGroupTrustee, kGenericAll}};
}

SimulatedRun Replace(const Object& object, const char* machine, const SimulatedRunOptions& options = {})
{
    return CallFunction(MachineOf(machine), object.function, {}, options);
}

const std::string kFolderLine =
    Call("SHGetSpecialFolderPathW", {nullptr, 35, 0}, 1, {{"pszPath", R"(C:\ProgramData)"}});

std::string ReadLine(const Object& object, int error, const winsim::Json& out = winsim::Json::object())
{
    return Call("GetNamedSecurityInfoW", {object.path, kFileObject, kListInformation}, error, out);
}

std::string ReadLine(const Object& object)
{
    return ReadLine(object, 0, {{"ppDacl", nullptr}, {"ppSecurityDescriptor", "block#1"}});
}

Script MadeSids()
{
    return {MakeSid(1, 32, 545), MakeSid(2, 32, 544), MakeSid(3, 18), MakeSid(4, 20)};
}

Script FreedSids(unsigned count)
{
    Script lines;
    for (unsigned i = 1; i <= count; ++i)
        lines.push_back(FreeSid(i));
    return lines;
}

std::string ApplyLine(const Object& object, int error = 0)
{
    return Call("SetNamedSecurityInfoW",
                {object.path, kFileObject, kProtectedListInformation, nullptr, nullptr,
                 AclOf(ListOf(object), kInheritance), nullptr},
                error);
}

// The steps once the object exists.
Script Replaced(const Object& object)
{
    return {MadeSids(), MakeList(ListOf(object), kInheritance), ApplyLine(object),
            fmt::format("log: Successfully changed DACL for {}: {}", object.kind, object.path), FreedSids(4)};
}

// An object of the description keeps its owner; the installer owns the objects that it creates.
void ExpectReplacedList(const SimulatedRun& run, const Object& object,
                        const std::optional<std::string>& owner = std::nullopt)
{
    const winsim::File* file = run.After().files.Find(object.path);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->security.access, EntriesOf(ListOf(object), kInheritance, winsim::kFileRights));
    EXPECT_TRUE(file->security.isProtected);
    EXPECT_EQ(file->security.owner, owner);
}

class ConfigAccess : public testing::TestWithParam<Object>
{
protected:
    const Object& m_object = GetParam();
};

INSTANTIATE_TEST_SUITE_P(Each, ConfigAccess, testing::Values(kDirectory, kFile),
                         [](const auto& test) { return std::string(test.param.kind); });

// ---- Objects that are there ----

TEST_P(ConfigAccess, AnObjectThatIsThereGetsTheNewListAndNothingElse)
{
    const SimulatedRun run = Replace(m_object, kBothExist);
    ExpectRun(run, "1", {kFolderLine, ReadLine(m_object), Replaced(m_object)});
    ExpectReplacedList(run, m_object);
    EXPECT_EQ(Replace(kFile, kBothExist).After().files.Find(kFile.path)->content, "[Kelo]");
}

TEST(ConfigAccess, UsersMayChangeTheConfigurationButOnlyReadThePolicies)
{
    const auto usersMaskOf = [](const Object& object) {
        return Replace(object, kBothExist).After().files.Find(object.path)->security.access->at(0).mask;
    };
    EXPECT_EQ(usersMaskOf(kDirectory), winsim::kFileRights.read);
    EXPECT_EQ(usersMaskOf(kFile), winsim::kFileRights.all);
}

TEST_P(ConfigAccess, ASecondRunWritesTheSameListAgain)
{
    const SimulatedRun second = CallFunction(Replace(m_object, kBothExist).After(), m_object.function);
    ExpectRun(second, "1",
              {kFolderLine,
               ReadLine(m_object, 0,
                        {{"ppDacl", AclOf(Mapped(ListOf(m_object), winsim::kFileRights), kInheritance)},
                         {"ppSecurityDescriptor", "block#1"}}),
               Replaced(m_object)});
    ExpectReplacedList(second, m_object);
}

// ---- Objects that are not there ----

TEST(SetPolicyDirectoryAccess, AMissingDirectoryIsMadeWithItsMissingParents)
{
    // 2 when only the directory is missing, 3 when its parent is too
    constexpr std::pair<const char*, int> kCases[] = {
        {"{}", 3}, {R"({"files": {"C:\\ProgramData\\Kelo Systems Corp\\Common": {"directory": true}}})", 2}};
    for (const auto& [machine, error] : kCases)
    {
        const SimulatedRun run = Replace(kDirectory, machine);
        ExpectRun(run, "1",
                  {kFolderLine, ReadLine(kDirectory, error),
                   Call("SHCreateDirectoryExW", {nullptr, kDirectory.path, nullptr}, 0), Replaced(kDirectory)});
        EXPECT_TRUE(run.After().files.IsDirectory(kDirectory.path));
        ExpectReplacedList(run, kDirectory, kAdministrators);
    }
}

TEST(SetPolicyDirectoryAccess, ADirectoryThatCannotBeMadeEndsIt)
{
    ExpectRun(Replace(kDirectory, R"({"files": {"C:\\ProgramData\\Kelo Systems Corp\\Common":
        {"directory": true, "deniedAccess": 6}}})"),
              "0",
              {kFolderLine, ReadLine(kDirectory, 2),
               Call("SHCreateDirectoryExW", {nullptr, kDirectory.path, nullptr}, 5),
               "log: SHCreateDirectoryExW error: 5 "});
}

// Nothing is created in a directory that cannot be checked.
TEST(SetPolicyDirectoryAccess, AParentThatCannotBeMadeEndsIt)
{
    ExpectRun(Replace(kDirectory, R"({"files": {"C:\\ProgramData\\Kelo Systems Corp": {"directory": true,
        "deniedAccess": 6}, "C:\\ProgramData\\Kelo Systems Corp\\InstallLogs\\Toolkit": {"directory": true}}})"),
              "0", {kFolderLine, ReadLine(kDirectory, 3), "log: SHCreateDirectoryExW error: 5 "});
}

TEST(SetPolicyDirectoryAccess, AnyResultOfTheCreationButZeroIsAFailure)
{
    // 183: another process created the directory in the meantime.
    for (const char* error : {"80", "183", "1", "206"})
        ExpectRun(Replace(kDirectory, "{}", {.faults = {std::string("SHCreateDirectoryExW=") + error}}), "0",
                  {kFolderLine, ReadLine(kDirectory, 3),
                   Call("SHCreateDirectoryExW", {nullptr, kDirectory.path, nullptr}, std::stoi(error)),
                   fmt::format("log: SHCreateDirectoryExW error: {} ", error)});
}

TEST(SetConfigFileAccess, AMissingFileIsMadeEmpty)
{
    const SimulatedRun run =
        Replace(kFile, R"({"files": {"C:\\ProgramData\\Kelo Systems Corp\\Common": {"directory": true}}})");
    ExpectRun(run, "1",
              // The three directories above it are held open.
              {kFolderLine, ReadLine(kFile, 2),
               Call("CreateFileW", {kFile.path, kReadAndWrite, 3, nullptr, 4, 128, nullptr}, "file#4"),
               Call("CloseHandle", {"file#4"}, 1), Replaced(kFile)});
    EXPECT_EQ(run.After().files.Find(kFile.path)->content, "");
    ExpectReplacedList(run, kFile, kAdministrators);
}

TEST(SetConfigFileAccess, AMissingDirectoryEndsIt)
{
    const SimulatedRun run = Replace(kFile, "{}");
    ExpectRun(run, "0", {kFolderLine, ReadLine(kFile, 3), "log: GetNamedSecurityInfoW error: 3 "});
    EXPECT_FALSE(run.After().files.IsDirectory(R"(C:\ProgramData\Kelo Systems Corp\Common)"));
}

TEST(SetConfigFileAccess, AFileThatCannotBeMadeFailsOnlyWhenTheListIsApplied)
{
    ExpectRun(
        Replace(kFile,
                R"({"files": {"C:\\ProgramData\\Kelo Systems Corp\\Common": {"directory": true, "deniedAccess": 6}}})"),
        "0",
        {kFolderLine, ReadLine(kFile, 2), MadeSids(), MakeList(ListOf(kFile), kInheritance),
         "log: SetNamedSecurityInfo call failed: 2", FreedSids(4)});
}

constexpr char kOnlyTheFileIsMissing[] =
    R"({"files": {"C:\\ProgramData\\Kelo Systems Corp\\Common": {"directory": true}}})";

// The number of the first opening of a file that has a parameter with this value.
std::string OpeningWith(const char* parameter, unsigned value, const SimulatedRun& run)
{
    unsigned occurrence = 0;
    for (const winsim::CallRecord& record : run.outcome.calls)
    {
        if (record.name != "CreateFileW")
            continue;
        ++occurrence;
        if (record.in[parameter] == value)
            return fmt::format("CreateFileW#{}", occurrence);
    }
    return "none";
}

TEST(SetConfigFileAccess, ANewFileWithoutAHandleEndsItWithoutALine)
{
    const std::string creation = OpeningWith("dwFlagsAndAttributes", 128, Replace(kFile, kOnlyTheFileIsMissing));
    ExpectRun(Replace(kFile, kOnlyTheFileIsMissing, {.faults = {creation + "=0"}}), "0",
              {kFolderLine, ReadLine(kFile, 2),
               Call("CreateFileW", {kFile.path, kReadAndWrite, 3, nullptr, 4, 128, nullptr})});
}

TEST(SetConfigFileAccess, AFileThatCannotBeOpenedOnceMoreIsUsedAllTheSame)
{
    const std::string creation = OpeningWith("dwFlagsAndAttributes", 128, Replace(kFile, kOnlyTheFileIsMissing));
    const SimulatedRun run = Replace(kFile, kOnlyTheFileIsMissing, {.faults = {creation + "=5"}});
    EXPECT_EQ(run.result, "1");
}

// ---- Failures on the way ----

TEST_P(ConfigAccess, AnUnreadableListEndsIt)
{
    winsim::Machine machine = MachineOf(kBothExist);
    machine.files.Find(m_object.path)->isDenied = true;
    ExpectRun(CallFunction(machine, m_object.function), "0",
              {kFolderLine, ReadLine(m_object, 5), "log: GetNamedSecurityInfoW error: 5 "});
}

TEST_P(ConfigAccess, OnlyAMissingObjectIsMade)
{
    for (const int error : {53, 67, 87, 123, 161, 267, 1168})
        ExpectRun(
            Replace(m_object, "{}", {.faults = {fmt::format("GetNamedSecurityInfoW={}", error)}}), "0",
            {kFolderLine, ReadLine(m_object, error), fmt::format("log: GetNamedSecurityInfoW error: {} ", error)});
}

TEST_P(ConfigAccess, EachSidThatCannotBeMadeHasItsLine)
{
    const char* const names[] = {"Everyone", "Admin", "System", "Network Service"};
    for (unsigned failing = 1; failing <= 4; ++failing)
    {
        const SimulatedRun run =
            Replace(m_object, kBothExist, {.faults = {fmt::format("AllocateAndInitializeSid#{}=8", failing)}});
        const Script sids = MadeSids();
        ExpectRun(run, "0",
                  {kFolderLine, ReadLine(m_object), Script(sids.begin(), sids.begin() + failing - 1),
                   Failing(sids[failing - 1], 0),
                   fmt::format("log: AllocateAndInitializeSid ({}) error: 8 ", names[failing - 1]),
                   FreedSids(failing - 1)});
    }
}

TEST_P(ConfigAccess, AListThatCannotBeMadeEndsIt)
{
    const SimulatedRun run = Replace(m_object, kBothExist, {.faults = {"SetEntriesInAclW=1336"}});
    ExpectRun(run, "0",
              {kFolderLine, ReadLine(m_object), MadeSids(), Failing(MakeList(ListOf(m_object), kInheritance), 1336),
               "log: SetEntriesInAclW error", FreedSids(4)});
}

TEST_P(ConfigAccess, ARefusedListEndsIt)
{
    winsim::Machine machine = MachineOf(kBothExist);
    machine.files.Find(m_object.path)->security.deniedAccess = 0x40000;
    const SimulatedRun run = CallFunction(machine, m_object.function);
    ExpectRun(run, "0",
              {kFolderLine, ReadLine(m_object), MadeSids(), MakeList(ListOf(m_object), kInheritance),
               ApplyLine(m_object, 5), "log: SetNamedSecurityInfo call failed: 5", FreedSids(4)});
    EXPECT_EQ(run.After().files.Find(m_object.path)->security.access, std::nullopt);
}

TEST(ConfigAccess, AnUnknownApplicationDataFolderLeadsToTheRootOfTheDrive)
{
    ExpectRun(Replace(kFile, "{}", {.faults = {"SHGetSpecialFolderPathW=2"}}), "0",
              {Call("SHGetSpecialFolderPathW", {nullptr, 35, 0}, 0),
               Call("GetNamedSecurityInfoW", {R"(\Kelo Systems Corp\Common\Kelo_Config.ini)", 1, 4}, 3),
               "log: GetNamedSecurityInfoW error: 3 "});
}

// ---- What somebody has prepared ----

// The directory belongs to another owner, such as an ordinary user.
winsim::Machine PoliciesOf(const char* owner)
{
    return winsim::Machine::FromJson({{"files", {{kDirectory.path, {{"directory", true}, {"owner", owner}}}}}});
}

constexpr char kUser[] = "S-1-5-21-7-7-7-1001";

std::vector<unsigned> AccessesOfToken(const SimulatedRun& run)
{
    std::vector<unsigned> accesses;
    for (const winsim::CallRecord& call : run.outcome.calls)
    {
        if (call.name == "OpenProcessToken")
            accesses.push_back(call.in["DesiredAccess"].get<unsigned>());
    }
    return accesses;
}

TEST(SetPolicyDirectoryAccess, ADirectoryOfAUsersBecomesTheAdministrators)
{
    const SimulatedRun run = CallFunction(PoliciesOf(kUser), kDirectory.function);
    EXPECT_EQ(run.result, "1");
    const winsim::File* directory = run.After().files.Find(kDirectory.path);
    EXPECT_EQ(directory->security.owner, "S-1-5-32-544");
    EXPECT_EQ(directory->security.access, EntriesOf(ListOf(kDirectory), kInheritance, winsim::kFileRights));
    // The privilege for changing the owner is disabled again.
    EXPECT_EQ(run.After().token, run.before.token);
    // The token is opened to find its user, and to enable the privilege: for nothing else.
    EXPECT_EQ(AccessesOfToken(run), (std::vector<unsigned>{0x8, 0x20}));
}

TEST(SetPolicyDirectoryAccess, ThePrivilegeStandsInForTheRightToChangeTheOwner)
{
    const winsim::Machine machine = Changed(
        PoliciesOf(kUser),
        {{"files",
          {{kDirectory.path,
            {{"access",
              {{{"trustee", kUser}, {"mask", 0x1F01FF}}, {{"trustee", "S-1-5-32-544"}, {"mask", 0x1200A9}}}}}}}}});
    const SimulatedRun run = CallFunction(machine, kDirectory.function);
    EXPECT_EQ(run.result, "1");
    EXPECT_EQ(run.After().files.Find(kDirectory.path)->security.owner, "S-1-5-32-544");
    EXPECT_EQ(run.After().token, run.before.token);
    ExpectLog(CallFunction(machine, kDirectory.function, {}, {.faults = {"LookupPrivilegeValueA=1313"}}), "0",
              "log: SetNamedSecurityInfo call failed: 5");
}

TEST(SetPolicyDirectoryAccess, ADirectoryOfTheSystemsKeepsItsOwner)
{
    const SimulatedRun run = CallFunction(PoliciesOf("S-1-5-18"), kDirectory.function);
    EXPECT_EQ(run.result, "1");
    EXPECT_EQ(run.After().files.Find(kDirectory.path)->security.owner, "S-1-5-18");
}

TEST(SetConfigFileAccess, AFileMayBeAUsers)
{
    winsim::Json machine;
    machine["files"][kFile.path] = {{"text", "[Kelo]"}, {"owner", kUser}};
    const SimulatedRun run = CallFunction(winsim::Machine::FromJson(machine), kFile.function);
    EXPECT_EQ(run.result, "1");
    EXPECT_EQ(run.After().files.Find(kFile.path)->security.owner, kUser);
}

TEST(SetPolicyDirectoryAccess, WithoutThePrivilegeTheListMayStillAllowAnotherOwner)
{
    for (const char* fault : {"OpenProcessToken=5", "LookupPrivilegeValueA=1313", "AdjustTokenPrivileges=5"})
    {
        const SimulatedRun run = CallFunction(PoliciesOf(kUser), kDirectory.function, {}, {.faults = {fault}});
        EXPECT_EQ(run.result, "1") << fault;
    }
}

TEST(SetPolicyDirectoryAccess, ADirectoryThatStaysAUsersIsNotOpened)
{
    constexpr unsigned kWriteOwner = 0x80000;
    const SimulatedRun whole = CallFunction(PoliciesOf(kUser), kDirectory.function);
    for (const std::string& call : {std::string("SetSecurityInfo"), std::string("GetSecurityInfo"),
                                    OpeningWith("dwDesiredAccess", kWriteOwner, whole)})
    {
        const SimulatedRun run = CallFunction(PoliciesOf(kUser), kDirectory.function, {}, {.faults = {call + "=6"}});
        SCOPED_TRACE(call);
        ExpectLog(run, "0", "log: SetNamedSecurityInfo call failed: 6");
        EXPECT_EQ(CountOf("SetNamedSecurityInfoW", run.script), 0u);
    }
}

TEST(SetPolicyDirectoryAccess, ADirectoryThatCannotBeOpenedAfterItIsMadeGetsNoList)
{
    const unsigned last = CallFunction(kDirectory.function).outcome.callCounts.at("CreateFileW");
    const SimulatedRun run =
        CallFunction(MachineOf("{}"), kDirectory.function, {}, {.faults = {fmt::format("CreateFileW#{}=5", last)}});
    ExpectLog(run, "0", "log: SetNamedSecurityInfo call failed: 5");
    EXPECT_EQ(CountOf("SetNamedSecurityInfoW", run.script), 0u);
}

TEST_P(ConfigAccess, ALinkIsRefusedWithTheErrorOfTheFirstCall)
{
    ExpectRun(Replace(m_object, R"({"files": {"C:\\elsewhere": {"directory": true},
        "C:\\ProgramData\\Kelo Systems Corp\\Common": {"directory": true, "link": "C:\\elsewhere"}}})"),
              "0", {kFolderLine, "log: GetNamedSecurityInfoW error: 448 "});
}

TEST(ConfigAccess, AnotherNameAndTheWrongKindAreRefusedToo)
{
    ExpectRun(Replace(kFile, R"({"files": {"C:\\Windows\\victim": {"text": "x"},
        "C:\\ProgramData\\Kelo Systems Corp\\Common\\Kelo_Config.ini": {"hardLinkTo": "C:\\Windows\\victim"}}})"),
              "0", {kFolderLine, "log: GetNamedSecurityInfoW error: 1142 "});
    ExpectRun(
        Replace(kDirectory, R"({"files": {"C:\\ProgramData\\Kelo Systems Corp\\Common\\policies": {"text": "x"}}})"),
        "0", {kFolderLine, "log: GetNamedSecurityInfoW error: 267 "});
}

} // namespace
