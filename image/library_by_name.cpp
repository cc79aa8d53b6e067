// Loads a library that the program names without a path from the system folder, as the delayed imports do: Windows
// would look in the program's own folder first.
#include "delayed_call.h"

#include <cwchar>

namespace
{

HMODULE WINAPI LoadByName(const wchar_t* name)
{
    return std::wcschr(name, L'\\') == nullptr ? LoadSystemLibrary(name) : LoadLibraryExW(name, nullptr, 0);
}

} // namespace

// Calls of LoadLibraryW go through this pointer, in place of Windows' own function.
extern "C" const decltype(&LoadLibraryW) kLoadLibraryW asm("__imp_LoadLibraryW");
const decltype(&LoadLibraryW) kLoadLibraryW = &LoadByName;
