// The state of Windows' loader in a simulated process.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace winsim
{

// A function of a loaded library that the process has looked up.
struct LibraryFunction
{
    const void* library = nullptr; // the library's handle
    std::string name;
};

struct Loader
{
    // The directory that replaces the current one in the search for libraries; empty: neither is searched.
    std::optional<std::string> dllDirectory;
    std::vector<LibraryFunction> functions;
};

} // namespace winsim
