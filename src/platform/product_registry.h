// The toolkit's registry keys under HKEY_LOCAL_MACHINE, and safe reads of what is stored in them.
#pragma once

#include <windows.h>

#include <optional>

// The maker's name ends in a period in some keys and not in others; both spellings are in use.
inline constexpr char kCommonKey[] = "SOFTWARE\\Kelo Systems Corp\\Common";

// REG_DWORD in kCommonKey: whether the virtual smart card was present when the toolkit was last removed.
inline constexpr char kVscInstalledValue[] = "KlVSC Installed";

// The REG_DWORD stored as `valueName` (ANSI) of an open key (RegQueryValueExA). Nothing when there is no such
// value, when it has another type or size, and when it cannot be read. Logs nothing.
std::optional<DWORD> ReadDword(HKEY key, const char* valueName);
