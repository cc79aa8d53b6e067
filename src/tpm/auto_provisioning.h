// Windows' automatic provisioning of the TPM (Windows 8 and later).
#pragma once

// Switches automatic provisioning off for good when `disable` is set, on Windows 8 or later and not in a 32-bit
// process on 64-bit Windows. The caller has entered a COM apartment. 0, whatever the switching came to; -1 when
// IsWow64Process fails. Logs that failure with its last error, or why there is nothing to do on this system.
int Win8Install(bool disable);

// Makes the same checks, with the same results and lines, and changes nothing: what was switched off stays off.
int Win8Uninstall();

// Switches automatic provisioning on or off through the TPM's WMI class Win32_TPM. 0 when every COM and WMI call
// succeeded (what the TPM's own answer says is not looked at), -1 at the first that failed. Logs nothing.
int SetAutoProvisioning(bool enable);
