// A library that does nothing, and stands in for any that is only looked at or kept loaded.
#include <windows.h>

BOOL WINAPI DllMain(HINSTANCE, DWORD, void*)
{
    return TRUE;
}
