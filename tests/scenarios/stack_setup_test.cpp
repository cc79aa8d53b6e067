// Compares the stack set-up with its prediction on every machine: each Windows, each stack usable or not and installed
// or not, old shims present or not, and each vendor that can be requested.
#include "tests/scenarios/predicted_setup.h"
#include "tests/support/simulated_run.h"

#include <gtest/gtest.h>

#include <tuple>

namespace
{

constexpr const char* kVendors[] = {nullptr, "KELO", "kelo", "NTRU12", "NTRU", "OTHER"};

// The version of Windows, and whether the machine has old shims.
class StackSetup : public testing::TestWithParam<std::tuple<const char*, bool>>
{};

std::optional<std::string> TextOf(const winsim::Machine& machine, const char* path)
{
    const winsim::File* file = machine.files.Find(path);
    return file == nullptr ? std::nullopt : std::optional(file->content);
}

std::optional<std::vector<std::string>> DependenciesOf(const winsim::Machine& machine)
{
    const winsim::Service* service = machine.services.Find("KlPCR");
    return service == nullptr ? std::nullopt : std::optional(service->dependencies);
}

void ExpectAsPredicted(const StackMachine& stacks, const winsim::Machine& machine,
                       const std::optional<std::string>& vendor)
{
    SCOPED_TRACE("Windows " + stacks.version + (stacks.isKeloUsable ? ", KELO usable" : "") +
                 (stacks.isNtruUsable ? ", NTRU usable" : "") + (stacks.hasKeloService ? ", tcsd_x86" : "") +
                 (stacks.hasNtruService ? ", tcsd_win32.exe" : "") + (stacks.hasShims ? ", old shims" : "") +
                 ", vendor " + vendor.value_or("(none)"));
    const PredictedSetup predicted = PredictSetup(stacks, vendor);
    const SimulatedRun run = CallFunction(machine, "SetupTCGDLL", {kToolkitFolder, vendor.value_or("(null)")});
    EXPECT_EQ(run.result, std::to_string(predicted.resultCode));
    ExpectLines(run.log, predicted.log, "the log");
    EXPECT_EQ(TextOf(run.After(), R"(C:\Windows\system32\TSP1_x64.dll)"), predicted.tsp1);
    EXPECT_EQ(TextOf(run.After(), R"(C:\Windows\system32\TSPI_x64.dll)"), predicted.tspi);
    EXPECT_EQ(TextOf(run.After(), R"(C:\Windows\system32\stkprobe.dll)"), predicted.probeLibrary);
    EXPECT_EQ(DependenciesOf(run.After()), predicted.dependencies);
}

TEST_P(StackSetup, IsAsPredicted)
{
    const auto [version, hasShims] = GetParam();
    for (unsigned bits = 0; bits < 16; ++bits)
    {
        const StackMachine stacks{.version = version,
                                  .isKeloUsable = (bits & 1) != 0,
                                  .isNtruUsable = (bits & 2) != 0,
                                  .hasKeloService = (bits & 4) != 0,
                                  .hasNtruService = (bits & 8) != 0,
                                  .hasShims = hasShims};
        const winsim::Machine machine = stacks.Make();
        for (const char* vendor : kVendors)
            ExpectAsPredicted(stacks, machine, vendor == nullptr ? std::nullopt : std::optional<std::string>(vendor));
    }
}

INSTANTIATE_TEST_SUITE_P(EveryWindows, StackSetup,
                         testing::Combine(testing::Values("5.1", "6.0", "6.1", "6.3", "10.0"), testing::Bool()),
                         [](const auto& tested) {
                             std::string name = std::string("Windows") + std::get<0>(tested.param);
                             name[name.find('.')] = '_';
                             return name + (std::get<1>(tested.param) ? "WithOldShims" : "");
                         });

} // namespace
