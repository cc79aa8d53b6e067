// Where an installer package enters the program's library image: the one function that both images export.
#include "tpm/srk_auth_change.h"
#include "windows/result_or.h"

#include <windows.h>

#include <msi.h>

// Checks the TPM's SRK and owner authorization, and has them changed, on behalf of an install session. 0, whatever
// became of it; 10001 when CustomActionData cannot be read. An exception ends the action, never the installer.
extern "C" __declspec(dllexport) UINT __stdcall SRK_Auth_Change(MSIHANDLE installHandle)
{
    return ResultOr(ERROR_SUCCESS, [installHandle] { return ChangeSrkAuthorization(installHandle); });
}
