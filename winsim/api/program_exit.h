// What a simulated program's exit() leads to.
#pragma once

extern "C"
{
    // Ends the process with an exit code, after its static destruction. The frames that are left are not cleaned up.
    [[noreturn]] void winsim_exit(int status);
}
