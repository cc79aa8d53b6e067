// What the installation and the removal of the virtual reader and of the minidriver share.
#pragma once

#include "log/log_format.h"

#include <span>
#include <string>

// One run of the device installer.
struct DriverCommand
{
    const wchar_t* arguments; // UTF-16
    LogFormat<> failure;
};

// The folder of the driver packages, in the install location.
inline constexpr wchar_t kDriverFolder[] = L"\\TPM_VSCard\\";

// Runs the commands in order in `folder` (UTF-16, ending in a backslash) with CTPMSmartCard::RunDriverStager. The
// first that could not be started logs its text and ends the list. True when all were started.
bool RunUntilFailure(std::span<const DriverCommand> commands, const std::wstring& folder);

// Runs all the commands in order; each that could not be started logs its text.
void RunAll(std::span<const DriverCommand> commands, const std::wstring& folder);

// Whether an install location (UTF-16) is one: neither null nor anything but a full path. Logs nothing.
bool IsLocation(const wchar_t* location);

// The folder of the driver packages (UTF-16) for a removal: in `location` (UTF-16) or, when that is none, in the
// install location that the registry names. Without either, the folder's name alone. Logs nothing.
std::wstring DriverFolderForRemoval(const wchar_t* location);

// Deletes a file (UTF-16 path). One that cannot be deleted logs `marked` and is left to be deleted at the next
// start of Windows (MoveFileExW, whose result is not looked at); one that is not there is passed over. True when
// the file was deleted now.
bool DeleteNowOrAtReboot(const std::wstring& path, LogFormat<> marked);
