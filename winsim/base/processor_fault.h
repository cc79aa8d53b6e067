// Processor faults that a described function or a planned failure raises.
#pragma once

#include <cstdint>

namespace winsim
{

// Thrown as an exception. The program does not know this type, so only its handlers for everything catch it.
struct ProcessorFault
{
    const char* name;       // for people
    std::uint32_t exitCode; // of a process that dies of it
};

inline constexpr ProcessorFault kAccessViolation = {"access violation", 0xC0000005};
inline constexpr ProcessorFault kDivisionByZero = {"division by zero", 0xC0000094};

} // namespace winsim
