// Runs another program to its end.
#include "windows/child_process.h"

ChildProcess::ChildProcess(const PROCESS_INFORMATION& started)
    : m_thread(started.hThread),
      m_process(started.hProcess),
      m_processId(started.dwProcessId),
      m_threadId(started.dwThreadId)
{}

std::optional<ChildProcess> ChildProcess::Start(const ChildProcessStart& start)
{
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started{};
    if (!CreateProcessW(start.application, start.commandLine, nullptr, nullptr, FALSE, start.flags, nullptr,
                        start.directory, &startup, &started))
        return std::nullopt;
    return ChildProcess{started};
}

void ChildProcess::WaitForEnd() const
{
    WaitForSingleObject(m_process.Get(), INFINITE);
}

std::optional<DWORD> ChildProcess::ExitCode() const
{
    DWORD exitCode = 0;
    if (!GetExitCodeProcess(m_process.Get(), &exitCode))
        return std::nullopt;
    return exitCode;
}
