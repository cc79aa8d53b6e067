// Runs the simulated process's own code, and takes hold of it when it ends the process or dies.
#pragma once

#include "winsim/base/processor_fault.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace winsim
{

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
