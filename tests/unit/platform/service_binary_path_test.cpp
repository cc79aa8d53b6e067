// Proves how a service's program directory is extracted from its configuration.
#include "tests/support/run_tests.h"
#include "tests/support/service_script.h"

#include <gtest/gtest.h>

namespace
{

constexpr char kUntouched[] = "(none) (untouched)";
const std::string kOpen = OpenService("KlPCR", 1);

winsim::Machine MachineWithPath(const std::string& binaryPath)
{
    return winsim::Machine::FromJson({{"services", {{"KlPCR", {{"binaryPath", binaryPath}}}}}});
}

SimulatedRun GetPath(const winsim::Machine& machine, const SimulatedRunOptions& options = {})
{
    return CallFunction(machine, "GetServiceBinaryPath", {"KlPCR"}, options);
}

std::string Queried(const std::string& binaryPath)
{
    return QueryConfig(4096, 3, binaryPath, "KlPCR");
}

Script Whole(const std::string& query)
{
    return {kOpenManager, kOpen, query, kCloseBoth};
}

TEST(GetServiceBinaryPath, CutsTheFileAndTheFirstCharacter)
{
    constexpr std::pair<const char*, const char*> kRows[] = {
        {R"("C:\Program Files\X\svc.exe" -Service)", R"(C:\Program Files\X)"},
        {R"("C:\dir\prog.exe" -Service)", R"(C:\dir)"},
        {R"("C:\dir\prog.exe")", R"(C:\dir)"},
        // Without quotation marks, the drive letter is lost.
        {R"(C:\Windows\system32\svc.exe)", R"(:\Windows\system32)"},
        {R"(C:\dir\prog.exe -Service)", R"(:\dir)"},
        // Everything from the last backslash on is removed, wherever the backslash is.
        {R"("C:\dir\prog.exe" -log C:\logs\svc.log)", R"(C:\dir\prog.exe" -log C:\logs)"},
        {R"("C:\dir\prog.exe\")", R"(C:\dir\prog.exe)"},
        {R"("C:\svc.exe")", R"(C:)"},
        {R"("C:\Verschlüsselung 鍵\svc.exe")", R"(C:\Verschlüsselung 鍵)"},
        {R"("\svc.exe")", ""},
        {R"(\svc.exe)", ""},
        {R"(\)", ""},
    };
    for (const auto& [path, directory] : kRows)
    {
        SCOPED_TRACE(path);
        ExpectLog(GetPath(MachineWithPath(path)), directory, {});
    }
}

TEST(GetServiceBinaryPath, AsksForTheConfigurationOnceInABufferOf4096ZeroedBytes)
{
    const char* path = R"("C:\Toolkit\KlPCR.exe" -Service)";
    const SimulatedRun run = GetPath(MachineWithPath(path));
    ExpectRun(run, R"(C:\Toolkit)", Whole(Queried(path)));
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
        ExpectRun(GetPath(MachineWithPath(path)), kUntouched, Whole(Queried(path)));
}

const auto kFailures = RunTests("GetServiceBinaryPath", &GetPath)
                           .Run("AConfigurationWithoutAPathIsAFailure", MachineWithPath(R"("C:\dir\prog.exe")"),
                                {.faults = {"QueryServiceConfigW=nothing"}}, kUntouched,
                                Whole(Call("QueryServiceConfigW", {"service#1", 4096}, 1)))
                           .Run("MissingServiceIsAFailureWithoutALine", MachineOf("{}"), kUntouched,
                                {kOpenManager, Failing(kOpen), kCloseManager})
                           .Run("ServiceThatCannotBeOpenedIsAFailureWithoutALine",
                                MachineOf(R"({"services": {"KlPCR": {"deniedAccess": 1}}})"), kUntouched,
                                {kOpenManager, Failing(kOpen), kCloseManager});

TEST(GetServiceBinaryPath, ConfigurationOf4096BytesIsRead)
{
    std::string path = "\"C:\\Toolkit\\";
    path.append((4096 - SizeOfConfig(path, "KlPCR")) / 2, 'x');
    ASSERT_EQ(SizeOfConfig(path, "KlPCR"), 4096u);
    ExpectRun(GetPath(MachineWithPath(path)), R"(C:\Toolkit)", Whole(Queried(path)));
}

TEST(GetServiceBinaryPath, LargerConfigurationIsAFailureAndNotAskedForAgain)
{
    std::string path = "\"C:\\Toolkit\\";
    path.append((4098 - SizeOfConfig(path, "KlPCR")) / 2, 'x');
    ExpectRun(GetPath(MachineWithPath(path)), kUntouched,
              Whole(Call("QueryServiceConfigW", {"service#1", 4096}, 0, {{"pcbBytesNeeded", 4098}})));
}

TEST(GetServiceBinaryPath, EachFailingCallGivesBackWhatIsHeld)
{
    const std::pair<const char*, Script> rows[] = {
        {"OpenSCManagerW=5", {Failing(kOpenManager)}},
        {"LocalAlloc=8", {kOpenManager, kOpen, kCloseBoth}},
        {"QueryServiceConfigW=5", Whole(Call("QueryServiceConfigW", {"service#1", 4096}, 0))},
    };
    for (const auto& [fault, script] : rows)
    {
        SCOPED_TRACE(fault);
        ExpectRun(GetPath(MachineWithPath(R"("C:\dir\svc.exe")"), {.faults = {fault}}), kUntouched, script);
    }
}

} // namespace
