// The runtime with which a simulated program is linked. It replaces the host's functions for wide characters, which
// have 16 bits in the program, and for streams, whose files are on the simulated machine.
#include "winsim/api/program_exit.h"
#include "winsim/api/streams.h"

#include "msvcrt.h"
#include "winbase.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <cxxabi.h>

extern "C" void* __dso_handle;

extern "C"
{

    std::size_t wcslen(const wchar_t* text)
    {
        std::size_t length = 0;
        while (text[length] != L'\0')
            ++length;
        return length;
    }

    int wmemcmp(const wchar_t* left, const wchar_t* right, std::size_t count)
    {
        for (std::size_t i = 0; i < count; ++i)
        {
            if (left[i] != right[i])
                return left[i] < right[i] ? -1 : 1;
        }
        return 0;
    }

    int wcscmp(const wchar_t* left, const wchar_t* right)
    {
        while (*left != L'\0' && *left == *right)
        {
            ++left;
            ++right;
        }
        return *left == *right ? 0 : (*left < *right ? -1 : 1);
    }

    wchar_t* wmemcpy(wchar_t* destination, const wchar_t* source, std::size_t count)
    {
        return static_cast<wchar_t*>(std::memcpy(destination, source, count * sizeof(wchar_t)));
    }

    wchar_t* wmemmove(wchar_t* destination, const wchar_t* source, std::size_t count)
    {
        return static_cast<wchar_t*>(std::memmove(destination, source, count * sizeof(wchar_t)));
    }

    wchar_t* wmemset(wchar_t* destination, wchar_t unit, std::size_t count)
    {
        for (std::size_t i = 0; i < count; ++i)
            destination[i] = unit;
        return destination;
    }

    const wchar_t* wmemchr(const wchar_t* text, wchar_t unit, std::size_t count)
    {
        for (std::size_t i = 0; i < count; ++i)
        {
            if (text[i] == unit)
                return text + i;
        }
        return nullptr;
    }

    int fputs(const char* text, std::FILE* stream)
    {
        return winsim_fputs(text, stream);
    }

    int fflush(std::FILE* stream)
    {
        return winsim_fflush(stream);
    }

    int fclose(std::FILE* stream)
    {
        return winsim_fclose(stream);
    }

    void exit(int status)
    {
        winsim_exit(status);
    }

    void _Exit(int status)
    {
        ExitProcess(static_cast<UINT>(status));
    }

    // Runs the static destructors, as Windows' start-up code does at the end of a program.
    void WinsimDestroyStatics()
    {
        abi::__cxa_finalize(&__dso_handle);
    }

    int printf(const char* format, ...)
    {
        char text[1024] = {};
        va_list arguments;
        va_start(arguments, format);
        _vsnprintf(text, sizeof text - 1, format, arguments);
        va_end(arguments);
        return winsim_print(text);
    }

} // extern "C"
