// The text for the user that a failed action leaves to the installer.
#pragma once

#include <windows.h>

// What PublishResultMessage returns for every failure code.
inline constexpr int kInstallFailure = 1603; // ERROR_INSTALL_FAILURE

// For a code other than 0, writes the text for it, in the language of the user interface, as the default value of
// the registry key that the installer reads. Without a resource library, without the text in it, or without memory
// for it, the value is empty. `reserved` is not used. 0 for code 0, which changes nothing: an earlier text stays;
// kInstallFailure otherwise, also when the text could not be written. Logs nothing.
int PublishResultMessage(DWORD code, int reserved);
