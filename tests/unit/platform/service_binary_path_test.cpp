// Proves how a service's program directory is cut out of its configuration.
#include "tests/support/service_script.h"

#include <gtest/gtest.h>

namespace
{

using winsim::Json;

constexpr char kUntouched[] = "(none) (untouched)";
constexpr char kOpen[] = R"(OpenServiceW("serviceManager#1", "KlPCR", 1) = "service#1")";

winsim::Machine MachineWithPath(const std::string& binaryPath)
{
    return winsim::Machine::FromJson({{"services", {{"KlPCR", {{"binaryPath", binaryPath}}}}}});
}

SimulatedRun Call(const winsim::Machine& machine, const SimulatedRunOptions& options = {})
{
    return CallFunction(machine, "GetServiceBinaryPath", {"KlPCR"}, options);
}

// The bytes of a configuration with this path and nothing else out of the ordinary: the structure, and five texts of
// 16-bit characters with a zero behind each.
std::size_t ConfigurationBytes(const std::string& binaryPath)
{
    const std::size_t zeros = 5;
    return 64 + 2 * (binaryPath.size() + std::string("LocalSystem").size() + std::string("KlPCR").size() + zeros);
}

std::string Queried(const std::string& binaryPath)
{
    return fmt::format(R"(QueryServiceConfigW("service#1", 4096) = 1 pcbBytesNeeded:{} lpServiceConfig:)"
                       R"({{"dwServiceType":16,"dwStartType":3,"dwErrorControl":1,"lpBinaryPathName":{},)"
                       R"("lpLoadOrderGroup":"","dwTagId":0,"lpDependencies":[],)"
                       R"("lpServiceStartName":"LocalSystem","lpDisplayName":"KlPCR"}})",
                       ConfigurationBytes(binaryPath), Json(binaryPath).dump());
}

Script WholeScript(const std::string& query)
{
    return Joined(kOpenManager, kOpen, query, kCloseBoth);
}

TEST(GetServiceBinaryPath, CutsTheFileAndTheFirstCharacter)
{
    struct Row
    {
        const char* binaryPath;
        const char* directory;
    };
    constexpr Row kRows[] = {
        {R"("C:\Program Files\X\svc.exe" -Service)", R"(C:\Program Files\X)"},
        {R"("C:\dir\prog.exe" -Service)", R"(C:\dir)"},
        {R"("C:\dir\prog.exe")", R"(C:\dir)"},
        // Without quotation marks the drive letter goes.
        {R"(C:\Windows\system32\svc.exe)", R"(:\Windows\system32)"},
        {R"(C:\dir\prog.exe -Service)", R"(:\dir)"},
        // What stands behind the last backslash goes, wherever that is.
        {R"("C:\dir\prog.exe" -log C:\logs\svc.log)", R"(C:\dir\prog.exe" -log C:\logs)"},
        {R"("C:\dir\prog.exe\")", R"(C:\dir\prog.exe)"},
        {R"("C:\svc.exe")", R"(C:)"},
        {R"("C:\Verschlüsselung 鍵\svc.exe")", R"(C:\Verschlüsselung 鍵)"},
        {R"("\svc.exe")", ""},
        {R"(\svc.exe)", ""},
        {R"(\)", ""},
    };
    for (const Row& row : kRows)
    {
        SCOPED_TRACE(row.binaryPath);
        const SimulatedRun run = Call(MachineWithPath(row.binaryPath));
        EXPECT_EQ(run.result, row.directory);
        EXPECT_TRUE(run.log.empty());
    }
}

TEST(GetServiceBinaryPath, AsksForTheConfigurationOnceInABufferOf4096ZeroedBytes)
{
    const char* path = R"("C:\Toolkit\KlPCR.exe" -Service)";
    const SimulatedRun run = Call(MachineWithPath(path));
    ExpectRun(run, R"(C:\Toolkit)", WholeScript(Queried(path)));
    std::vector<std::string> memoryCalls;
    for (const auto& call : run.outcome.calls)
    {
        if (call.name.starts_with("Local"))
            memoryCalls.push_back(call.name + call.in.dump());
    }
    EXPECT_EQ(memoryCalls, (Script{R"(LocalAlloc{"uFlags":64,"uBytes":4096})", R"(LocalFree{"hMem":"block#1"})"}));
}

TEST(GetServiceBinaryPath, PathWithoutABackslashIsAFailure)
{
    for (const char* path : {"", "svc.exe", "\"\"", "C:/dir/svc.exe"})
        ExpectRun(Call(MachineWithPath(path)), kUntouched, WholeScript(Queried(path)));
}

TEST(GetServiceBinaryPath, AConfigurationWithoutAPathIsAFailure)
{
    ExpectRun(Call(MachineWithPath(R"("C:\dir\prog.exe")"), {.faults = {"QueryServiceConfigW=nothing"}}), kUntouched,
              WholeScript(R"(QueryServiceConfigW("service#1", 4096) = 1)"));
}

TEST(GetServiceBinaryPath, ConfigurationOf4096BytesIsRead)
{
    std::string path = "\"C:\\Toolkit\\";
    path.append((4096 - ConfigurationBytes(path)) / 2, 'x');
    ASSERT_EQ(ConfigurationBytes(path), 4096u);
    ExpectRun(Call(MachineWithPath(path)), R"(C:\Toolkit)", WholeScript(Queried(path)));
}

TEST(GetServiceBinaryPath, LargerConfigurationIsAFailureAndNotAskedForAgain)
{
    std::string path = "\"C:\\Toolkit\\";
    path.append((4098 - ConfigurationBytes(path)) / 2, 'x');
    ExpectRun(Call(MachineWithPath(path)), kUntouched,
              WholeScript(R"(QueryServiceConfigW("service#1", 4096) = 0 pcbBytesNeeded:4098)"));
}

TEST(GetServiceBinaryPath, MissingServiceIsAFailureWithoutALine)
{
    ExpectRun(Call(MachineOf("{}")), kUntouched,
              {kOpenManager, R"(OpenServiceW("serviceManager#1", "KlPCR", 1))", kCloseManager});
}

TEST(GetServiceBinaryPath, ServiceThatCannotBeOpenedIsAFailureWithoutALine)
{
    ExpectRun(Call(MachineOf(R"({"services": {"KlPCR": {"deniedAccess": 1}}})")), kUntouched,
              {kOpenManager, R"(OpenServiceW("serviceManager#1", "KlPCR", 1))", kCloseManager});
}

TEST(GetServiceBinaryPath, EachFailingCallGivesBackWhatIsHeld)
{
    struct Row
    {
        const char* fault;
        Script script;
    };
    const Row rows[] = {
        {"OpenSCManagerW=5", {"OpenSCManagerW(null, null, 983103)"}},
        {"LocalAlloc=8", Joined(kOpenManager, kOpen, kCloseBoth)},
        {"QueryServiceConfigW=5", WholeScript(R"(QueryServiceConfigW("service#1", 4096) = 0)")},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.fault);
        ExpectRun(Call(MachineWithPath(R"("C:\dir\svc.exe")"), {.faults = {row.fault}}), kUntouched, row.script);
    }
}

} // namespace
