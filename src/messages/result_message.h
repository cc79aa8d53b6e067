// The text that a failed action leaves for the installer to show.
#pragma once

#include <windows.h>

// What PublishResultMessage returns for every failure code.
inline constexpr int kInstallFailure = 1603; // ERROR_INSTALL_FAILURE

// Writes the text for a failure code, in the language of the user interface, to the default value of the registry key
// that the installer reads. The text is empty when it or the resource library is missing, or when memory runs out. Does
// nothing for code 0. Logs nothing.
// Required: `reserved` is ignored, and an earlier text stays after code 0.
// Returns  0                for code 0
//          kInstallFailure  for any other code, even if the text could not be written
int PublishResultMessage(DWORD code, int reserved);
