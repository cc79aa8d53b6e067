// Switches privileges on.
#include "tests/e2e/tools/machine_tool/privileges.h"

#include "src/windows/unique_handle.h"

#include <windows.h>

void MayUse(const wchar_t* privilege)
{
    UniqueKernelHandle token;
    TOKEN_PRIVILEGES privileges{};
    privileges.PrivilegeCount = 1;
    privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES, token.Put()) &&
        LookupPrivilegeValueW(nullptr, privilege, &privileges.Privileges[0].Luid))
        AdjustTokenPrivileges(token.Get(), FALSE, &privileges, 0, nullptr, nullptr);
}
