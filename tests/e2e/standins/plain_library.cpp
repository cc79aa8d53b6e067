// A library that does nothing: the stand-in for libraries that are only looked at or kept loaded.
#include <windows.h>

BOOL WINAPI DllMain(HINSTANCE, DWORD, void*)
{
    return TRUE;
}
