// Other processes: starting, waiting, listing, ending.
#include "winsim/machine/processes.h"
#include "winsim/api/file_access.h"
#include "winsim/api/search_folders.h"
#include "winsim/base/text.h"
#include "winsim/process/gate.h"
#include "winsim/process/kernel_objects.h"
#include "winsim/process/simulation.h"

#include "processthreadsapi.h"
#include "psapi.h"
#include "winbase.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <optional>
#include <vector>

using winsim::Call;
using winsim::ChildProcess;
using winsim::File;
using winsim::Files;
using winsim::Json;
using winsim::OpenProcessHandle;
using winsim::ProgramRun;
using winsim::RunningProcess;
using winsim::Simulation;

namespace
{

constexpr DWORD kReadModules = PROCESS_QUERY_INFORMATION | PROCESS_VM_READ;
constexpr std::size_t kLongestCommandLine = 32766;

constexpr DWORD kProcessAllAccess = winsim::kGenericProcessRights.all;

// The process of a handle that has one of the needed rights; otherwise none, and `error` is set.
std::optional<OpenProcessHandle> OpenedWithAny(const Call& call, std::initializer_list<DWORD> needed, HANDLE handle,
                                               DWORD& error)
{
    const Simulation& simulation = Simulation::Current();
    // The pseudo-handle of the current process, which is never opened.
    if (handle == INVALID_HANDLE_VALUE)
        return OpenProcessHandle{simulation.machine.process.processId, kProcessAllAccess};
    const auto* open = call.Find<OpenProcessHandle>(handle);
    if (open == nullptr)
    {
        error = ERROR_INVALID_HANDLE;
        return std::nullopt;
    }
    if (std::ranges::none_of(needed, [&](DWORD access) { return (open->access & access) == access; }))
    {
        error = ERROR_ACCESS_DENIED;
        return std::nullopt;
    }
    return *open;
}

std::optional<OpenProcessHandle> OpenedWith(const Call& call, DWORD neededAccess, HANDLE handle, DWORD& error)
{
    return OpenedWithAny(call, {neededAccess}, handle, error);
}

// The exit code of a process that has ended, or STILL_ACTIVE.
DWORD ExitCodeOf(DWORD id)
{
    const Simulation& simulation = Simulation::Current();
    const ChildProcess* known = simulation.FindChild(id);
    if (known != nullptr && known->hasEnded)
        return known->run.exitCode;
    // A described process that an effect removed ended with 0.
    return simulation.machine.processes.Find(id) != nullptr ? STILL_ACTIVE : 0;
}

// The process that a handle of a process or of its first thread belongs to, for waiting; otherwise none, and `error` is
// set. A process and its thread end together.
std::optional<DWORD> WaitedFor(const Call& call, HANDLE handle, DWORD& error)
{
    const winsim::HandleTable& handles = Simulation::Current().handles;
    if (handles.IsOpen<winsim::OpenThread>(handle))
        return call.Find<winsim::OpenThread>(handle)->processId;
    const auto open = OpenedWith(call, SYNCHRONIZE, handle, error);
    return open ? std::optional(open->id) : std::nullopt;
}

// A command line, split into program and arguments.
struct CommandLineParts
{
    const File* program = nullptr;
    std::string arguments;
};

std::string WithoutLeadingBlanks(const std::string& text)
{
    const std::size_t start = text.find_first_not_of(" \t");
    return start == std::string::npos ? std::string() : text.substr(start);
}

// The program's name in a command line: the text in quotation marks, or up to the first blank.
std::string ProgramNameIn(const std::string& line)
{
    if (line.starts_with('"'))
        return line.substr(1, std::min(line.find('"', 1), line.size()) - 1);
    return line.substr(0, line.find_first_of(" \t"));
}

// The file of a program; null if there is no such file.
const File* ProgramAt(const std::string& name)
{
    const winsim::FileName full = winsim::FullName(name);
    const File* file = full.error == ERROR_SUCCESS ? Simulation::Current().machine.files.Find(full.path) : nullptr;
    return file == nullptr || file->isDirectory ? nullptr : file;
}

bool HasFolder(const std::string& name)
{
    return name.find_first_of("\\/:") != std::string::npos;
}

// The folders that Windows searches for a program without a path, in order.
std::vector<std::string> ProgramFolders()
{
    const winsim::ProcessInfo& process = Simulation::Current().machine.process;
    std::vector<std::string> folders{Files::ParentOf(process.path), process.currentDirectory,
                                     winsim::FolderNamed("system"), winsim::FolderNamed("windows")};
    for (const std::string& folder : winsim::PathFolders())
        folders.push_back(folder);
    std::erase(folders, std::string());
    return folders;
}

// The file of the program that Windows finds for a name; null if it finds no program.
const File* FindProgram(const std::string& name)
{
    std::vector<std::string> names{name};
    if (name.find('.', name.find_last_of("\\/:") + 1) == std::string::npos)
        names.push_back(name + ".exe");
    const std::vector<std::string> folders = HasFolder(name) ? std::vector<std::string>() : ProgramFolders();
    for (const std::string& one : names)
    {
        if (const File* program = HasFolder(one) ? ProgramAt(one) : nullptr)
            return program;
        for (const std::string& folder : folders)
        {
            if (const File* program = ProgramAt(folder + "\\" + one))
                return program;
        }
    }
    return nullptr;
}

// Splits a command line as CreateProcess does if no program is named: at the closing quotation mark or, without
// quotation marks, at the first blank before which there is the name of a program.
std::optional<CommandLineParts> SplitByProgram(const std::string& line)
{
    if (line.starts_with('"'))
    {
        const std::size_t end = std::min(line.find('"', 1), line.size());
        const File* program = FindProgram(ProgramNameIn(line));
        if (program == nullptr)
            return std::nullopt;
        return CommandLineParts{program, WithoutLeadingBlanks(end < line.size() ? line.substr(end + 1) : "")};
    }
    for (std::size_t end = line.find_first_of(" \t");; end = line.find_first_of(" \t", end + 1))
    {
        if (const File* program = FindProgram(line.substr(0, end)))
            return CommandLineParts{program, end == std::string::npos ? "" : WithoutLeadingBlanks(line.substr(end))};
        if (end == std::string::npos)
            return std::nullopt;
    }
}

// The error of starting a program that cannot be found.
DWORD MissingProgramError(const std::string& name)
{
    const winsim::FileName full = winsim::FullName(name);
    if (full.error != ERROR_SUCCESS)
        return full.error;
    if (Simulation::Current().machine.files.IsDirectory(full.path))
        return ERROR_ACCESS_DENIED;
    return HasFolder(name) ? winsim::MissingError(full.path) : DWORD{ERROR_FILE_NOT_FOUND};
}

// All members of the start-up information, for a recorded call.
Json Noted(const STARTUPINFOW& startup)
{
    const auto text = [](const char16_t* wide) { return wide == nullptr ? Json() : Json(winsim::Utf8(wide)); };
    const winsim::HandleTable& handles = Simulation::Current().handles;
    return {{"cb", startup.cb},
            {"lpReserved", text(startup.lpReserved)},
            {"lpDesktop", text(startup.lpDesktop)},
            {"lpTitle", text(startup.lpTitle)},
            {"dwX", startup.dwX},
            {"dwY", startup.dwY},
            {"dwXSize", startup.dwXSize},
            {"dwYSize", startup.dwYSize},
            {"dwXCountChars", startup.dwXCountChars},
            {"dwYCountChars", startup.dwYCountChars},
            {"dwFillAttribute", startup.dwFillAttribute},
            {"dwFlags", startup.dwFlags},
            {"wShowWindow", startup.wShowWindow},
            {"cbReserved2", startup.cbReserved2},
            {"lpReserved2", handles.NameOf(startup.lpReserved2)},
            {"hStdInput", handles.NameOf(startup.hStdInput)},
            {"hStdOutput", handles.NameOf(startup.hStdOutput)},
            {"hStdError", handles.NameOf(startup.hStdError)}};
}

// A command line without its passwords, for a recorded call.
Json ShownCommandLine(LPCWSTR commandLine)
{
    return commandLine == nullptr ? Json()
                                  : Json(Simulation::Current().rules.withoutSecrets(winsim::Utf8(commandLine)));
}

} // namespace

