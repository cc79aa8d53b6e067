// Memory that a call hands out for the process to give back with LocalFree.
#pragma once

namespace winsim
{

struct LocalBlock
{
    static constexpr char kKind[] = "block";
};

} // namespace winsim
