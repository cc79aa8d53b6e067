// Installs and removes the virtual smart-card reader.
#include "log/module_logs.h"
#include "platform/product_registry.h"
#include "smartcard/card_driver.h"
#include "smartcard/tpm_smart_card.h"
#include "windows/text.h"
#include "windows/unique_handle.h"

namespace
{

constexpr wchar_t kBodyLibrary[] = L"KeloVReaderBody.dll";

constexpr DriverCommand kInstallCommands[] = {
    {L"dp_add_kelo KeloSmartCardDriver.inf", "Install SmartCard - command dp_add_kelo failed!"},
    {L"install KeloSmartCardDriver.inf root\\KeloVirtualReader", "Install SmartCard - failed to install the Driver!"},
};

constexpr DriverCommand kRemoveCommands[] = {
    {L"remove KeloSmartCardDriver.inf root\\KeloVirtualReader", "Remove SmartCard - failed to remove the Driver!"},
    {L"-f dp_delete_kelo KeloSmartCardDriver.inf", "Remove SmartCard - command dp_delete_kelo failed!"},
};

// Copies the body library or, when it is in use, has Windows move it into place at the next start.
bool CopyBody(const std::wstring& driverFolder, const CardFolders& folders)
{
    WriteLog(g_smartcardLog, "System32 Directory: %s", ToNarrow(folders.system).c_str());
    const std::wstring source = driverFolder + kBodyLibrary;
    const std::wstring target = folders.system + L"\\" + kBodyLibrary;
    if (CopyFileW(source.c_str(), target.c_str(), FALSE))
        return true;
    const DWORD error = GetLastError();
    WriteLog(g_smartcardLog, "Install SmartCard - Failed to copy '%s' to '%s' err: %d", ToNarrow(source).c_str(),
             ToNarrow(target).c_str(), error);
    if (MoveFileExW(source.c_str(), target.c_str(), MOVEFILE_DELAY_UNTIL_REBOOT))
        return true;
    WriteLog(g_smartcardLog, "Install SmartCard - Kelo TPM Virtual smart card not installed!!");
    return false;
}

// Notes for the next set-up whether there was a virtual reader to remove.
// Required: a failure is ignored.
void NotePresence(bool present)
{
    UniqueRegistryKey key;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, kCommonKey, 0, KEY_ALL_ACCESS, key.Put()) != ERROR_SUCCESS)
        return;
    if (!present)
    {
        RegDeleteValueA(key.Get(), kVscInstalledValue);
        return;
    }
    const DWORD installed = 1;
    RegSetValueExA(key.Get(), kVscInstalledValue, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&installed),
                   sizeof installed);
}

void AnnounceRemoval(bool isInstalled)
{
    if (!isInstalled)
        WriteLog(g_smartcardLog, "CTPMSmartCard::Uninstall - Kelo Smart Card not installed so skip uninstallation");
    NotePresence(isInstalled);
}

constexpr CardDriver kReaderDriver = {
    .allowsWow64 = false,
    .usesWindowsFolder = false,
    .bodyLibrary = kBodyLibrary,
    .installName = "CTPMSmartCard::Install",
    .installRefused = "Install SmartCard - not a valid system/configuration... skipping....",
    .copyBodies = &CopyBody,
    .installCommands = kInstallCommands,
    .installed = std::nullopt,
    .removeName = "CTPMSmartCard::Uninstall",
    .removeRefused = "Remove SmartCard - not a valid system/configuration... skipping....",
    .announceRemoval = &AnnounceRemoval,
    .removeCommands = kRemoveCommands,
    .noSystemFolder = "Remove SmartCard - Failed to get path to ...\\System32",
    .bodyMarked = "Remove SmartCard - couldn't directly delete the KeloVReaderBody dll, mark for deletion on reboot",
    .bodyDeleted = LogFormat<>{"Remove SmartCard - deleted KeloVReaderBody.dll"},
    .removed = std::nullopt,
};

} // namespace

int CTPMSmartCard::Install(const wchar_t* location) const
{
    return InstallDriver(kReaderDriver, location, m_bKlSCardInstalled);
}

int CTPMSmartCard::Uninstall(const wchar_t* location) const
{
    return RemoveDriver(kReaderDriver, location, m_bKlSCardInstalled);
}
