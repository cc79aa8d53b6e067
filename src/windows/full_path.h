// Paths that do not depend on the current directory.
#pragma once

#include <string_view>

// Whether a path (ANSI or UTF-16) is full: it begins with a drive ("C:\...") or a share ("\\server\share",
// "\\?\C:\..."). Slashes count as backslashes, as they do to Windows. Any other path depends on the current drive or
// its current directory. Logs nothing.
bool IsFullPath(std::string_view path);
bool IsFullPath(std::wstring_view path);

// Whether a path (ANSI) begins with a drive: a letter, a colon and a backslash. Logs nothing.
bool IsPathOnDrive(std::string_view path);
