// Asks Windows for its folders.
#include "windows/shell_folder.h"

#include "windows/result_or.h"

#include <windows.h>

#include <shlobj.h>

std::optional<std::wstring> GetShellFolder(int csidl)
{
    wchar_t path[MAX_PATH] = {};
    // S_FALSE says that there is no such folder.
    if (SHGetFolderPathW(nullptr, csidl, nullptr, SHGFP_TYPE_CURRENT, path) != S_OK)
        return std::nullopt;
    return ResultOr({}, [&path] { return std::optional<std::wstring>(path); });
}
