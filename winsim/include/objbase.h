// COM apartments, for the simulated machine.
#pragma once

#include "winsim_types.h"

inline constexpr DWORD COINIT_MULTITHREADED = 0x0;
inline constexpr DWORD COINIT_APARTMENTTHREADED = 0x2;
inline constexpr HRESULT RPC_E_CHANGED_MODE = static_cast<HRESULT>(0x80010106);

extern "C"
{
    HRESULT WINAPI CoInitializeEx(LPVOID pvReserved, DWORD dwCoInit);
    void WINAPI CoUninitialize();
}
