// The table of functions that Windows' own libraries export. Their calls are recorded under their own names.
#include "winsim/api/system_functions.h"

#include "bcrypt.h"
#include "fileapi.h"
#include "winbase.h"
#include "winnls.h"

namespace winsim
{

namespace
{

template <typename Function>
void* AddressOf(Function* function)
{
    return reinterpret_cast<void*>(function);
}

const SystemFunction kFunctions[] = {
    {"bcrypt.dll", "BCryptAddContextFunctionProvider", AddressOf(&BCryptAddContextFunctionProvider), 6, 0},
    {"bcrypt.dll", "BCryptRegisterProvider", AddressOf(&BCryptRegisterProvider), 6, 0},
    {"bcrypt.dll", "BCryptRemoveContextFunctionProvider", AddressOf(&BCryptRemoveContextFunctionProvider), 6, 0},
    {"bcrypt.dll", "BCryptUnregisterProvider", AddressOf(&BCryptUnregisterProvider), 6, 0},
    {"kernel32.dll", "GetFinalPathNameByHandleW", AddressOf(&GetFinalPathNameByHandleW), 6, 0},
    {"kernel32.dll", "GetThreadUILanguage", AddressOf(&GetThreadUILanguage), 6, 0},
    {"kernel32.dll", "GetTickCount", AddressOf(&GetTickCount)},
    {"kernel32.dll", "IsWow64Process", AddressOf(&IsWow64Process)},
    {"kernel32.dll", "SetProcessMitigationPolicy", AddressOf(&SetProcessMitigationPolicy), 6, 2},
};

} // namespace

std::span<const SystemFunction> SystemFunctions()
{
    return kFunctions;
}

} // namespace winsim
