// How many failures the sweeps try.
#pragma once

#include <cstdlib>
#include <string_view>

enum class Extent
{
    Watched, // where every run takes several times as long
    Brief,   // all that one case can show, in short
    Usual,
    Deep // for whoever has the time
};

// The value of the environment variable KELO_FAULTS: "watched", "brief", "deep" or, for anything else, the usual
// extent.
inline Extent AskedExtent()
{
    const char* const value = std::getenv("KELO_FAULTS");
    const std::string_view asked = value != nullptr ? value : "";
    return asked == "watched" ? Extent::Watched
           : asked == "brief" ? Extent::Brief
           : asked == "deep"  ? Extent::Deep
                              : Extent::Usual;
}

inline bool IsBrief(Extent extent)
{
    return extent <= Extent::Brief;
}
