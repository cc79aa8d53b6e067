// The expected effect of the stack set-up on a machine, predicted from its requirements alone.
#pragma once

#include "tests/support/stack_machine.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// The complete outcome of one set-up.
struct PredictedSetup
{
    std::vector<std::string> log;
    std::uint32_t resultCode = 0;
    // The final content of each file in the system directory; nothing if the file does not exist.
    std::optional<std::string> tsp1;
    std::optional<std::string> tspi;
    std::optional<std::string> probeLibrary;
    // The dependencies of the toolkit's own service; nothing if it was not installed.
    std::optional<std::vector<std::string>> dependencies;
};

// A set-up with a requested vendor, or with none.
PredictedSetup PredictSetup(const StackMachine& machine, const std::optional<std::string>& vendor);
