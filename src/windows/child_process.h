// Running another program to its end.
#pragma once

// Runs a program without a console window (CreateProcessW, CREATE_NO_WINDOW) in the own environment and current
// directory, without handing handles down, and waits for its end however long that takes. `application` is the
// program file's path (UTF-16), used as it stands and never searched for; `commandLine` (UTF-16, which Windows may
// write to) is all that the program sees of its command line. A program that cannot be started is not waited for.
// Logs nothing, and reports neither a failed start nor the exit code.
void RunAndWait(const wchar_t* application, wchar_t* commandLine);
