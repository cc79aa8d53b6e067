// What Windows' C runtime has beyond the standard library, for the simulated machine.
#pragma once

#include "winsim_types.h"

#include <cstdarg>
#include <cstdio>

using errno_t = int;
inline constexpr std::size_t _TRUNCATE = static_cast<std::size_t>(-1);

extern "C"
{
    std::FILE* _fsopen(const char* path, const char* mode, int shareFlag);
    int _vsnprintf_s(char* buffer, std::size_t sizeOfBuffer, std::size_t count, const char* format, va_list arguments);
    errno_t strcpy_s(char* destination, std::size_t size, const char* source);
    errno_t strcat_s(char* destination, std::size_t size, const char* source);
    int _stricmp(const char* left, const char* right);
    int _wcsicmp(const WCHAR* left, const WCHAR* right);
    int _wcsnicmp(const WCHAR* left, const WCHAR* right, std::size_t count);
    errno_t _wsplitpath_s(const WCHAR* path, WCHAR* drive, std::size_t driveSize, WCHAR* directory,
                          std::size_t directorySize, WCHAR* name, std::size_t nameSize, WCHAR* extension,
                          std::size_t extensionSize);
    errno_t _wmakepath_s(WCHAR* path, std::size_t size, const WCHAR* drive, const WCHAR* directory, const WCHAR* name,
                         const WCHAR* extension);
}
