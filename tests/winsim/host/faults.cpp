// Tells whether a call faults, on the simulated machine.
#include "tests/winsim/support.h"

bool Faults(const std::function<void()>& call)
{
    try
    {
        call();
        return false;
    }
    // Where no process dies of it, the simulated machine throws the fault.
    catch (...)
    {
        return true;
    }
}
