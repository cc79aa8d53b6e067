// Calls the toolkit's task library. Several lines name another operation than their own: that is meant.
#include "enroll/auto_enrollment.h"

#include "enroll/enroll_log.h"
#include "log/operation.h"
#include "platform/product_registry.h"
#include "windows/exception_guard.h"
#include "windows/fill_pattern.h"
#include "windows/full_path.h"
#include "windows/library_function.h"
#include "windows/unique_handle.h"

#include <windows.h>

namespace
{

constexpr int kFailed = -1;

// What the lines of caught exceptions call the operations.
constexpr char kInstall[] = "InstallAutoEnrollmentTasks";
constexpr char kRemove[] = "RemoveAutoEnrollmentTasks";

constexpr char kWantedValue[] = "KlAutoEnrollInstalled";

// The library's exports take no arguments. A removal's result is not looked at.
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

// Loads the task library from the toolkit's directory (ANSI). A directory that is not a full path is not searched for
// on the current drive or in its current directory.
UniqueLibrary LoadTaskLibrary(const std::string& directory)
{
    const bool endsInBackslash = !directory.empty() && directory.back() == '\\';
    const char* pattern = endsInBackslash ? "%sCertJobPlanner.dll" : "%s\\CertJobPlanner.dll";
    const std::string path = FillPattern(pattern, {directory});
    // Required: an empty directory is one without a backslash at its end. It is the root of the current drive.
    if (!directory.empty() && !IsFullPath(path))
        return {};
    return UniqueLibrary{LoadLibraryA(path.c_str())};
}

// What a function of the task library answers. Nothing, with a line that names the operation, when an exception of any
// kind came out of it.
template <typename Answer>
std::optional<Answer> Ask(Answer(WINAPI* function)(), const char* operation)
{
    Answer answer{};
    if (CallGuarded([&answer, function] { answer = function(); }))
        return answer;
    WriteLog(g_enrollLog, "%s - Unknown exception caught return %d", operation, kFailed);
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

// Whether this is a 32-bit process on 64-bit Windows. Logs a failing call and answers it with no.
bool IsWow64(LogFormat<DWORD> undetected)
{
    BOOL wow64 = FALSE;
    if (!IsWow64Process(GetCurrentProcess(), &wow64))
        WriteLog(g_enrollLog, undetected, GetLastError());
    return wow64 != FALSE;
}

int Install()
{
    if (IsWow64("InstallAutoEnrollmentTasks - failed to detect process on host os type: %d"))
    {
        WriteLog(g_enrollLog,
                 "InstallAutoEnrollmentTasks - This is a x86 process running on x64 system don't execute!");
        return 0;
    }
    if (!AreTasksWanted())
        return 0;

    UniqueRegistryKey key = OpenCommonKey();
    const auto directory = key ? ReadText(key.Get(), kInstallationPathValue) : std::nullopt;
    key.Reset();
    if (!directory)
    {
        WriteLog(g_enrollLog, "*** InstallAutoEnrollmentTasks(): Failed to find path to Toolkit can't create "
                              "Auto-Enroll Tasks");
        return kFailed;
    }
    const UniqueLibrary library = LoadTaskLibrary(*directory);
    if (!library)
    {
        WriteLog(g_enrollLog, "*** KeloToolkitProxy::CreateAutoEnrollTasks(): Failed to load library <x>.dll can't "
                              "create Auto-Enroll Tasks");
        return kFailed;
    }
    return InstallTasks(library.Get());
}

int Remove()
{
    if (IsWow64("RemoveAutoEnrollmentTasks - failed to detect process on host os type: %d"))
    {
        WriteLog(g_enrollLog, "RemoveAutoEnrollmentTasks - This is a x86 process running on x64 system don't execute!");
        return 0;
    }

    UniqueRegistryKey key = OpenCommonKey();
    if (!key)
    {
        WriteLog(g_enrollLog, "*** InstallAutoEnrollmentTasks(): Failed to find path to Toolkit can't remove "
                              "Auto-Enroll Tasks");
        return kFailed;
    }
    const auto directory = ReadText(key.Get(), kInstallationPathValue);
    key.Reset();
    if (!directory)
    {
        WriteLog(g_enrollLog, "*** RemoveAutoEnrollmentTasks(): Failed to find path to Toolkit can't remove "
                              "Auto-Enroll Tasks");
        return kFailed;
    }
    const UniqueLibrary library = LoadTaskLibrary(*directory);
    if (!library)
    {
        WriteLog(g_enrollLog, "*** KeloToolkitProxy::RemoveAutoEnrollmentTasks(): Failed to load library <x>.dll "
                              "can't create Auto-Enroll Tasks");
        return kFailed;
    }
    const auto removeTasks = FindFunction<RemoveTasksFunction>(library.Get(), "RemoveAutoEnrollmentTasks");
    if (removeTasks == nullptr)
    {
        WriteLog(g_enrollLog, "*** KeloToolkitProxy::RemoveAutoEnrollmentTasks(): Failed GetProcAddress can't create "
                              "Auto-Enroll Tasks");
        return kFailed;
    }
    return Ask(removeTasks, kRemove) ? 0 : kFailed;
}

} // namespace

int InstallAutoEnrollmentTasks()
{
    return RunOperation(g_enrollLog, kInstall, kFailed, &Install);
}

int RemoveAutoEnrollmentTasks()
{
    return RunOperation(g_enrollLog, kRemove, kFailed, &Remove);
}
