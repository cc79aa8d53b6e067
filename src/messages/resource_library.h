// The libraries that hold the program's texts, one for each language.
#pragma once

#include <windows.h>

// Loads the resource library of the user interface's language (LoadLibraryA): `baseName` (ANSI, of which 260 characters
// count), an underscore, the language's suffix and ".dll"; the English one when there is none for the language. Without
// a base name (null) it is the program's own path up to its last period. A name without a folder is looked for beside
// the program and in the system folder. The handle, which the caller does not own alone and may keep for good; null
// when neither library loads, when the language has no two-letter name, and when the program's path cannot be had, has
// 260 characters or more, or has no period. Logs nothing.
HMODULE LoadResourceLibrary(const char* baseName);
