// The object of a library's handle.
#pragma once

#include "winsim/machine/libraries.h"

#include <string>

namespace winsim
{

// A copy of the library as it was when it was loaded.
struct LoadedLibrary
{
    static constexpr char kKind[] = "library";

    std::string path;
    Library library;

    std::string BaseName() const { return path.substr(path.rfind('\\') + 1); }
};

} // namespace winsim
