// Program paths that go into a command line without quotation marks.
#pragma once

#include <string>

// Whether Windows would start another program in place of the one whose path (UTF-16) begins a command line without
// quotation marks: at each blank in the path it takes the text before the blank for a program's name, with and without
// ".exe". True when there is such a file (GetFileAttributesW). Logs nothing.
bool StartsAnotherProgram(const std::wstring& path);
