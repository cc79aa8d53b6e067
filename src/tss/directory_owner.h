// Whom a directory belongs to.
#pragma once

#include <windows.h>

#include <string>

// Makes `administrators` the owner of a directory that belongs to an ordinary user, who could otherwise replace its
// access list for good. `directory` is open with READ_CONTROL and keeps `path` (UTF-16) from leading elsewhere; the
// owner is changed through a second handle (CreateFileW, SetSecurityInfo), with the privilege to take ownership where
// the process has it. 0 when the directory belongs to no ordinary user afterwards, or the error of the call that
// failed. Logs nothing.
DWORD TakeFromUser(const std::wstring& path, HANDLE directory, PSID administrators);
