// What a library handle stands for.
#pragma once

#include "winsim/machine/libraries.h"

#include <string>

namespace winsim
{

// What the library does and holds was settled when it was loaded.
struct LoadedLibrary
{
    static constexpr char kKind[] = "library";

    std::string path;
    Library library;

    std::string BaseName() const { return path.substr(path.rfind('\\') + 1); }
};

} // namespace winsim
