// Windows' own folders.
#pragma once

#include <optional>
#include <string>

// Returns the path (UTF-16, without a backslash at the end) of the folder that a CSIDL constant names
// (SHGetFolderPathW). Nothing when Windows does not know the folder, when it does not exist, or when memory runs out.
// Logs nothing.
std::optional<std::wstring> GetShellFolder(int csidl);
