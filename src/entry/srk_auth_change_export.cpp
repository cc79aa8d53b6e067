// The function that an installer package calls: both images export it.
#include "tpm/srk_auth_change.h"
#include "windows/result_or.h"

#include <windows.h>

#include <msi.h>

// Has the TPM's SRK and owner authorization checked and changed for an install session. Returns 0, or 10001 when
// CustomActionData cannot be read. An exception ends the action, not the installer.
extern "C" __declspec(dllexport) UINT __stdcall SRK_Auth_Change(MSIHANDLE installHandle)
{
    return ResultOr(ERROR_SUCCESS, [installHandle] { return ChangeSrkAuthorization(installHandle); });
}
