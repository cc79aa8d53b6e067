// Calls the toolkit's task library.
#include "enroll/auto_enrollment.h"

#include "log/module_logs.h"
#include "log/operation.h"
#include "platform/product_registry.h"
#include "windows/exception_guard.h"
#include "windows/fill_pattern.h"
#include "windows/full_path.h"
#include "windows/library_function.h"
#include "windows/unique_handle.h"
#include "windows/windows_version.h"

namespace
{

constexpr int kFailed = -1;

constexpr char kWantedValue[] = "KlAutoEnrollInstalled";

// One of the two operations: its name, and its lines until the task library is loaded.
struct TaskOperation
{
    const char* name;
    LogFormat<DWORD> wow64Unknown;
    LogFormat<> wow64;
    LogFormat<> noKey;
    LogFormat<> noPath;
    LogFormat<> noLibrary;
};

constexpr TaskOperation kInstall = {
    "InstallAutoEnrollmentTasks",
    "InstallAutoEnrollmentTasks - failed to detect process on host os type: %d",
    "InstallAutoEnrollmentTasks - This is a x86 process running on x64 system don't execute!",
    "*** InstallAutoEnrollmentTasks(): Failed to find path to Toolkit can't create Auto-Enroll Tasks",
    "*** InstallAutoEnrollmentTasks(): Failed to find path to Toolkit can't create Auto-Enroll Tasks",
    "*** KeloToolkitProxy::CreateAutoEnrollTasks(): Failed to load library <x>.dll can't create Auto-Enroll Tasks",
};

// Required: two texts speak of the installation, as does the one for a missing function.
constexpr TaskOperation kRemove = {
    "RemoveAutoEnrollmentTasks",
    "RemoveAutoEnrollmentTasks - failed to detect process on host os type: %d",
    "RemoveAutoEnrollmentTasks - This is a x86 process running on x64 system don't execute!",
    "*** InstallAutoEnrollmentTasks(): Failed to find path to Toolkit can't remove Auto-Enroll Tasks",
    "*** RemoveAutoEnrollmentTasks(): Failed to find path to Toolkit can't remove Auto-Enroll Tasks",
    "*** KeloToolkitProxy::RemoveAutoEnrollmentTasks(): Failed to load library <x>.dll can't create Auto-Enroll Tasks",
};

// The library's exports take no arguments. The removal's result is ignored.
using AreTasksInstalledFunction = BYTE(WINAPI*)();
using InstallTasksFunction = DWORD(WINAPI*)();
using RemoveTasksFunction = DWORD(WINAPI*)();

UniqueRegistryKey OpenCommonKey()
{
    UniqueRegistryKey key;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, kCommonKey, 0, KEY_READ, key.Put()) != ERROR_SUCCESS)
        return {};
    return key;
}

// Whether the registry asks for the tasks. Logs a line when it does not.
bool AreTasksWanted()
{
    const UniqueRegistryKey key = OpenCommonKey();
    const auto wanted = key ? ReadDword(key.Get(), kWantedValue) : std::nullopt;
    if (!wanted)
    {
        WriteLog(g_enrollLog,
                 "*** InstallAutoEnrollmentTasks(): Failed to open registry Auto-Enroll Tasks not installed");
        return false;
    }
    if (*wanted == 0)
    {
        WriteLog(g_enrollLog, "*** InstallAutoEnrollmentTasks(): Don't install Auto-Enroll Tasks regValue "
                              "'KlAutoEnrollInstalled' = 0");
        return false;
    }
    return true;
}

// Reads the installed toolkit's directory (ANSI). Nothing, with a line, when it cannot be read.
std::optional<std::string> FindToolkit(const TaskOperation& operation)
{
    const UniqueRegistryKey key = OpenCommonKey();
    if (!key)
    {
        WriteLog(g_enrollLog, operation.noKey);
        return std::nullopt;
    }
    auto directory = ReadText(key.Get(), kInstallationPathValue);
    if (!directory)
        WriteLog(g_enrollLog, operation.noPath);
    return directory;
}

// Loads the task library from the toolkit's directory (ANSI), but not from a path that depends on the current
// directory.
UniqueLibrary LoadTaskLibrary(const std::string& directory)
{
    const char* pattern = directory.ends_with('\\') ? "%sCertJobPlanner.dll" : "%s\\CertJobPlanner.dll";
    const std::string path = FillPattern(pattern, {directory});
    // Required: an empty directory counts as one without a backslash at the end; it means the root of the current
    // drive.
    if (!directory.empty() && !IsFullPath(path))
        return {};
    return UniqueLibrary{LoadLibraryA(path.c_str())};
}

