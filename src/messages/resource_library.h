// The libraries that hold the program's texts, one for each language.
#pragma once

#include <windows.h>

// Loads the resource library of the user interface's language or, if there is none, the English one (LoadLibraryA). Its
// name is `baseName` (ANSI, cut after 260 characters), an underscore, the language's suffix and ".dll". A null base
// name stands for the program's own path up to its last period. A name without a folder is looked for beside the
// program and in the system folder. Logs nothing. Returns the library, which is never freed; null when neither library
// loads, when the language has no two-letter name, and, for a null base name, when the program's path cannot be read,
// has 260 characters or more, or has no period.
HMODULE LoadResourceLibrary(const char* baseName);
