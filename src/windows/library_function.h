// Functions of libraries that are loaded at run time.
#pragma once

#include <windows.h>

// Returns the function that a loaded library exports as `name` (ANSI), as a pointer of type `Function`; null, with the
// last error, when there is none (GetProcAddress). Logs nothing.
template <typename Function>
Function FindFunction(HMODULE library, const char* name)
{
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}
