// Where Windows keeps its own folders.
#pragma once

#include <optional>
#include <string>

// The path (UTF-16, no backslash at the end) of the folder that a CSIDL constant names (SHGetFolderPathW, no
// token, current path). Nothing when Windows does not know it and when it does not exist. Logs nothing.
std::optional<std::wstring> GetShellFolder(int csidl);