BOOL WINAPI CreateProcessW(LPCWSTR lpApplicationName, LPWSTR lpCommandLine, LPSECURITY_ATTRIBUTES lpProcessAttributes,
                           LPSECURITY_ATTRIBUTES lpThreadAttributes, BOOL bInheritHandles, DWORD dwCreationFlags,
                           LPVOID lpEnvironment, LPCWSTR lpCurrentDirectory, LPSTARTUPINFOW lpStartupInfo,
                           LPPROCESS_INFORMATION lpProcessInformation)
{
    Call call{__func__};
    Simulation& simulation = Simulation::Current();
    call.In("lpApplicationName", lpApplicationName)
        .In("lpCommandLine", ShownCommandLine(lpCommandLine))
        .In("lpProcessAttributes", lpProcessAttributes)
        .In("lpThreadAttributes", lpThreadAttributes)
        .In("bInheritHandles", bInheritHandles)
        .In("dwCreationFlags", dwCreationFlags)
        .In("lpEnvironment", lpEnvironment)
        .In("lpCurrentDirectory", lpCurrentDirectory)
        .Needs(lpStartupInfo, lpProcessInformation);
    if (lpApplicationName == nullptr)
        call.Needs(lpCommandLine);
    if (call.IsRecording())
        call.In("lpStartupInfo", Noted(*lpStartupInfo));
    return call.SuccessOf([&]() -> DWORD {
        constexpr DWORD kKnownFlags = CREATE_NO_WINDOW | CREATE_DEFAULT_ERROR_MODE;
        if ((dwCreationFlags & ~kKnownFlags) != 0 || lpEnvironment != nullptr || bInheritHandles != FALSE)
            return call.NotSimulated("these creation flags, environments, or inherited handles");
        const std::string line = lpCommandLine == nullptr ? std::string() : winsim::Utf8(lpCommandLine);
        if (lpCommandLine != nullptr && std::u16string_view(lpCommandLine).size() > kLongestCommandLine)
            return ERROR_FILENAME_EXCED_RANGE;
        CommandLineParts parts;
        if (lpApplicationName != nullptr)
        {
            // The command line is passed on unchanged: only by convention is its first word the program's name.
            const std::string name = winsim::Utf8(lpApplicationName);
            const File* program = ProgramAt(name);
            if (program == nullptr)
                return MissingProgramError(name);
            parts = {program, line};
        }
        else
        {
            const auto split = SplitByProgram(line);
            if (!split)
                return MissingProgramError(ProgramNameIn(line));
            parts = *split;
        }
        if (lpCurrentDirectory != nullptr &&
            !simulation.machine.files.IsDirectory(winsim::RealPath(winsim::Utf8(lpCurrentDirectory))))
            return ERROR_DIRECTORY;

        // A file is a program only if it is described as one.
        if (!parts.program->program)
            return ERROR_BAD_EXE_FORMAT;
        const ProgramRun run = parts.program->program->RunWith(parts.arguments);
        if (run.startError != 0)
            return run.startError;
        simulation.images.push_back(parts.program->path);
        const ChildProcess& child = simulation.StartChild(parts.program->path, run);
        lpProcessInformation->hProcess = simulation.handles.Open(OpenProcessHandle{child.id, kProcessAllAccess});
        lpProcessInformation->hThread = simulation.handles.Open(winsim::OpenThread{child.id});
        lpProcessInformation->dwProcessId = child.id;
        lpProcessInformation->dwThreadId = child.threadId;
        if (call.IsRecording())
            call.Out("lpProcessInformation",
                     Json{{"hProcess", simulation.handles.NameOf(lpProcessInformation->hProcess)},
                          {"hThread", simulation.handles.NameOf(lpProcessInformation->hThread)},
                          {"dwProcessId", lpProcessInformation->dwProcessId},
                          {"dwThreadId", lpProcessInformation->dwThreadId}});
        return ERROR_SUCCESS;
    });
}

