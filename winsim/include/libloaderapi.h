// Libraries, for the simulated machine.
#pragma once

#include "winsim_types.h"

using FARPROC = LONG_PTR(WINAPI*)();

inline constexpr UINT SEM_FAILCRITICALERRORS = 0x0001;
inline constexpr UINT SEM_NOOPENFILEERRORBOX = 0x8000;

extern "C"
{
    HMODULE WINAPI LoadLibraryA(LPCSTR lpLibFileName);
    HMODULE WINAPI LoadLibraryW(LPCWSTR lpLibFileName);
    BOOL WINAPI FreeLibrary(HMODULE hLibModule);
    FARPROC WINAPI GetProcAddress(HMODULE hModule, LPCSTR lpProcName);
    DWORD WINAPI GetModuleFileNameA(HMODULE hModule, LPSTR lpFilename, DWORD nSize);
    BOOL WINAPI SetDllDirectoryW(LPCWSTR lpPathName);
    UINT WINAPI SetErrorMode(UINT uMode);
}
