// The owner of a directory.
#pragma once

#include <windows.h>

#include <string>

// Makes `administrators` the owner of a directory if it belongs to an ordinary user: an owner can always replace the
// access list. `directory` is open with READ_CONTROL and keeps `path` (UTF-16) from leading elsewhere. The owner is
// changed through a second handle (CreateFileW, SetSecurityInfo), with the privilege to take ownership if the process
// has it. Returns 0 when the directory does not belong to an ordinary user afterwards, or the error of the call that
// failed. Logs nothing.
DWORD TakeFromUser(const std::wstring& path, HANDLE directory, PSID administrators);