DWORD WINAPI WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds)
{
    Call call{__func__};
    call.In("hHandle", hHandle).In("dwMilliseconds", dwMilliseconds);
    return call.ResultOf(WAIT_FAILED, [&] {
        DWORD error = ERROR_SUCCESS;
        const auto process = WaitedFor(call, hHandle, error);
        if (!process)
            return call.Fail(WAIT_FAILED, error);
        const bool ended = Simulation::Current().WaitForProcess(
            *process,
            dwMilliseconds == INFINITE ? std::optional<std::uint64_t>() : std::optional<std::uint64_t>(dwMilliseconds));
        return call.Done(ended ? WAIT_OBJECT_0 : WAIT_TIMEOUT);
    });
}

BOOL WINAPI GetExitCodeProcess(HANDLE hProcess, LPDWORD lpExitCode)
{
    Call call{__func__};
    call.In("hProcess", hProcess).Needs(lpExitCode);
    return call.SuccessOf([&]() -> DWORD {
        DWORD error = ERROR_SUCCESS;
        const auto open =
            OpenedWithAny(call, {PROCESS_QUERY_INFORMATION, PROCESS_QUERY_LIMITED_INFORMATION}, hProcess, error);
        if (!open)
            return error;
        *lpExitCode = ExitCodeOf(open->id);
        call.Out("lpExitCode", *lpExitCode);
        return ERROR_SUCCESS;
    });
}

