// The toolkit's registry keys under HKEY_LOCAL_MACHINE, and safe reads of their values.
#pragma once

#include <windows.h>

#include <optional>
#include <string>

// Required: the maker's name ends in a period in some keys and not in others.
inline constexpr char kCommonKey[] = "SOFTWARE\\Kelo Systems Corp\\Common";
inline constexpr char kCommonKeyWithPeriod[] = "SOFTWARE\\Kelo Systems Corp.\\Common";

// REG_DWORD in kCommonKey: whether the virtual smart card was present when the toolkit was last removed.
inline constexpr char kVscInstalledValue[] = "KlVSC Installed";

// REG_SZ or REG_EXPAND_SZ: the directory that the toolkit is installed in.
inline constexpr char kInstallationPathValue[] = "Installation Path";

// Reads a REG_DWORD of an open key (RegQueryValueExA; `valueName` is ANSI). Nothing when there is no such value, when
// it has another type or size, or when it cannot be read. Logs nothing.
std::optional<DWORD> ReadDword(HKEY key, const char* valueName);

// Reads a REG_SZ or REG_EXPAND_SZ of an open key (`valueName` is ANSI): its text (ANSI, not expanded) up to the first
// zero, which a stored text need not have. Logs nothing.
// Reads twice (RegQueryValueExA): the length, then a buffer of that length. Nothing when there is no such value, when
// it has another type, when the first read fails, or when memory runs out.
// Required: the result of the second read is ignored; a value that no longer fits gives what Windows has put into the
// buffer, which may be nothing.
std::optional<std::string> ReadText(HKEY key, const char* valueName);

// Reads the same at once into a buffer of `capacity` bytes. Nothing also when the text with its terminating zero is
// longer.
std::optional<std::string> ReadText(HKEY key, const char* valueName, DWORD capacity);
