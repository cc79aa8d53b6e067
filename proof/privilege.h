// Enables privileges of this process, for the programs that change a machine for the tests or for the proof.
#pragma once

#include "src/windows/unique_handle.h"

#include <windows.h>

namespace proof
{

// Enables a privilege (Windows' name) if the process's token has it. Otherwise the call that needs the privilege fails.
inline void EnablePrivilege(const wchar_t* name)
{
    UniqueKernelHandle token;
    TOKEN_PRIVILEGES privileges{};
    privileges.PrivilegeCount = 1;
    privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES, token.Put()) &&
        LookupPrivilegeValueW(nullptr, name, &privileges.Privileges[0].Luid))
        AdjustTokenPrivileges(token.Get(), FALSE, &privileges, 0, nullptr, nullptr);
}

} // namespace proof
