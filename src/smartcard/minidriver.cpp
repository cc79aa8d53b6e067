// Installs and removes the smart-card minidriver.
#include "smartcard/minidriver.h"

#include "log/module_logs.h"
#include "smartcard/tpm_smart_card.h"
#include "windows/fill_pattern.h"

#include <windows.h>

namespace
{

// One copy of a body library. The pattern of its target takes the folder and the file name.
struct BodyLibrary
{
    const wchar_t* fileName;
    const wchar_t* targetPattern;
    std::wstring CardFolders::*targetFolder;
    LogFormat<DWORD> failure;
};

constexpr BodyLibrary kBodies64[] = {
    {L"KeloMiniDriverBody64.dll", L"%s\\%s", &CardFolders::system,
     "Install SmartCard - Failed to copy the KeloMiniDriverBody64.dll to System32 err: %d"},
    {L"KeloMiniDriverBody.dll", L"%s\\SysWOW64\\%s", &CardFolders::windows,
     "Install SmartCard - Failed to copy the KeloMiniDriverBody.dll to SysWOW64 err: %d"},
};

constexpr BodyLibrary kBodies32[] = {
    {L"KeloMiniDriverBody.dll", L"%s\\%s", &CardFolders::system,
     "Install SmartCard - Failed to copy the KeloMiniDriverBody.dll to System32 err: %d"},
};

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

bool CopyBodies(std::span<const BodyLibrary> bodies, const std::wstring& driverFolder, const CardFolders& folders)
{
    for (const BodyLibrary& body : bodies)
    {
        const std::wstring source = driverFolder + body.fileName;
        const std::wstring target = FillPattern(body.targetPattern, {folders.*body.targetFolder, body.fileName});
        if (CopyFileW(source.c_str(), target.c_str(), FALSE))
            continue;
        WriteLog(g_smartcardLog, body.failure, GetLastError());
        return false;
    }
    return true;
}

bool CopyBodies64(const std::wstring& driverFolder, const CardFolders& folders)
{
    return CopyBodies(kBodies64, driverFolder, folders);
}

bool CopyBodies32(const std::wstring& driverFolder, const CardFolders& folders)
{
    return CopyBodies(kBodies32, driverFolder, folders);
}

void AnnounceRemoval(bool isInstalled)
{
    if (isInstalled)
        WriteLog(g_smartcardLog, "CTPMSmartCard::UninstallMiniDrv - Uninstall the mini-Driver");
    else
        WriteLog(g_smartcardLog, "CTPMSmartCard::UninstallMiniDrv - Remove SmartCard - VSC not currently "
                                 "installed... skipping....");
}

// Required: the removal leaves the library in the 32-bit system directory.
constexpr CardDriver kMiniDriver64 = {
    .allowsWow64 = true,
    .usesWindowsFolder = true,
    .bodyLibrary = kBodies64[0].fileName,
    .installName = "CTPMSmartCard::InstallMiniDrv",
    .installRefused = "Install MiniDriver - XP... skipping....",
    .copyBodies = &CopyBodies64,
    .installCommands = kInstallCommands,
    .installed = LogFormat<>{"Install SmartCard - mini-Driver installed"},
    .removeName = "CTPMSmartCard::UninstallMiniDrv",
    .removeRefused = "CTPMSmartCard::UninstallMiniDrv - Remove SmartCard - not a valid "
                     "system/configuration... skipping....",
    .announceRemoval = &AnnounceRemoval,
    .removeCommands = kRemoveCommands,
    .noSystemFolder = "CTPMSmartCard::UninstallMiniDrv - Remove SmartCard - Failed to get path to ...\\System32",
    // Required: the text names the reader's library.
    .bodyMarked = "CTPMSmartCard::UninstallMiniDrv - Remove SmartCard - couldn't directly delete the VReaderBody dll, "
                  "mark for deletion on reboot",
    .bodyDeleted = std::nullopt,
    .removed = LogFormat<>{"CTPMSmartCard::UninstallMiniDrv - Removed the virtual smart card"},
};

} // namespace

CardDriver MiniDriver(bool is64BitBuild)
{
    CardDriver driver = kMiniDriver64;
    if (!is64BitBuild)
    {
        driver.bodyLibrary = kBodies32[0].fileName;
        driver.copyBodies = &CopyBodies32;
    }
    return driver;
}

int CTPMSmartCard::InstallMiniDrv(const wchar_t* location) const
{
    return InstallDriver(MiniDriver(Is64BitBuild()), location, m_bKlSCardInstalled);
}

int CTPMSmartCard::UninstallMiniDrv(const wchar_t* location) const
{
    return RemoveDriver(MiniDriver(Is64BitBuild()), location, m_bKlSCardInstalled);
}
