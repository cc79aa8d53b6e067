// The folder of the program's own file.
#pragma once

#include <string>

// Returns the drive and directory of a path (UTF-16), ending in a backslash, in the ANSI code page. Empty when the path
// has neither, or when they have 260 characters or more. Logs nothing.
std::string InstallFolderOf(const wchar_t* programPath);
