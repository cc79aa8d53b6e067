// The run of a program whose command line may hold a password.
#pragma once

#include "tpm/secret_text.h"

// What RunAndWait returns for a program that could not be started.
inline constexpr int kProgramNotStarted = 2;

// Runs a program (UTF-16 command line, which begins with it) and waits for it without a limit.
// Returns  1                   its exit code could not be read; only this is logged, with the last error
//          kProgramNotStarted  it could not be started (CreateProcessW)
//          others              its exit code
// Required: nothing tells the program's own 1 and 2 from these.
int RunAndWait(const CSecretText& commandLine);
