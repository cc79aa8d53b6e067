// AnnounceProgram, RunProgram and RunSetup: run the installer program and show its lines in the installer's log and
// window.
#include "log_tail.h"
#include "owners.h"
#include "session.h"

#include <windows.h>

#include <cwchar>

namespace
{

// Here the program stores the reason of a failure, in the user's language.
constexpr wchar_t kReasonKey[] = L"SOFTWARE\\Kelo Systems Corp.\\Installer";

constexpr wchar_t kRollback[] = L" /Rollback";
constexpr wchar_t kWithoutRollback[] =
    L"Rollback is disabled. The toolkit's set-up is committed with the installation, and taken back at once if it "
    L"fails itself. If a later action fails, or a removal, nothing puts the set-up back: repair or remove the toolkit "
    L"then.";
constexpr DWORD kMsBetweenLooks = 200;
constexpr int kLinesOfLongRun = 200; // as many as a set-up with the virtual smart card writes

using CommandLine = BoundedText<8192>;
using Message = BoundedText<2048>;

struct RunResult
{
    DWORD startError = ERROR_SUCCESS; // why the program could not be started
    DWORD exitCode = 0;
    bool isCancelled = false; // the user cancelled the installation

    bool HasFailed() const { return startError != ERROR_SUCCESS || exitCode != 0; }
};

// The program's path, in quotation marks at the beginning of each command line.
bool FindProgram(const wchar_t* commandLine, BoundedText<MAX_PATH>& path)
{
    const wchar_t* end = commandLine[0] == L'"' ? std::wcschr(commandLine + 1, L'"') : nullptr;
    const std::size_t length = end == nullptr ? 0 : static_cast<std::size_t>(end - commandLine - 1);
    if (length == 0 || length >= MAX_PATH)
        return false;
    std::wmemcpy(path.Buffer(), commandLine + 1, length);
    return true;
}

// The message of a log line, without time and thread.
const wchar_t* MessageOf(const wchar_t* line)
{
    const wchar_t* end = std::wcsstr(line, L"] ");
    return end == nullptr ? line : end + 2;
}

// Passes the program's lines on until it ends. The program is never interrupted: a user who cancels has to wait.
void FollowProgram(MSIHANDLE session, const PROCESS_INFORMATION& process, LogTail& log, RunResult& result)
{
    const auto pass = [&](const wchar_t* line) {
        Tell(session, INSTALLMESSAGE_INFO, line);
        if (Tell(session, INSTALLMESSAGE_ACTIONDATA, MessageOf(line)) == IDCANCEL)
            result.isCancelled = true;
    };
    while (WaitForSingleObject(process.hProcess, kMsBetweenLooks) == WAIT_TIMEOUT)
        log.Read(process.dwThreadId, pass);
    log.Read(process.dwThreadId, pass);
    if (!GetExitCodeProcess(process.hProcess, &result.exitCode))
        result.exitCode = static_cast<DWORD>(-1); // the program's exit code after a failure
}

RunResult Run(MSIHANDLE session, CommandLine& commandLine)
{
    RunResult result;
    BoundedText<MAX_PATH> program;
    if (!FindProgram(commandLine.Get(), program))
    {
        result.startError = ERROR_BAD_PATHNAME;
        return result;
    }
    CountTexts(session);
    LogTail log;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(program.Get(), commandLine.Buffer(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                        &process))
    {
        result.startError = GetLastError();
        return result;
    }
    const OwnedHandle processOwner(process.hProcess);
    const OwnedHandle threadOwner(process.hThread);
    FollowProgram(session, process, log, result);
    return result;
}

// Removes the reason of an earlier set-up, which could be the same as that of this one.
void ForgetReason()
{
    OwnedKey key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kReasonKey, 0, KEY_SET_VALUE, key.Put()) == ERROR_SUCCESS)
        RegDeleteValueW(key.Get(), nullptr);
}

void ReadReason(Message& reason)
{
    DWORD bytes = Message::kCharacters * sizeof(wchar_t);
    if (RegGetValueW(HKEY_LOCAL_MACHINE, kReasonKey, nullptr, RRF_RT_REG_SZ, nullptr, reason.Buffer(), &bytes) !=
        ERROR_SUCCESS)
        reason.Clear();
}

