// The functions that Windows' C runtime adds to the standard library, for the simulated machine.
#pragma once

#include "winsim_types.h"

#include <cstdarg>
#include <cstdio>

extern "C"
{
    std::FILE* _fsopen(const char* path, const char* mode, int shareFlag);
    int _vsnprintf(char* buffer, std::size_t count, const char* format, va_list arguments);
    int _stricmp(const char* left, const char* right);
    int _wcsicmp(const WCHAR* left, const WCHAR* right);
    int _wcsnicmp(const WCHAR* left, const WCHAR* right, std::size_t count);
}
