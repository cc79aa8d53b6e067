// Throws and faults.
#include "thrown.h"

#include <windows.h>

void Throw(const std::string& what)
{
    volatile int* volatile nowhere = nullptr;
    volatile int zero = 0;
    constexpr DWORD kForeignException = 0xE06D7363;
    if (what == "access-violation")
        *nowhere = 1;
    if (what == "division-by-zero")
        zero = 7 / zero;
    if (what == "C++-exception")
        RaiseException(kForeignException, EXCEPTION_NONCONTINUABLE, 0, nullptr);
    if (what == "number")
        throw 42;
}
