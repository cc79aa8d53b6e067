// What a library handle stands for.
#pragma once

#include "winsim/machine/libraries.h"

#include <string>

namespace winsim
{

inline constexpr char kLibrary[] = "library";

// What the library does and holds was settled when it was loaded.
struct LoadedLibrary
{
    std::string path;
    Library library;

    std::string BaseName() const { return path.substr(path.rfind('\\') + 1); }
};

} // namespace winsim
