// Installs and removes the smart-card minidriver.
#include "log/operation.h"
#include "smartcard/driver_commands.h"
#include "smartcard/smartcard_log.h"
#include "smartcard/tpm_smart_card.h"
#include "windows/fill_pattern.h"
#include "windows/shell_folder.h"

#include <windows.h>

#include <shlobj.h>

namespace
{

constexpr int kNoFolder = -1;
constexpr int kNotCopied = -3;
constexpr int kCommandFailed = -4;

struct Folders
{
    std::wstring system;
    std::wstring windows;
};

// One copy of a body library: the pattern of its target takes a folder and the file's name.
struct BodyLibrary
{
    const wchar_t* fileName;
    const wchar_t* targetPattern;
    std::wstring Folders::*targetFolder;
    LogFormat<DWORD> failure;
};

constexpr BodyLibrary kBodies64[] = {
    {L"KeloMiniDriverBody64.dll", L"%s\\%s", &Folders::system,
     "Install SmartCard - Failed to copy the KeloMiniDriverBody64.dll to System32 err: %d"},
    {L"KeloMiniDriverBody.dll", L"%s\\SysWOW64\\%s", &Folders::windows,
     "Install SmartCard - Failed to copy the KeloMiniDriverBody.dll to SysWOW64 err: %d"},
};

constexpr BodyLibrary kBodies32[] = {
    {L"KeloMiniDriverBody.dll", L"%s\\%s", &Folders::system,
     "Install SmartCard - Failed to copy the KeloMiniDriverBody.dll to System32 err: %d"},
};

constexpr std::span<const BodyLibrary> kBodies =
    CTPMSmartCard::Is64BitBuild() ? std::span<const BodyLibrary>(kBodies64) : std::span<const BodyLibrary>(kBodies32);

constexpr DriverCommand kInstallCommands[] = {
    {L"dp_add_kelo KeloMiniDriver.inf", "Install SmartCard - command dp_add_kelo failed!"},
    {L"install KeloMiniDriver.inf SCFILTER\\CID_4B454C4F5649525455414C43415244",
     "Install SmartCard - failed to install the mini-Driver!"},
};

constexpr DriverCommand kRemoveCommands[] = {
    {L"remove KeloMiniDriver.inf SCFILTER\\CID_4B454C4F5649525455414C43415244",
     "CTPMSmartCard::UninstallMiniDrv - Remove SmartCard - failed to remove the Driver!"},
    {L"-f dp_delete_kelo KeloMiniDriver.inf",
     "CTPMSmartCard::UninstallMiniDrv - Remove SmartCard - command dp_delete_kelo failed!"},
};

bool CopyBodies(const wchar_t* location, const Folders& folders)
{
    for (const BodyLibrary& body : kBodies)
    {
        const std::wstring source = FillPattern(L"%s%s%s", {location, kDriverFolder, body.fileName});
        const std::wstring target = FillPattern(body.targetPattern, {folders.*body.targetFolder, body.fileName});
        if (CopyFileW(source.c_str(), target.c_str(), FALSE))
            continue;
        WriteLog(g_smartcardLog, body.failure, GetLastError());
        return false;
    }
    return true;
}

int InstallMiniDriver(const wchar_t* location, bool isInstalled)
{
    if (!CTPMSmartCard::IsVistaOrLater())
    {
        WriteLog(g_smartcardLog, "Install MiniDriver - XP... skipping....");
        return 0;
    }
    if (isInstalled)
    {
        WriteLog(g_smartcardLog, "Install MiniDriver - Kelo VSC already installed... skipping....");
        return 0;
    }
    CTPMSmartCard::ConfigureCertPropService();
    CTPMSmartCard::ConfigureSmartCardService();

    const auto systemFolder = GetShellFolder(CSIDL_SYSTEM);
    if (!systemFolder)
    {
        WriteLog(g_smartcardLog, "Install SmartCard - Failed to get path to ...\\System32");
        return kNoFolder;
    }
    const auto windowsFolder = GetShellFolder(CSIDL_WINDOWS);
    if (!windowsFolder)
    {
        WriteLog(g_smartcardLog, "Install SmartCard - Failed to get path to ...\\Windows");
        return kNoFolder;
    }
    if (!IsLocation(location))
    {
        WriteLog(g_smartcardLog, "Install SmartCard - Failed; Location of installation was not provided");
        return kNoFolder;
    }

    if (!CopyBodies(location, {*systemFolder, *windowsFolder}))
        return kNotCopied;
    const std::wstring folder = std::wstring(location) + kDriverFolder;
    if (!CTPMSmartCard::IsWOW64Process() && !RunUntilFailure(kInstallCommands, folder))
        return kCommandFailed;
    WriteLog(g_smartcardLog, "Install SmartCard - mini-Driver installed");
    return 0;
}

// False in a 32-bit process on 64-bit Windows, where nothing is run.
bool RemoveDriver(const wchar_t* location)
{
    const std::wstring folder = DriverFolderForRemoval(location);
    if (CTPMSmartCard::IsWOW64Process())
        return false;
    RunAll(kRemoveCommands, folder);
    return true;
}

// What the installation put into the 32-bit system directory stays: that is meant.
int RemoveMiniDriver(const wchar_t* location, bool isInstalled)
{
    if (!CTPMSmartCard::IsVistaOrLater())
    {
        WriteLog(g_smartcardLog, "CTPMSmartCard::UninstallMiniDrv - Remove SmartCard - not a valid "
                                 "system/configuration... skipping....");
        return 0;
    }
    if (!isInstalled)
    {
        WriteLog(g_smartcardLog, "CTPMSmartCard::UninstallMiniDrv - Remove SmartCard - VSC not currently "
                                 "installed... skipping....");
        return 0;
    }
    WriteLog(g_smartcardLog, "CTPMSmartCard::UninstallMiniDrv - Uninstall the mini-Driver");

    RunOperation(g_smartcardLog, "CTPMSmartCard::UninstallMiniDrv", false,
                 [location] { return RemoveDriver(location); });

    const auto systemFolder = GetShellFolder(CSIDL_SYSTEM);
    if (!systemFolder)
    {
        WriteLog(g_smartcardLog, "CTPMSmartCard::UninstallMiniDrv - Remove SmartCard - Failed to get path to "
                                 "...\\System32");
        return kNoFolder;
    }
    // The text is meant to name the reader's library, although the minidriver's is deleted.
    DeleteNowOrAtReboot(FillPattern(L"%s\\%s", {*systemFolder, kBodies.front().fileName}),
                        "CTPMSmartCard::UninstallMiniDrv - Remove SmartCard - couldn't directly delete the "
                        "VReaderBody dll, mark for deletion on reboot");
    WriteLog(g_smartcardLog, "CTPMSmartCard::UninstallMiniDrv - Removed the virtual smart card");
    return 0;
}

} // namespace

int CTPMSmartCard::InstallMiniDrv(const wchar_t* location) const
{
    return RunOperation(g_smartcardLog, "CTPMSmartCard::InstallMiniDrv", kNotCopied,
                        [=, this] { return InstallMiniDriver(location, m_bKlSCardInstalled); });
}

int CTPMSmartCard::UninstallMiniDrv(const wchar_t* location) const
{
    return RunOperation(g_smartcardLog, "CTPMSmartCard::UninstallMiniDrv", kNoFolder,
                        [=, this] { return RemoveMiniDriver(location, m_bKlSCardInstalled); });
}
