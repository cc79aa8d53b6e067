// The switch of Windows' automatic provisioning of the TPM.
#pragma once

// Switches automatic provisioning on or off through the TPM's WMI class Win32_TPM. The caller has entered a COM
// apartment. Logs nothing.
// Required: the result of the TPM's method is ignored.
// Returns  0  every COM and WMI call succeeded
//         -1  a call failed, and ended the operation
int SetAutoProvisioning(bool enable);
