// Finds the folder in the program's path.
#include "entry/install_folder.h"

#include "windows/text.h"

#include <windows.h>

#include <algorithm>
#include <string_view>

namespace
{

// A drive is any character and a colon.
std::size_t DriveLength(std::wstring_view path)
{
    return path.size() >= 2 && path[1] == L':' ? 2 : 0;
}

} // namespace

std::string InstallFolderOf(const wchar_t* programPath)
{
    const std::wstring_view path = programPath;
    const std::size_t drive = DriveLength(path);
    const std::size_t slash = path.find_last_of(L"\\/");
    const std::size_t length = slash == std::wstring_view::npos ? drive : std::max(drive, slash + 1);
    if (length >= MAX_PATH)
        return {};
    return ToNarrow(path.substr(0, length));
}
