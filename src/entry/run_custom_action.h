// The dispatcher: what the program does for each installer phase.
#pragma once

// Runs the action that argument 1 names ("/Setup", "/Commit", "/Rollback" or "/Uninstall", case-sensitive).
// `argv` is UTF-16, with the program's own path as argument 0. Returns 0 when the action's deciding step
// succeeded, -1 when it failed, when there is no action switch, and when the switch is unknown. Logs a begin
// banner, the arguments, what the options and the registry ask for, and an end banner; after the end banner,
// writes "Done!" to standard output. Does not throw.
int RunCustomAction(int argc, const wchar_t* const* argv);
