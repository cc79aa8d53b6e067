// Runs lists of device installer commands, and removes what the drivers leave behind.
#include "smartcard/driver_commands.h"

#include "smartcard/smartcard_log.h"
#include "smartcard/tpm_smart_card.h"
#include "windows/full_path.h"

#include <windows.h>

namespace
{

bool Run(const DriverCommand& command, const std::wstring& folder)
{
    if (CTPMSmartCard::RunDriverStager(folder, command.arguments) == 0)
        return true;
    WriteLog(g_smartcardLog, command.failure);
    return false;
}

} // namespace

bool RunUntilFailure(std::span<const DriverCommand> commands, const std::wstring& folder)
{
    for (const DriverCommand& command : commands)
    {
        if (!Run(command, folder))
            return false;
    }
    return true;
}

void RunAll(std::span<const DriverCommand> commands, const std::wstring& folder)
{
    for (const DriverCommand& command : commands)
        Run(command, folder);
}

bool IsLocation(const wchar_t* location)
{
    return location != nullptr && IsFullPath(location);
}

std::wstring DriverFolderForRemoval(const wchar_t* location)
{
    std::wstring folder = kDriverFolder;
    if (IsLocation(location))
        return location + folder;
    std::wstring installPath;
    CTPMSmartCard::GetInstallPath(installPath);
    installPath += folder;
    return IsFullPath(installPath) ? installPath : folder;
}

bool DeleteNowOrAtReboot(const std::wstring& path, LogFormat<> marked)
{
    if (DeleteFileW(path.c_str()))
        return true;
    const DWORD error = GetLastError();
    if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND)
        return false;
    WriteLog(g_smartcardLog, marked);
    MoveFileExW(path.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT);
    return false;
}
