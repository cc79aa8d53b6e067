// The exit() of a simulated program.
#pragma once

extern "C"
{
    // Runs the static destructors and ends the process with an exit code. Its stack is not unwound.
    [[noreturn]] void winsim_exit(int status);
}
