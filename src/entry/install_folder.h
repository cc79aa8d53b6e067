// Where the program's own file lies.
#pragma once

#include <string>

// Drive and directory of a path (UTF-16), ending in a backslash, in the ANSI code page. Empty when the path
// has neither, and when the drive, the directory or both together have 260 characters or more. Logs nothing.
std::string InstallFolderOf(const wchar_t* programPath);
