// Which Microsoft provider the pass-through cryptographic service provider hands its work on to.
#pragma once

#include <windows.h>

// Result codes of SetPassthroughCsp, besides 0. Both have a message for the user.
inline constexpr DWORD kCapiKeyNotCreated = 10039;
inline constexpr DWORD kCapiValueNotWritten = 10040;

// Records the best Microsoft RSA provider that is registered on the machine as the registry value
// "PassthroughCSP"; an empty text when there is none. `flag` is not looked at. 0, kCapiKeyNotCreated when the
// registry key cannot be created or opened, or kCapiValueNotWritten. Logs nothing.
DWORD SetPassthroughCsp(int flag);

// The same.
DWORD SelectPassthroughCsp();
