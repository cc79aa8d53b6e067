// Windows' automatic provisioning of the TPM (Windows 8 and later).
#pragma once

// Switches automatic provisioning off permanently when `disable` is set, on Windows 8 or later and not in a 32-bit
// process on 64-bit Windows. The caller has entered a COM apartment. Logs why this system is left alone.
// Returns  0  done or nothing to do, even if the switch failed
//         -1  IsWow64Process failed
int Win8Install(bool disable);

// Makes the same checks, with the same results and lines, and changes nothing.
// Required: automatic provisioning stays off.
int Win8Uninstall();
