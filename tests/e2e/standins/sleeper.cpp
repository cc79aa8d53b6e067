// A program that does nothing until it is ended, or for ten minutes.
#include <windows.h>

int wmain()
{
    constexpr DWORD kMostMs = 10 * 60 * 1000;
    Sleep(kMostMs);
    return 0;
}
