// String resources, for the simulated machine.
#pragma once

#include "winsim_types.h"

inline constexpr LONG ERROR_RESOURCE_DATA_NOT_FOUND = 1812;
inline constexpr LONG ERROR_RESOURCE_NAME_NOT_FOUND = 1814;

extern "C"
{
    int WINAPI LoadStringA(HINSTANCE hInstance, UINT uID, LPSTR lpBuffer, int cchBufferMax);
}
