// The calls that read and set the last error.
#include "winsim/process/simulation.h"

#include "errhandlingapi.h"

using winsim::Simulation;

DWORD WINAPI GetLastError()
{
    return Simulation::Current().lastError;
}

void WINAPI SetLastError(DWORD dwErrCode)
{
    Simulation::Current().lastError = dwErrCode;
}
