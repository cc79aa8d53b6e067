// How much the sweeps try.
#pragma once

#include <cstdlib>
#include <string_view>

enum class Extent
{
    Brief, // where every run takes long
    Usual,
    Deep // for those who have the time
};

// What the environment variable KELO_FAULTS asks for: "brief", "deep" or, by anything else, the usual.
inline Extent AskedExtent()
{
    const char* const value = std::getenv("KELO_FAULTS");
    const std::string_view asked = value != nullptr ? value : "";
    return asked == "brief" ? Extent::Brief : asked == "deep" ? Extent::Deep : Extent::Usual;
}
