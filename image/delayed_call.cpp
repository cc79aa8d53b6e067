// Loads libraries of the system folder and finds functions in them.
#include "delayed_call.h"

#include <cwchar>

namespace
{

constexpr std::size_t kLongestName = 32;

// The full path of a library in the system folder, with a terminating zero. Returns false, with a last error, if the
// folder cannot be found.
bool MakeSystemPath(wchar_t (&path)[MAX_PATH], const wchar_t* library)
{
    constexpr UINT kRoom = MAX_PATH - kLongestName;
    const UINT length = GetSystemDirectoryW(path, kRoom);
    if (length == 0)
        return false;
    if (length >= kRoom)
    {
        SetLastError(ERROR_FILENAME_EXCED_RANGE);
        return false;
    }
    path[length] = L'\\';
    std::wcscpy(path + length + 1, library);
    return true;
}

} // namespace

HMODULE LoadSystemLibrary(const wchar_t* name)
{
    wchar_t path[MAX_PATH];
    if (!MakeSystemPath(path, name))
        return nullptr;
    // With this flag, the library's own imports are looked for in its folder, not in the program's.
    return LoadLibraryExW(path, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
}

void* FindSystemFunction(HMODULE& library, const wchar_t* libraryName, const char* name)
{
    const DWORD error = GetLastError();
    if (library == nullptr)
        library = LoadSystemLibrary(libraryName);
    void* function = library != nullptr ? reinterpret_cast<void*>(GetProcAddress(library, name)) : nullptr;
    if (function != nullptr)
        SetLastError(error);
    return function;
}
