// Memory that a call allocates and the process frees with LocalFree.
#pragma once

namespace winsim
{

struct LocalBlock
{
    static constexpr char kKind[] = "block";
};

} // namespace winsim
