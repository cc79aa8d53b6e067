// Has a library that the program loads by its name alone come from the system folder, like those whose functions it
// imports: Windows would look in the program's own folder first.
#include "delayed_call.h"

#include <cwchar>

namespace
{

HMODULE WINAPI LoadByName(const wchar_t* name)
{
    return std::wcschr(name, L'\\') == nullptr ? LoadSystemLibrary(name) : LoadLibraryExW(name, nullptr, 0);
}

} // namespace

// What calls of LoadLibraryW go through, in place of Windows' own.
extern "C" const decltype(&LoadLibraryW) kLoadLibraryW asm("__imp_LoadLibraryW");
const decltype(&LoadLibraryW) kLoadLibraryW = &LoadByName;
