// String resources, for the simulated machine.
#pragma once

#include "winsim_types.h"

extern "C"
{
    int WINAPI LoadStringA(HINSTANCE hInstance, UINT uID, LPSTR lpBuffer, int cchBufferMax);
}
