// A function that Windows 5.2 lacks and that the toolchain's threads import for waits with a limit. Programs that keep
// these threads link it in place of the import, so that 5.2 loads them.
#include <windows.h>

extern "C"
{
    ULONGLONG WINAPI GetTickCount64()
    {
        return GetTickCount();
    }

    // Where code that was compiled for a library's function looks for its address.
    extern ULONGLONG(WINAPI* const __imp_GetTickCount64)();
    ULONGLONG(WINAPI* const __imp_GetTickCount64)() = &GetTickCount64;
}
