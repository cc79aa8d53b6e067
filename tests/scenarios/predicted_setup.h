// What the stack set-up is to make of a machine, foretold from what is asked of it alone.
#pragma once

#include "tests/support/stack_machine.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// The whole outcome of one set-up.
struct PredictedSetup
{
    std::vector<std::string> log;
    std::uint32_t resultCode = 0;
    // What the system directory holds of each file in the end; nothing when it is not there.
    std::optional<std::string> tsp1;
    std::optional<std::string> tspi;
    std::optional<std::string> probeLibrary;
    // The services that the toolkit's own depends on; nothing when it was not installed.
    std::optional<std::vector<std::string>> dependencies;
};

// A set-up with a requested vendor, or with none.
PredictedSetup PredictSetup(const StackMachine& machine, const std::optional<std::string>& vendor);
