// Checks, makes and holds the way to the install log's file.
#include "log/log_path.h"

#include "windows/text.h"

#include <share.h>
#include <utility>
#include <windows.h>

#include <shlobj.h>

namespace
{

constexpr char kLogFolder[] = "\\Kelo Systems Corp\\InstallLogs\\Toolkit\\";

} // namespace

bool LogPath::Choose(const std::string& appData, const std::string& fileName)
{
    std::string folder = appData + kLogFolder;
    std::string path = folder + fileName;
    if (m_pins && path == m_path)
        return true;
    m_pins.reset();
    const std::wstring wideAppData = ToWide(appData);
    const std::wstring below = ToWide(kLogFolder + fileName);
    if (wideAppData.empty() || below.empty())
        return false;
    m_pins.emplace(wideAppData, below, PinnedPath::Kind::File);
    m_folder = std::move(folder);
    m_path = std::move(path);
    return true;
}

bool LogPath::MakeFolder()
{
    DWORD error = m_pins->Pin();
    if (IsMissing(error))
        error = m_pins->CreateParents();
    if (error != ERROR_SUCCESS)
        return false;
    const int created = SHCreateDirectoryExA(nullptr, m_folder.c_str(), nullptr);
    if (created == ERROR_ALREADY_EXISTS)
        return true;
    return created == ERROR_SUCCESS;
}

std::FILE* LogPath::OpenFile()
{
    DWORD error = m_pins->Pin();
    if (IsMissing(error))
        error = m_pins->CreateEmptyFile();
    return error == ERROR_SUCCESS ? _fsopen(m_path.c_str(), "a", _SH_DENYNO) : nullptr;
}
