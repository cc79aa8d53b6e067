// Installs and removes the smart-card minidriver.
#include "log/module_logs.h"
#include "smartcard/card_driver.h"
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

bool CopyBodies(const std::wstring& driverFolder, const CardFolders& folders)
{
    for (const BodyLibrary& body : kBodies)
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

void AnnounceRemoval(bool isInstalled)
{
    if (isInstalled)
        WriteLog(g_smartcardLog, "CTPMSmartCard::UninstallMiniDrv - Uninstall the mini-Driver");
    else
        WriteLog(g_smartcardLog, "CTPMSmartCard::UninstallMiniDrv - Remove SmartCard - VSC not currently "
                                 "installed... skipping....");
}

// Required: the removal leaves the library in the 32-bit system directory.
constexpr CardDriver kMiniDriver = {
    .allowsWow64 = true,
    .usesWindowsFolder = true,
    .bodyLibrary = kBodies.front().fileName,
    .installName = "CTPMSmartCard::InstallMiniDrv",
    .installRefused = "Install MiniDriver - XP... skipping....",
    .copyBodies = &CopyBodies,
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

int CTPMSmartCard::InstallMiniDrv(const wchar_t* location) const
{
    return InstallDriver(kMiniDriver, location, m_bKlSCardInstalled);
}

int CTPMSmartCard::UninstallMiniDrv(const wchar_t* location) const
{
    return RemoveDriver(kMiniDriver, location, m_bKlSCardInstalled);
}
