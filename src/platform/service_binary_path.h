// The directory of a Windows service's program.
#pragma once

#include <string>

// Reads the directory of a service's program (`directory`, UTF-16, without a backslash at the end) from the
// configuration of the service (`serviceName`, UTF-16; QueryServiceConfigW). Logs nothing.
// Returns  true   found
//          false  the service cannot be opened; its configuration has more than 4096 bytes or cannot be read; the
//                 configured path has no backslash; or memory has run out. `directory` is untouched.
// Required: the path's first character, usually a quotation mark, is dropped; a path without one loses its drive
// letter.
bool GetServiceBinaryPath(const wchar_t* serviceName, std::wstring& directory);
