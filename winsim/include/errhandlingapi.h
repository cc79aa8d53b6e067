// The last error, for the simulated machine.
#pragma once

#include "winsim_types.h"

extern "C"
{
    DWORD WINAPI GetLastError();
    void WINAPI SetLastError(DWORD dwErrCode);
}
