// Calls functions of Windows that it looks for in the wrong libraries, one for each way to fail, and one that it looks
// for in the right one. Writes the result and the last error of each, in hexadecimal.
#include "image/delayed_call.h"

#include <msi.h>
#include <msiquery.h>
#include <objbase.h>
#include <oleauto.h>
#include <winver.h>

#include <cstdio>

KELO_DELAYED(L"kelo_missing.dll", CoInitializeEx, HResult);
KELO_DELAYED(L"kelo_missing.dll", MsiCloseHandle, ErrorCode);
KELO_DELAYED(L"kelo_missing.dll", MsiProcessMessage, MinusOne);
KELO_DELAYED(L"kelo_missing.dll", SysAllocString, LastError);
KELO_DELAYED(L"oleaut32.dll", SysFreeString, LastError);
KELO_DELAYED(L"kernel32.dll", VerQueryValueW, LastError);

namespace
{

constexpr DWORD kErrorBefore = 0x1267;

template <typename Function>
void Show(const char* name, Function function)
{
    SetLastError(kErrorBefore);
    const unsigned long long result = function();
    const DWORD error = GetLastError();
    std::printf("%s %llx %lx\n", name, result, error);
}

} // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, LPWSTR, int)
{
    Show("CoInitializeEx", [] { return static_cast<DWORD>(CoInitializeEx(nullptr, COINIT_MULTITHREADED)); });
    Show("MsiCloseHandle", [] { return MsiCloseHandle(1); });
    Show("MsiProcessMessage", [] { return static_cast<DWORD>(MsiProcessMessage(1, INSTALLMESSAGE_INFO, 1)); });
    Show("SysAllocString", [] { return reinterpret_cast<UINT_PTR>(SysAllocString(L"x")); });
    Show("SysFreeString", [] {
        SysFreeString(nullptr);
        return 0;
    });
    Show("VerQueryValueW", [] { return VerQueryValueW(nullptr, L"\\", nullptr, nullptr); });
    return 0;
}
