// Runs a program whose command line may hold a password.
#include "tpm/run_and_wait.h"

#include "log/module_logs.h"
#include "windows/child_process.h"

namespace
{

constexpr int kNoExitCode = 1;

} // namespace

int RunAndWait(const CSecretText& commandLine)
{
    CSecretText writable = commandLine;
    const auto program = ChildProcess::Start({.commandLine = writable.Data()});
    if (!program)
        return kProgramNotStarted;
    program->WaitForEnd();
    const auto exitCode = program->ExitCode();
    if (!exitCode)
    {
        WriteLog(g_tpmLog, "Unable to get Process exit code! err: %d", GetLastError());
        return kNoExitCode;
    }
    return static_cast<int>(*exitCode);
}
