// What a service handle stands for.
#pragma once

#include <cstdint>
#include <string>

namespace winsim
{

inline constexpr char kService[] = "service"; // the kind of the handle

struct OpenService
{
    std::string name;
    std::uint32_t access = 0;
};

} // namespace winsim
