// The object of a service's handle.
#pragma once

#include <cstdint>
#include <string>

namespace winsim
{

struct OpenService
{
    static constexpr char kKind[] = "service";

    std::string name;
    std::uint32_t access = 0;
};

} // namespace winsim
