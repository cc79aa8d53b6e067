// The processes that the simulated process started or ended.
#pragma once

#include "winsim/machine/programs.h"

#include <cstdint>
#include <map>

namespace winsim
{

struct ChildProcess
{
    std::uint32_t id = 0;
    std::uint32_t threadId = 0; // of its first thread
    std::uint64_t endsAtMs = 0; // on the simulated process's clock (Simulation::ClockMs)
    bool hasEnded = false;
    ProgramRun run;
};

} // namespace winsim
