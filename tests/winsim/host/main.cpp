// Runs the conformance tests against the simulated machine: each test in its own simulated process on a fresh machine.
#include "winsim/base/text.h"
#include "winsim/process/program.h"
#include "winsim/process/simulation.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>

namespace
{

bool MeansToMisuseHandles(const testing::TestResult& result)
{
    for (int i = 0; i < result.test_property_count(); ++i)
    {
        if (std::string(result.GetTestProperty(i).key()) == "misuses")
            return true;
    }
    return false;
}

// Starts the simulated process before a test and checks its handles after it.
class FreshMachine : public testing::EmptyTestEventListener
{
public:
    explicit FreshMachine(winsim::Machine machine) : m_machine(std::move(machine)) {}

    void OnTestStart(const testing::TestInfo&) override
    {
        m_simulation.emplace(m_machine);
        m_simulation->gate.isRecording = true;
        m_simulation->commandLine = winsim::Utf16(winsim::JoinCommandLine({m_machine.process.path, "/Setup"}));
    }

    void OnTestEnd(const testing::TestInfo& test) override
    {
        const auto violations = m_simulation->handles.Violations();
        for (const std::string& sentence : m_simulation->notSimulated)
            ADD_FAILURE() << sentence;
        m_simulation.reset();
        if (MeansToMisuseHandles(*test.result()))
        {
            EXPECT_FALSE(violations.empty()) << "no handle was misused";
            return;
        }
        for (const std::string& violation : violations)
            ADD_FAILURE() << "handles and memory: " << violation;
    }

private:
    winsim::Machine m_machine;
    std::optional<winsim::Simulation> m_simulation;
};

int RunTests(int argc, char** argv)
{
    // The module lies beside the program. Its tests stay known to the framework, so it is never unloaded.
    const auto folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    if (dlopen((folder / "winsim_conformance.so").c_str(), RTLD_NOW | RTLD_LOCAL) == nullptr)
    {
        std::fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    testing::InitGoogleTest(&argc, argv);
    testing::UnitTest::GetInstance()->listeners().Append(
        new FreshMachine{winsim::Machine::FromFile(CONFORMANCE_MACHINE)});
    return RUN_ALL_TESTS();
}

} // namespace

int main(int argc, char** argv)
{
    try
    {
        return RunTests(argc, argv);
    }
    catch (const std::exception& error)
    {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