HANDLE WINAPI OpenProcess(DWORD dwDesiredAccess, BOOL bInheritHandle, DWORD dwProcessId)
{
    Call call{__func__};
    call.In("dwDesiredAccess", dwDesiredAccess).In("bInheritHandle", bInheritHandle).In("dwProcessId", dwProcessId);
    const HANDLE none = nullptr;
    return call.ResultOf(none, [&] {
        Simulation& simulation = Simulation::Current();
        const RunningProcess* process = simulation.machine.processes.Find(dwProcessId);
        // The idle process is listed but cannot be opened. One that has ended can, as long as there is a handle to it.
        if ((process == nullptr && !simulation.IsProcessHeld(dwProcessId)) || dwProcessId == 0)
            return call.Fail(none, ERROR_INVALID_PARAMETER);
        const DWORD denied = process != nullptr ? process->deniedAccess : 0;
        const auto access = winsim::OpenedWithout(denied, dwDesiredAccess, winsim::kGenericProcessRights);
        if (!access)
            return call.Fail(none, ERROR_ACCESS_DENIED);
        return call.Done(simulation.handles.Open(OpenProcessHandle{dwProcessId, *access}));
    });
}

BOOL WINAPI TerminateProcess(HANDLE hProcess, UINT uExitCode)
{
    Call call{__func__};
    call.In("hProcess", hProcess).In("uExitCode", uExitCode);
    return call.SuccessOf([&]() -> DWORD {
        Simulation& simulation = Simulation::Current();
        DWORD error = ERROR_SUCCESS;
        const auto open = OpenedWith(call, PROCESS_TERMINATE, hProcess, error);
        if (!open)
            return error;
        const RunningProcess* process = simulation.machine.processes.Find(open->id);
        if (process == nullptr)
            return ERROR_ACCESS_DENIED;
        if (process->terminateError != 0)
            return process->terminateError;
        simulation.EndProcess(open->id, uExitCode);
        return ERROR_SUCCESS;
    });
}

BOOL WINAPI EnumProcesses(DWORD* lpidProcess, DWORD cb, LPDWORD lpcbNeeded)
{
    Call call{__func__};
    call.In("cb", cb).Needs(lpcbNeeded);
    return call.SuccessOf([&]() -> DWORD {
        const auto& processes = Simulation::Current().machine.processes.All();
        const std::size_t count = call.GivesNothing() ? 0 : std::min<std::size_t>(processes.size(), cb / sizeof(DWORD));
        Json ids = Json::array();
        for (std::size_t i = 0; i < count; ++i)
        {
            lpidProcess[i] = processes[i].id;
            if (call.IsRecording())
                ids.push_back(processes[i].id);
        }
        *lpcbNeeded = static_cast<DWORD>(count * sizeof(DWORD));
        call.Out("lpidProcess", ids).Out("lpcbNeeded", *lpcbNeeded);
        return ERROR_SUCCESS;
    });
}

BOOL WINAPI EnumProcessModules(HANDLE hProcess, HMODULE* lphModule, DWORD cb, LPDWORD lpcbNeeded)
{
    Call call{__func__};
    call.In("hProcess", hProcess).In("cb", cb).Needs(lpcbNeeded);
    return call.SuccessOf([&]() -> DWORD {
        Simulation& simulation = Simulation::Current();
        DWORD error = ERROR_SUCCESS;
        const auto open = OpenedWith(call, kReadModules, hProcess, error);
        if (!open)
            return error;
        const RunningProcess* process = simulation.machine.processes.Find(open->id);
        if (process == nullptr || process->name.empty())
            return ERROR_PARTIAL_COPY;
        if (call.GivesNothing())
        {
            *lpcbNeeded = 0;
            call.Out("lpcbNeeded", *lpcbNeeded);
            return ERROR_SUCCESS;
        }
        *lpcbNeeded = sizeof(HMODULE);
        if (cb >= sizeof(HMODULE))
            *lphModule = static_cast<HMODULE>(simulation.ForeignModule());
        call.Out("lphModule", cb >= sizeof(HMODULE) ? *lphModule : nullptr).Out("lpcbNeeded", *lpcbNeeded);
        return ERROR_SUCCESS;
    });
}

DWORD WINAPI GetModuleBaseNameA(HANDLE hProcess, HMODULE hModule, LPSTR lpBaseName, DWORD nSize)
{
    Call call{__func__};
    call.In("hProcess", hProcess).In("hModule", hModule).In("nSize", nSize);
    return call.ResultOf(DWORD{0}, [&] {
        Simulation& simulation = Simulation::Current();
        DWORD error = ERROR_SUCCESS;
        const auto open = OpenedWith(call, kReadModules, hProcess, error);
        if (!open)
            return call.Fail(DWORD{0}, error);
        const RunningProcess* process = simulation.machine.processes.Find(open->id);
        if (process == nullptr || nSize == 0)
            return call.Fail(DWORD{0}, ERROR_INVALID_HANDLE);
        const std::string name = simulation.ToAnsi(process->name).substr(0, nSize - 1);
        std::memcpy(lpBaseName, name.c_str(), name.size() + 1);
        call.Out("lpBaseName", simulation.FromAnsi(name));
        return call.Done(static_cast<DWORD>(name.size()));
    });
}
