// Throws and faults.
#include "tests/e2e/standins/thrown.h"

#include <windows.h>

void Throw(const std::wstring& what)
{
    volatile int* volatile nowhere = nullptr;
    volatile int zero = 0;
    constexpr DWORD kForeignException = 0xE06D7363;
    if (what == L"access-violation")
        *nowhere = 1;
    if (what == L"division-by-zero")
        zero = 7 / zero;
    if (what == L"C++-exception")
        RaiseException(kForeignException, EXCEPTION_NONCONTINUABLE, 0, nullptr);
    if (what == L"number")
        throw 42;
}
