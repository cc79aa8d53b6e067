// Installs and removes a driver of the virtual smart card.
#include "smartcard/card_driver.h"

#include "log/module_logs.h"
#include "log/operation.h"
#include "smartcard/tpm_smart_card.h"
#include "windows/full_path.h"
#include "windows/shell_folder.h"

#include <windows.h>

#include <shlobj.h>

#include <utility>

namespace
{

// The folder of the driver packages, in the install location.
constexpr wchar_t kDriverFolder[] = L"\\TPM_VSCard\\";

void Log(const std::optional<LogFormat<>>& line)
{
    if (line)
        WriteLog(g_smartcardLog, *line);
}

// Whether an install location is one: neither null nor anything but a full path.
bool IsLocation(const wchar_t* location)
{
    return location != nullptr && IsFullPath(location);
}

bool Run(const DriverCommand& command, const std::wstring& driverFolder)
{
    if (CTPMSmartCard::RunDriverStager(driverFolder, command.arguments) == 0)
        return true;
    WriteLog(g_smartcardLog, command.failure);
    return false;
}

// Whether this is a 32-bit process on 64-bit Windows, which runs no commands. Not asked again where such a process is
// refused at once.
bool SkipsCommands(const CardDriver& driver)
{
    return driver.allowsWow64 && CTPMSmartCard::IsWOW64Process();
}

std::optional<CardFolders> FindFolders(const CardDriver& driver)
{
    auto system = GetShellFolder(CSIDL_SYSTEM);
    if (!system)
    {
        WriteLog(g_smartcardLog, "Install SmartCard - Failed to get path to ...\\System32");
        return std::nullopt;
    }
    if (!driver.usesWindowsFolder)
        return CardFolders{std::move(*system), {}};
    auto windows = GetShellFolder(CSIDL_WINDOWS);
    if (!windows)
    {
        WriteLog(g_smartcardLog, "Install SmartCard - Failed to get path to ...\\Windows");
        return std::nullopt;
    }
    return CardFolders{std::move(*system), std::move(*windows)};
}

// The first command that could not be started ends the list.
bool RunInstallCommands(const CardDriver& driver, const std::wstring& driverFolder)
{
    if (SkipsCommands(driver))
        return true;
    for (const DriverCommand& command : driver.installCommands)
    {
        if (!Run(command, driverFolder))
            return false;
    }
    return true;
}

// The folder of the driver packages; without any install location, its name alone.
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

void RunRemoveCommands(const CardDriver& driver, const wchar_t* location)
{
    const std::wstring driverFolder = DriverFolderForRemoval(location);
    if (SkipsCommands(driver))
        return;
    for (const DriverCommand& command : driver.removeCommands)
        Run(command, driverFolder);
}

// A body library that is not there is passed over.
void DeleteNowOrAtReboot(const CardDriver& driver, const std::wstring& path)
{
    if (DeleteFileW(path.c_str()))
    {
        Log(driver.bodyDeleted);
        return;
    }
    const DWORD error = GetLastError();
    if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND)
        return;
    WriteLog(g_smartcardLog, driver.bodyMarked);
    MoveFileExW(path.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT);
}

int Install(const CardDriver& driver, const wchar_t* location, bool isInstalled)
{
    if (!CTPMSmartCard::IsSupportedConfiguration(driver.allowsWow64))
    {
        WriteLog(g_smartcardLog, driver.installRefused);
        return 0;
    }
    if (isInstalled)
    {
        // Required: the reader's installation names the minidriver here.
        WriteLog(g_smartcardLog, "Install MiniDriver - Kelo VSC already installed... skipping....");
        return 0;
    }
    CTPMSmartCard::ConfigureCertPropService();
    CTPMSmartCard::ConfigureSmartCardService();

    const auto folders = FindFolders(driver);
    if (!folders)
        return CTPMSmartCard::kNoFolder;
    if (!IsLocation(location))
    {
        WriteLog(g_smartcardLog, "Install SmartCard - Failed; Location of installation was not provided");
        return CTPMSmartCard::kNoFolder;
    }
    const std::wstring driverFolder = std::wstring(location) + kDriverFolder;
    if (!driver.copyBodies(driverFolder, *folders))
        return CTPMSmartCard::kNotCopied;
    if (!RunInstallCommands(driver, driverFolder))
        return CTPMSmartCard::kCommandFailed;
    Log(driver.installed);
    return 0;
}

int Remove(const CardDriver& driver, const wchar_t* location, bool isInstalled)
{
    if (!CTPMSmartCard::IsSupportedConfiguration(driver.allowsWow64))
    {
        WriteLog(g_smartcardLog, driver.removeRefused);
        return 0;
    }
    driver.announceRemoval(isInstalled);
    if (!isInstalled)
        return 0;
    RunOperation(g_smartcardLog, driver.removeName, false, [&driver, location] {
        RunRemoveCommands(driver, location);
        return true;
    });

    const auto systemFolder = GetShellFolder(CSIDL_SYSTEM);
    if (!systemFolder)
    {
        WriteLog(g_smartcardLog, driver.noSystemFolder);
        return CTPMSmartCard::kNoFolder;
    }
    DeleteNowOrAtReboot(driver, *systemFolder + L"\\" + driver.bodyLibrary);
    Log(driver.removed);
    return 0;
}

} // namespace

int InstallDriver(const CardDriver& driver, const wchar_t* location, bool isInstalled)
{
    return RunOperation(g_smartcardLog, driver.installName, CTPMSmartCard::kNotCopied,
                        [&driver, location, isInstalled] { return Install(driver, location, isInstalled); });
}

int RemoveDriver(const CardDriver& driver, const wchar_t* location, bool isInstalled)
{
    return RunOperation(g_smartcardLog, driver.removeName, CTPMSmartCard::kNoFolder,
                        [&driver, location, isInstalled] { return Remove(driver, location, isInstalled); });
}
