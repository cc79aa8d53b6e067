// A fault of the processor in a described function or call.
#pragma once

#include <cstdint>

namespace winsim
{

// Thrown as an exception of a type that nobody but the machine knows.
struct ProcessorFault
{
    const char* name;       // for people
    std::uint32_t exitCode; // of a process that dies of it
};

inline constexpr ProcessorFault kAccessViolation = {"access violation", 0xC0000005};
inline constexpr ProcessorFault kDivisionByZero = {"division by zero", 0xC0000094};

} // namespace winsim
