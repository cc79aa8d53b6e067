// The functions of a library that is loaded at run time.
#pragma once

#include <windows.h>

// The function that a loaded library exports as `name` (GetProcAddress), as a pointer of the type that the caller
// names; null, with the last error of GetProcAddress, when there is none. Logs nothing.
template <typename Function>
Function FindFunction(HMODULE library, const char* name)
{
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}
