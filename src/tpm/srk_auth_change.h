// The change of the TPM's storage root key (SRK) authorization, which a tool of its own makes.
#pragma once

#include "tpm/secret_text.h"

#include <windows.h>

#include <msi.h>

// What ChangeSrkAuthorization returns when it is not told what to do.
inline constexpr UINT kNoCustomActionData = 10001;

// What RunAndWait returns for a program that could not be started.
inline constexpr int kNotStarted = 2;

// Has the SRK tool check the SRK and owner authorization and, when they must be upgraded, change them with what the
// installer hands over in CustomActionData. When the change does not end well, the tool's task is registered to run
// at the next logon. 0 whatever became of it; kNoCustomActionData when CustomActionData cannot be read or kept in
// memory: nothing is then run or logged. Logs what each run of the tool came to, and never what the installer handed
// over: the owner password is in it, and every copy made of it here is wiped.
UINT ChangeSrkAuthorization(MSIHANDLE install);

// Runs a program (UTF-16 command line) and waits for it without a limit. Its exit code; kNotStarted when it
// could not be started (CreateProcessW), 1 when its exit code could not be read, which alone is logged, with the last
// error. The program's own 1 and 2 are not told apart from these.
int RunAndWait(const CSecretText& commandLine);
