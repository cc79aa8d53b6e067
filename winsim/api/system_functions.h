// The functions that Windows' own libraries export on a simulated machine.
#pragma once

#include <cstdint>
#include <span>

namespace winsim
{

// A function that GetProcAddress finds in a library of the system folder.
struct SystemFunction
{
    const char* library;
    const char* name;
    void* address;
    std::uint32_t sinceMajor = 0; // the first version of Windows that has it; 0: all have it
    std::uint32_t sinceMinor = 0;
};

std::span<const SystemFunction> SystemFunctions();

} // namespace winsim
