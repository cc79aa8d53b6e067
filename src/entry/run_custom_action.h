// The dispatcher: what the program does for each installer phase.
#pragma once

// Runs the action that argument 1 names ("/Setup", "/Commit", "/Rollback" or "/Uninstall", case-sensitive). `argv` is
// UTF-16; argument 0 is the program's own path. Logs a begin banner, the arguments, the effect of options and registry,
// and an end banner; then writes "Done!" to standard output. Does not throw.
// Returns  0  the action's deciding step succeeded
//         -1  it failed, or the action switch is missing or unknown
int RunCustomAction(int argc, const wchar_t* const* argv);
