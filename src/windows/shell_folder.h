// Where Windows keeps its own folders.
#pragma once

#include <optional>
#include <string>

// The path (UTF-16, no backslash at the end) of the folder that a CSIDL constant names (SHGetFolderPathW, no
// token, current path). Nothing when Windows does not know it, when it does not exist, and when there is no
// memory for it. Logs nothing.
std::optional<std::wstring> GetShellFolder(int csidl);
