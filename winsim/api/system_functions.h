// The functions that Windows' own libraries export on a simulated machine.
#pragma once

#include <span>

namespace winsim
{

// One function that GetProcAddress finds in a library of the system folder.
struct SystemFunction
{
    const char* library;
    const char* name;
    void* address;
};

std::span<const SystemFunction> SystemFunctions();

} // namespace winsim