// Makes the text for a failure without a reason.
void DescribeFailure(const RunResult& result, const wchar_t* commandLine, Message& message)
{
    const bool isStarted = result.startError == ERROR_SUCCESS;
    wchar_t number[12] = {};
    _snwprintf(number, 11, L"%d", static_cast<int>(isStarted ? result.exitCode : result.startError));
    message.Clear();
    message.Append(isStarted ? L"The Kelo Toolkit's installer program ended with "
                             : L"The Kelo Toolkit's installer program could not be started, error ");
    message.Append(number);
    message.Append(L": ");
    message.Append(commandLine);
}

UINT ResultFor(const RunResult& result)
{
    if (result.HasFailed())
        return ERROR_INSTALL_FAILURE;
    return result.isCancelled ? ERROR_INSTALL_USEREXIT : ERROR_SUCCESS;
}

// Runs the program, and reports the reason of a failure if this run stored it; an earlier run's reason does not count.
RunResult RunAndTell(MSIHANDLE session, const wchar_t* commandLine, INSTALLMESSAGE kindOfFailure)
{
    Message oldReason;
    ReadReason(oldReason);
    CommandLine writable; // CreateProcessW changes it
    writable.Append(commandLine);
    const RunResult result = Run(session, writable);
    if (result.HasFailed())
    {
        Message message;
        ReadReason(message);
        if (message.IsEmpty() || std::wcscmp(message.Get(), oldReason.Get()) == 0)
            DescribeFailure(result, commandLine, message);
        Tell(session, kindOfFailure, message.Get());
    }
    return result;
}

// Undoes a failed set-up if rollback is disabled, because rollback actions do not run then.
void TakeBack(MSIHANDLE session, const wchar_t* setupCommandLine)
{
    Tell(session, INSTALLMESSAGE_INFO, L"Rollback is disabled. The program takes back what the failed set-up did.");
    BoundedText<MAX_PATH> program;
    CommandLine commandLine;
    if (FindProgram(setupCommandLine, program) && commandLine.Append(L"\"") && commandLine.Append(program.Get()) &&
        commandLine.Append(L"\"") && commandLine.Append(kRollback))
        Run(session, commandLine);
}

} // namespace

// An immediate action within the transaction. Reserves a part of the progress bar for the program's lines. If rollback
// is disabled, explains in the installer's log what that means for the toolkit. Returns ERROR_SUCCESS.
extern "C" __declspec(dllexport) UINT WINAPI AnnounceProgram(MSIHANDLE session)
{
    if (HasProperty(session, L"RollbackDisabled"))
        Tell(session, INSTALLMESSAGE_INFO, kWithoutRollback);
    ExpectTexts(session, kLinesOfLongRun);
    return ERROR_SUCCESS;
}

// Runs the program. CustomActionData is its command line: the program's path in quotation marks, then the arguments.
// The program's log lines go to the installer's log and window, the reason of a failure to the installer's log. Returns
//     ERROR_SUCCESS
//     ERROR_INSTALL_FAILURE    the program failed or could not be started
//     ERROR_INSTALL_USEREXIT   the user cancelled while the program ran
extern "C" __declspec(dllexport) UINT WINAPI RunProgram(MSIHANDLE session)
{
    CommandLine commandLine;
    if (!ReadProperty(session, L"CustomActionData", commandLine))
        return Refuse(session, L"The command line of an action is too long.");
    return ResultFor(RunAndTell(session, commandLine.Get(), INSTALLMESSAGE_INFO));
}

// Like RunProgram, for the set-up: the reason of a failure is shown as the installer's error message. CustomActionData
// is "TakeBack=|command line"; if there is a value before the bar, a failed set-up is undone at once.
extern "C" __declspec(dllexport) UINT WINAPI RunSetup(MSIHANDLE session)
{
    static constexpr wchar_t kTakeBack[] = L"TakeBack=";
    constexpr std::size_t kKeyLength = sizeof kTakeBack / sizeof(wchar_t) - 1;
    CommandLine data;
    if (!ReadProperty(session, L"CustomActionData", data))
        return Refuse(session, L"The command line of the set-up is too long.");
    const wchar_t* bar = std::wcschr(data.Get(), L'|');
    if (bar == nullptr || std::wcsncmp(data.Get(), kTakeBack, kKeyLength) != 0)
        return Refuse(session, L"The data of the set-up is not in its form.");
    ForgetReason();
    const RunResult result = RunAndTell(session, bar + 1, INSTALLMESSAGE_ERROR);
    if (result.HasFailed() && bar != data.Get() + kKeyLength)
        TakeBack(session, bar + 1);
    return ResultFor(result);
}