// Loads the task library of the installed toolkit. None, with a line, when it is not found or does not load.
UniqueLibrary OpenTaskLibrary(const TaskOperation& operation)
{
    const auto directory = FindToolkit(operation);
    if (!directory)
        return {};
    UniqueLibrary library = LoadTaskLibrary(*directory);
    if (!library)
        WriteLog(g_enrollLog, operation.noLibrary);
    return library;
}

// Whether this is a 32-bit process on 64-bit Windows, where nothing is done. A failing call counts as no.
bool IsRefused(const TaskOperation& operation)
{
    const auto wow64 = IsWow64();
    if (!wow64)
        WriteLog(g_enrollLog, operation.wow64Unknown, GetLastError());
    if (!wow64.value_or(false))
        return false;
    WriteLog(g_enrollLog, operation.wow64);
    return true;
}

// Calls a function of the task library. Nothing, with a line, when an exception of any kind came out of it.
template <typename Answer>
std::optional<Answer> Ask(Answer(WINAPI* function)(), const TaskOperation& operation)
{
    Answer answer{};
    if (CallGuarded([&answer, function] { answer = function(); }))
        return answer;
    LogException(g_enrollLog, operation.name, kFailed);
    return std::nullopt;
}

int InstallTasks(HMODULE library)
{
    const auto areTasksInstalled = FindFunction<AreTasksInstalledFunction>(library, "AreTasksInstalled");
    const auto installTasks = FindFunction<InstallTasksFunction>(library, "InstallAutoEnrollmentTasks");
    if (areTasksInstalled == nullptr || installTasks == nullptr)
    {
        WriteLog(g_enrollLog, "*** KeloToolkitProxy::CreateAutoEnrollTasks(): Failed to calls to GetProcAddress can't "
                              "create Auto-Enroll Tasks");
        return kFailed;
    }
    const auto areInstalled = Ask(areTasksInstalled, kInstall);
    if (!areInstalled)
        return kFailed;
    if (*areInstalled != 0)
    {
        WriteLog(g_enrollLog, "*** InstallAutoEnrollmentTasks(): Auto-Enroll Tasks already installed, skipping...");
        return 0;
    }
    const auto status = Ask(installTasks, kInstall);
    if (!status)
        return kFailed;
    switch (*status)
    {
    case ERROR_SUCCESS:
        WriteLog(g_enrollLog, "*** InstallAutoEnrollmentTasks(): Auto-Enroll Tasks installed");
        return 0;
    case ERROR_OLD_WIN_VERSION:
        WriteLog(g_enrollLog, "*** InstallAutoEnrollmentTasks(): Can't install Tasks as this is XP");
        return 0;
    default:
        WriteLog(g_enrollLog, "*** InstallAutoEnrollmentTasks(): Create Auto-Enroll Tasks failed %d", *status);
        return kFailed;
    }
}

int RemoveTasks(HMODULE library)
{
    const auto removeTasks = FindFunction<RemoveTasksFunction>(library, "RemoveAutoEnrollmentTasks");
    if (removeTasks == nullptr)
    {
        WriteLog(g_enrollLog, "*** KeloToolkitProxy::RemoveAutoEnrollmentTasks(): Failed GetProcAddress can't create "
                              "Auto-Enroll Tasks");
        return kFailed;
    }
    return Ask(removeTasks, kRemove) ? 0 : kFailed;
}

int Install()
{
    if (IsRefused(kInstall) || !AreTasksWanted())
        return 0;
    const UniqueLibrary library = OpenTaskLibrary(kInstall);
    return library ? InstallTasks(library.Get()) : kFailed;
}

int Remove()
{
    if (IsRefused(kRemove))
        return 0;
    const UniqueLibrary library = OpenTaskLibrary(kRemove);
    return library ? RemoveTasks(library.Get()) : kFailed;
}

} // namespace

int InstallAutoEnrollmentTasks()
{
    return RunOperation(g_enrollLog, kInstall.name, kFailed, &Install);
}

int RemoveAutoEnrollmentTasks()
{
    return RunOperation(g_enrollLog, kRemove.name, kFailed, &Remove);
}
