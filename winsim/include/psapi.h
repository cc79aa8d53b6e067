// Listing processes, for the simulated machine.
#pragma once

#include "winsim_types.h"

inline constexpr LONG ERROR_PARTIAL_COPY = 299;

extern "C"
{
    BOOL WINAPI EnumProcesses(DWORD* lpidProcess, DWORD cb, LPDWORD lpcbNeeded);
    BOOL WINAPI EnumProcessModules(HANDLE hProcess, HMODULE* lphModule, DWORD cb, LPDWORD lpcbNeeded);
    DWORD WINAPI GetModuleBaseNameA(HANDLE hProcess, HMODULE hModule, LPSTR lpBaseName, DWORD nSize);
}
