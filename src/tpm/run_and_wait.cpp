// Runs a program and waits for it.
#include "tpm/srk_auth_change.h"
#include "tpm/tpm_log.h"
#include "windows/unique_handle.h"

#include <windows.h>

namespace
{

constexpr int kNoExitCode = 1;

} // namespace

int RunAndWait(const CSecretText& commandLine)
{
    CSecretText writable = commandLine;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started{};
    if (!CreateProcessW(nullptr, writable.Data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &started))
        return kNotStarted;
    const UniqueKernelHandle thread{started.hThread};
    const UniqueKernelHandle process{started.hProcess};

    WaitForSingleObject(process.Get(), INFINITE);
    DWORD exitCode = 0;
    if (!GetExitCodeProcess(process.Get(), &exitCode))
    {
        WriteLog(g_tpmLog, "Unable to get Process exit code! err: %d", GetLastError());
        return kNoExitCode;
    }
    return static_cast<int>(exitCode);
}
