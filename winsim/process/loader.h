// What Windows' loader keeps for a simulated process.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace winsim
{

// A function of a loaded library that the process has looked up.
struct LibraryFunction
{
    const void* library = nullptr; // its handle
    std::string name;
};

struct Loader
{
    // The directory that takes the current one's place in the search for libraries; an empty one takes it out.
    std::optional<std::string> dllDirectory;
    std::vector<LibraryFunction> functions;
};

} // namespace winsim
