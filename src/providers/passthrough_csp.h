// The choice of the Microsoft provider that the pass-through cryptographic service provider (CSP) uses.
#pragma once

#include <windows.h>

// Results of SetPassthroughCsp, besides 0. Both have a message for the user.
inline constexpr DWORD kCapiKeyNotCreated = 10039;
inline constexpr DWORD kCapiValueNotWritten = 10040;

// Writes the name of the best registered Microsoft RSA provider, or an empty text, to the registry value
// "PassthroughCSP". Logs nothing.
// Returns  0                     written
//          kCapiKeyNotCreated    the registry key could be neither created nor opened
//          kCapiValueNotWritten  the value could not be written
DWORD SelectPassthroughCsp();

// The same.
// Required: `flag` is ignored.
DWORD SetPassthroughCsp(int flag);
