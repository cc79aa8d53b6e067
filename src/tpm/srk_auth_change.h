// The change of the TPM's storage root key (SRK) authorization, which a separate tool makes.
#pragma once

#include <windows.h>

#include <msi.h>

// What ChangeSrkAuthorization returns without CustomActionData.
inline constexpr UINT kNoCustomActionData = 10001;

// Has the SRK tool check the SRK and owner authorization and, if they must be upgraded, change them with the options in
// the installer's CustomActionData. If the change fails, registers the tool to run at the next logon. Logs the result
// of each run of the tool, and nothing of CustomActionData, which has the owner password: each copy of it is wiped.
// Returns  0                    CustomActionData was read, whatever the tool did
//          kNoCustomActionData  CustomActionData could not be read, or memory ran out; nothing was run or logged
UINT ChangeSrkAuthorization(MSIHANDLE install);
