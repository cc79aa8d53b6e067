// Tells an object of the machine from another one that later has its name.
#pragma once

#include <cstdint>

namespace winsim
{

// Ignored when two machines are compared, and not described.
struct Identity
{
    std::uint64_t number = 0;

    bool operator==(const Identity&) const { return true; }
};

} // namespace winsim
