// What a service handle stands for.
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
