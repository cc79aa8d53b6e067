// Where a Windows service's program lies.
#pragma once

#include <string>

// Finds the directory of a service's program in the service's configuration (QueryServiceConfigW). Takes the
// service's name (UTF-16). True with the directory, without a backslash at its end, in `directory` (UTF-16);
// false, with `directory` untouched, when the service cannot be opened, when its configuration has more than
// 4096 bytes or cannot be read, when the configured path holds no backslash, and when there is no memory for it. The
// path is taken to begin with a quotation mark: one that does not loses its drive letter instead. Logs nothing.
bool GetServiceBinaryPath(const wchar_t* serviceName, std::wstring& directory);
