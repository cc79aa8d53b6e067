// Takes the program's path apart.
#include "entry/install_folder.h"

#include "platform/text.h"

#include <windows.h>

#include <cstdlib>

std::string InstallFolderOf(const wchar_t* programPath)
{
    wchar_t drive[MAX_PATH] = {};
    wchar_t directory[MAX_PATH] = {};
    if (_wsplitpath_s(programPath, drive, MAX_PATH, directory, MAX_PATH, nullptr, 0, nullptr, 0) != 0)
        return {};
    wchar_t folder[MAX_PATH] = {};
    if (_wmakepath_s(folder, MAX_PATH, drive, directory, nullptr, nullptr) != 0)
        return {};
    return ToNarrow(folder);
}
