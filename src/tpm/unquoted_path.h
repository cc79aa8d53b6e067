// Program paths that stand in a command line without quotation marks.
#pragma once

#include <string>

// Whether Windows would start another program than the one whose unquoted path (UTF-16) begins a command line. At each
// blank, Windows tries the text before it as a program's path, with and without ".exe": true when there is such a file
// (GetFileAttributesW). Logs nothing.
bool StartsAnotherProgram(const std::wstring& path);
