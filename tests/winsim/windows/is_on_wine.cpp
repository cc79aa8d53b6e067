// Tells Wine from Windows.
#include "tests/winsim/support.h"

bool IsOnWine()
{
    return GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") != nullptr;
}
