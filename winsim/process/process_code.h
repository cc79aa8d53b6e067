// Runs the simulated process's own code, and takes hold of it when it ends the process or dies.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace winsim
{

// A fault of the processor in a described function or call: an exception of a type that nobody but the machine knows.
struct ProcessorFault
{
    const char* name;       // for people
    std::uint32_t exitCode; // of a process that dies of it
};

inline constexpr ProcessorFault kAccessViolation = {"access violation", 0xC0000005};
inline constexpr ProcessorFault kDivisionByZero = {"division by zero", 0xC0000094};

// What ended a process that did not mean to end.
struct Death
{
    std::string reason;        // for people: "access violation", "uncaught exception std::bad_alloc", "abort"
    std::int32_t exitCode = 0; // that Windows gives such a process
};

// How the process's code came back.
struct CodeEnd
{
    bool hasReturned = false; // otherwise it left, or died
    std::optional<Death> death;
};

// Runs the process's code until it returns, leaves by LeaveProcessCode, or dies: of an exception that none of its own
// frames catches, of std::terminate or abort, or of a fault of the processor. As on Windows, what leaves or dies does
// so where it is: no destructor of its frames runs. An error of the machine itself (DescriptionError) that passes
// through the code is thrown on.
CodeEnd RunProcessCode(const std::function<void()>& code);

// Whether the process's code is running.
bool IsInProcessCode();

// Leaves the code that RunProcessCode is running.
[[noreturn]] void LeaveProcessCode();

} // namespace winsim
