// How many failures the sweeps try.
#pragma once

#include <cstdlib>
#include <string_view>

enum class Extent
{
    Distinct, // brief, and what several cases do alike fails in the first of them only
    Brief,    // where every run takes long
    Usual,
    Deep // for whoever has the time
};

// The value of the environment variable KELO_FAULTS: "distinct", "brief", "deep" or, for anything else, the usual
// extent.
inline Extent AskedExtent()
{
    const char* const value = std::getenv("KELO_FAULTS");
    const std::string_view asked = value != nullptr ? value : "";
    return asked == "distinct" ? Extent::Distinct
           : asked == "brief"  ? Extent::Brief
           : asked == "deep"   ? Extent::Deep
                               : Extent::Usual;
}

inline bool IsBrief(Extent extent)
{
    return extent <= Extent::Brief;
}
