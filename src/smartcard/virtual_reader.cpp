// Installs and removes the virtual smart-card reader.
#include "log/operation.h"
#include "platform/product_registry.h"
#include "smartcard/driver_commands.h"
#include "smartcard/smartcard_log.h"
#include "smartcard/tpm_smart_card.h"
#include "windows/shell_folder.h"
#include "windows/text.h"
#include "windows/unique_handle.h"

#include <windows.h>

#include <shlobj.h>

namespace
{

constexpr int kNoFolder = -1;
constexpr int kNotCopied = -3;
constexpr int kCommandFailed = -4;

constexpr wchar_t kBodyLibrary[] = L"KeloVReaderBody.dll";

constexpr DriverCommand kInstallCommands[] = {
    {L"dp_add_kelo KeloSmartCardDriver.inf", "Install SmartCard - command dp_add_kelo failed!"},
    {L"install KeloSmartCardDriver.inf root\\KeloVirtualReader", "Install SmartCard - failed to install the Driver!"},
};

constexpr DriverCommand kRemoveCommands[] = {
    {L"remove KeloSmartCardDriver.inf root\\KeloVirtualReader", "Remove SmartCard - failed to remove the Driver!"},
    {L"-f dp_delete_kelo KeloSmartCardDriver.inf", "Remove SmartCard - command dp_delete_kelo failed!"},
};

std::wstring BodyLibraryIn(const std::wstring& systemFolder)
{
    return systemFolder + L"\\" + kBodyLibrary;
}

// Copies the body library or, when it is in use, has Windows move it into place at its next start.
bool CopyNowOrAtReboot(const std::wstring& source, const std::wstring& target)
{
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

// Notes for the next set-up whether there was a virtual reader to remove. Only a removal writes this value, and
// nobody learns of a failure.
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

int InstallReader(const wchar_t* location, bool isInstalled)
{
    if (!CTPMSmartCard::IsSupportedConfiguration(false))
    {
        WriteLog(g_smartcardLog, "Install SmartCard - not a valid system/configuration... skipping....");
        return 0;
    }
    if (isInstalled)
    {
        // The reader's step is meant to speak of the minidriver here.
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
    if (!IsLocation(location))
    {
        WriteLog(g_smartcardLog, "Install SmartCard - Failed; Location of installation was not provided");
        return kNoFolder;
    }

    const std::wstring folder = std::wstring(location) + kDriverFolder;
    WriteLog(g_smartcardLog, "System32 Directory: %s", ToNarrow(*systemFolder).c_str());
    if (!CopyNowOrAtReboot(folder + kBodyLibrary, BodyLibraryIn(*systemFolder)))
        return kNotCopied;
    return RunUntilFailure(kInstallCommands, folder) ? 0 : kCommandFailed;
}

bool RemoveDriver(const wchar_t* location)
{
    RunAll(kRemoveCommands, DriverFolderForRemoval(location));
    return true;
}

int RemoveReader(const wchar_t* location, bool isInstalled)
{
    if (!CTPMSmartCard::IsSupportedConfiguration(false))
    {
        WriteLog(g_smartcardLog, "Remove SmartCard - not a valid system/configuration... skipping....");
        return 0;
    }
    if (!isInstalled)
    {
        WriteLog(g_smartcardLog, "CTPMSmartCard::Uninstall - Kelo Smart Card not installed so skip uninstallation");
        NotePresence(false);
        return 0;
    }
    NotePresence(true);
    RunOperation(g_smartcardLog, "CTPMSmartCard::Uninstall", false, [location] { return RemoveDriver(location); });

    const auto systemFolder = GetShellFolder(CSIDL_SYSTEM);
    if (!systemFolder)
    {
        WriteLog(g_smartcardLog, "Remove SmartCard - Failed to get path to ...\\System32");
        return kNoFolder;
    }
    if (DeleteNowOrAtReboot(BodyLibraryIn(*systemFolder),
                            "Remove SmartCard - couldn't directly delete the KeloVReaderBody dll, mark for deletion "
                            "on reboot"))
        WriteLog(g_smartcardLog, "Remove SmartCard - deleted KeloVReaderBody.dll");
    return 0;
}

} // namespace

int CTPMSmartCard::Install(const wchar_t* location) const
{
    return RunOperation(g_smartcardLog, "CTPMSmartCard::Install", kNotCopied,
                        [=, this] { return InstallReader(location, m_bKlSCardInstalled); });
}

int CTPMSmartCard::Uninstall(const wchar_t* location) const
{
    return RunOperation(g_smartcardLog, "CTPMSmartCard::Uninstall", kNoFolder,
                        [=, this] { return RemoveReader(location, m_bKlSCardInstalled); });
}
