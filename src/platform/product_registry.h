// The toolkit's registry keys under HKEY_LOCAL_MACHINE, and safe reads of what is stored in them.
#pragma once

#include <windows.h>

#include <optional>
#include <string>

// The maker's name ends in a period in some keys and not in others; both spellings are in use.
inline constexpr char kCommonKey[] = "SOFTWARE\\Kelo Systems Corp\\Common";
inline constexpr char kCommonKeyWithPeriod[] = "SOFTWARE\\Kelo Systems Corp.\\Common";

// REG_DWORD in kCommonKey: whether the virtual smart card was present when the toolkit was last removed.
inline constexpr char kVscInstalledValue[] = "KlVSC Installed";

// REG_SZ or REG_EXPAND_SZ: the directory that the toolkit is installed in.
inline constexpr char kInstallationPathValue[] = "Installation Path";

// The REG_DWORD stored as `valueName` (ANSI) of an open key (RegQueryValueExA). Nothing when there is no such
// value, when it has another type or size, and when it cannot be read. Logs nothing.
std::optional<DWORD> ReadDword(HKEY key, const char* valueName);

// The text (ANSI, not expanded) stored as the REG_SZ or REG_EXPAND_SZ `valueName` (ANSI) of an open key, up to its
// first zero; a stored text need not have one. The value is read twice (RegQueryValueExA): for its length, and into
// a buffer of that length. The second result is not looked at: a value that no longer fits gives as much of it as
// Windows has put into the buffer, which may be nothing. Nothing when there is no such value, when it has another
// type, when it cannot be read the first time, and when there is no memory for it. Logs nothing.
std::optional<std::string> ReadText(HKEY key, const char* valueName);

// The same, read at once (RegQueryValueExA) into a buffer of `capacity` bytes. Nothing also when the text with its
// terminating zero is longer.
std::optional<std::string> ReadText(HKEY key, const char* valueName, DWORD capacity);
