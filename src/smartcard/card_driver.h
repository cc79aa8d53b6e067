// The sequences that install and remove one of the virtual smart card's two drivers: the reader's or the minidriver.
#pragma once

#include "log/log_format.h"

#include <optional>
#include <span>
#include <string>

// One run of the device installer.
struct DriverCommand
{
    const wchar_t* arguments; // UTF-16
    LogFormat<> failure;
};

// Folders of Windows (UTF-16, without a backslash at the end).
struct CardFolders
{
    std::wstring system;
    std::wstring windows; // empty for a driver that does not use it
};

// What sets one driver apart from the other.
struct CardDriver
{
    bool allowsWow64; // in a 32-bit process on 64-bit Windows: true does all but the commands, false nothing
    bool usesWindowsFolder;
    const wchar_t* bodyLibrary; // the file in the system directory that a removal deletes

    const char* installName; // what the log calls the installation
    LogFormat<> installRefused;
    // From a folder (UTF-16) that ends in a backslash. Logs a failure.
    bool (*copyBodies)(const std::wstring& driverFolder, const CardFolders& folders);
    std::span<const DriverCommand> installCommands;
    std::optional<LogFormat<>> installed;

    const char* removeName;
    LogFormat<> removeRefused;
    void (*announceRemoval)(bool isInstalled); // says whether there is a driver to remove
    std::span<const DriverCommand> removeCommands;
    LogFormat<> noSystemFolder;
    LogFormat<> bodyMarked; // the body library is in use, and goes at the next start of Windows
    std::optional<LogFormat<>> bodyDeleted;
    std::optional<LogFormat<>> removed;
};

// Installs a driver from the install location (UTF-16) unless the card is installed: the services that cards need, the
// driver's body libraries, its commands. Stops at the first failure, and logs it. Returns 0 or a result of
// CTPMSmartCard; kNotCopied also when an exception was caught.
int InstallDriver(const CardDriver& driver, const wchar_t* location, bool isInstalled);

// Removes a driver if the card is installed: its commands from the install location (UTF-16), or from the one that the
// registry names when that is none, and its body library. Logs each failure and goes on. Returns 0 or kNoFolder of
// CTPMSmartCard; the latter also when an exception was caught.
int RemoveDriver(const CardDriver& driver, const wchar_t* location, bool isInstalled);
