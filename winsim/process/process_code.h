// Runs the code of the simulated process, and regains control when it ends the process or dies.
#pragma once

#include "winsim/base/processor_fault.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace winsim
{

// Why a process died.
struct Death
{
    std::string reason;        // for people: "access violation", "uncaught exception std::bad_alloc", "abort"
    std::int32_t exitCode = 0; // the exit code that Windows gives such a process
};

// How the process's code ended.
struct CodeEnd
{
    bool hasReturned = false; // false: it left by LeaveProcessCode, or died
    std::optional<Death> death;
};

// Runs the process's code until it returns, leaves by LeaveProcessCode, or dies: of an exception that it does not
// catch, of std::terminate or abort, or of a processor fault. As on Windows, code that leaves or dies is not unwound:
// no destructor of its frames runs. An error of the machine itself (DescriptionError) that the code does not catch is
// thrown again.
CodeEnd RunProcessCode(const std::function<void()>& code);

// Whether the process's code is running.
bool IsInProcessCode();

// Has the process's code die of a processor fault. Where no process's code is running, the fault is thrown.
[[noreturn]] void DieOf(const ProcessorFault& fault);

// Leaves the code that RunProcessCode is running.
[[noreturn]] void LeaveProcessCode();

} // namespace winsim
