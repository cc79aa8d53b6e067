// Another program, run to its end.
#pragma once

#include "windows/unique_handle.h"

#include <optional>

// How a program is started.
struct ChildProcessStart
{
    const wchar_t* application = nullptr; // UTF-16 path, used as it stands; null: the command line begins with it
    wchar_t* commandLine = nullptr;       // UTF-16, all that the program sees of it; Windows may write to it
    DWORD flags = 0;                      // such as CREATE_NO_WINDOW
    const wchar_t* directory = nullptr;   // UTF-16, the program's current directory; null: this process's own
};

// A program that was started. Logs nothing.
class ChildProcess
{
public:
    // Starts a program with this process's environment and without handing handles down (CreateProcessW). Nothing, with
    // the last error, when it cannot be started.
    static std::optional<ChildProcess> Start(const ChildProcessStart& start);

    DWORD ProcessId() const { return m_processId; }
    DWORD ThreadId() const { return m_threadId; }

    // Waits for the program's end, however long that takes.
    void WaitForEnd() const;

    // What the program ended with. Nothing, with the last error, when it cannot be read (GetExitCodeProcess).
    std::optional<DWORD> ExitCode() const;

private:
    explicit ChildProcess(const PROCESS_INFORMATION& started);

    // Closed in the reverse order.
    UniqueKernelHandle m_thread;
    UniqueKernelHandle m_process;
    DWORD m_processId;
    DWORD m_threadId;
};
