// Registers and removes the toolkit's Windows service.
#include "service/toolkit_service.h"

#include "log/module_logs.h"
#include "log/operation.h"
#include "platform/service_binary_path.h"
#include "platform/stack_names.h"
#include "service/kl_tk_service.h"
#include "windows/child_process.h"
#include "windows/full_path.h"
#include "windows/result_or.h"
#include "windows/text.h"
#include "windows/unique_handle.h"
#include "windows/windows_version.h"

#include <cwchar>

namespace
{

constexpr wchar_t kServiceName[] = L"KlPCR";
constexpr wchar_t kServiceProgram[] = L"\\KlPCR.exe";
constexpr wchar_t kLoadOrderGroup[] = L"SmartcardGroup";
constexpr wchar_t kLastDependency[] = L"RPCSS";

struct StackDependency
{
    const wchar_t* vendor;
    const wchar_t* serviceName;
};

constexpr StackDependency kStackDependencies[] = {
    {kIfxServiceVendor, kIfxService},
    {kNtruServiceVendor, kNtruService},
    {kKeloServiceVendor, kKeloService},
};

const StackDependency* FindStackDependency(const wchar_t* vendor)
{
    for (const StackDependency& dependency : kStackDependencies)
    {
        if (_wcsicmp(vendor, dependency.vendor) == 0)
            return &dependency;
    }
    return nullptr;
}

// Windows 8 and later start the TPM Base Services on demand; Windows before Vista does not have them.
bool DependsOnTbs()
{
    if (!IsWindowsVersionAtLeast(6, 0))
        return false;
    if (IsWindowsVersionAtLeast(6, 2))
    {
        WriteLog(g_serviceLog, "This is Win8, no TBS Service....");
        return false;
    }
    WriteLog(g_serviceLog, "This is Vista/Win7, add TBS Service to dependencies....");
    return true;
}

void AppendEntry(std::wstring& multiString, const wchar_t* entry)
{
    multiString.append(entry).push_back(L'\0');
}

// The services that must run before the toolkit's: a zero ends each name, and the string's own zero ends the list.
std::wstring DependenciesFor(const wchar_t* vendor)
{
    std::wstring dependencies;
    if (const StackDependency* stack = FindStackDependency(vendor))
        AppendEntry(dependencies, stack->serviceName);
    else
        WriteLog(g_serviceLog, "InstallTkService - A unknown TSS name was provided, set to have no TSS dependencies");
    if (DependsOnTbs())
        AppendEntry(dependencies, kTbsService);
    AppendEntry(dependencies, kLastDependency);
    return dependencies;
}

// Runs the service program with one switch. Whether that could be done shows when the service is opened or deleted.
void RunServiceProgram(const std::wstring& program, wchar_t* commandLine)
{
    if (const auto started = ChildProcess::Start({program.c_str(), commandLine, CREATE_NO_WINDOW}))
        started->WaitForEnd();
}

// The service program in the toolkit's directory (ANSI). Empty when that is no full path, because the program would be
// looked for in the current directory; and when memory runs out.
std::wstring ServiceProgramIn(const char* directory)
{
    return ResultOr({}, [directory] {
        const std::wstring folder = ToWide(directory);
        return IsFullPath(folder) ? folder + kServiceProgram : std::wstring();
    });
}

// Has the service program register itself.
void Register(const char* directory)
{
    const std::wstring program = ServiceProgramIn(directory);
    if (program.empty())
        return;
    wchar_t commandLine[] = L"-Service";
    RunServiceProgram(program, commandLine);
}

// Stops a service left from an earlier installation, which goes on even if that fails.
void StopInstalledService()
{
    UniqueServiceHandle manager{OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS)};
    if (!manager)
    {
        WriteLog(g_serviceLog, "InstallTkService - failed to open the SCM. %d", GetLastError());
        return;
    }
    const UniqueServiceHandle service{OpenServiceW(manager.Get(), kServiceName, SERVICE_ALL_ACCESS)};
    if (!service)
    {
        // Required: the manager is closed before the error is read.
        manager.Reset();
        WriteLog(g_serviceLog, "InstallTkService - failed to open the KlPCR Service. %d (this is expected)",
                 GetLastError());
        return;
    }
    const int stopped = CKlTkService::StopService(service.Get());
    if (stopped != 0)
        WriteLog(g_serviceLog, "InstallTkService - failed to stop the KlPCR Service. %d", stopped);
    else
        WriteLog(g_serviceLog, "InstallTkService - Stopped the KlPCR Service");
}

void Configure(SC_HANDLE service, const std::wstring& dependencies)
{
    if (!ChangeServiceConfigW(service, SERVICE_NO_CHANGE, SERVICE_AUTO_START, SERVICE_NO_CHANGE, nullptr,
                              kLoadOrderGroup, nullptr, dependencies.c_str(), nullptr, nullptr, nullptr))
        WriteLog(g_serviceLog, "InstallTkService failed to change KlPCR Service configuration %d", GetLastError());

    wchar_t text[] = L"Kelo Toolkit Service";
    SERVICE_DESCRIPTIONW description{text};
    ChangeServiceConfig2W(service, SERVICE_CONFIG_DESCRIPTION, &description);
}

// Has the service program take back what it registered.
// Required: the program's directory is run, without a file name; Windows starts nothing.
void Unregister(const std::wstring& programDirectory)
{
    WriteLog(g_serviceLog, "UnInstallTkService - unregister the service");
    wchar_t commandLine[] = L"-UnregServer";
    RunServiceProgram(programDirectory, commandLine);
    WriteLog(g_serviceLog, "UnInstallTkService - Unregisted the COM portion of the service");
}

int Install(const wchar_t* vendor, const char* directory)
{
    WriteLog(g_serviceLog, "InstallTkService - Make sure that the Service isn't running first!");
    StopInstalledService();

    WriteLog(g_serviceLog, "KlTKService - now properly install/register the service");
    const std::wstring dependencies = DependenciesFor(vendor);
    Register(directory);

    UniqueServiceHandle manager{OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS)};
    if (!manager)
    {
        WriteLog(g_serviceLog, "InstallTkService - failed to open the SCM. %d", GetLastError());
        return -1;
    }
    UniqueServiceHandle service{OpenServiceW(manager.Get(), kServiceName, SERVICE_CHANGE_CONFIG | SERVICE_START)};
    if (!service)
    {
        WriteLog(g_serviceLog, "InstallTkService - failed to open the KlPCR Service! %d", GetLastError());
        return -1;
    }
    Configure(service.Get(), dependencies);
    if (!StartServiceW(service.Get(), 0, nullptr))
        WriteLog(g_serviceLog, "InstallTkService failed to start the KlPCR Service %d", GetLastError());

    service.Reset();
    manager.Reset();
    WriteLog(g_serviceLog, "KlTKService - service installed/registered");
    return 0;
}

} // namespace

int InstallTkService(const wchar_t* vendor, const char* directory)
{
    return RunOperation(g_serviceLog, "InstallTkService", -1, [=] { return Install(vendor, directory); });
}

int UnInstallTkService()
{
    WriteLog(g_serviceLog, "UnInstallTkService - Enter");
    UniqueServiceHandle manager{OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS)};
    if (!manager)
    {
        WriteLog(g_serviceLog, "UnInstallTkService - failed to open the SCM. %d", GetLastError());
        return -1;
    }
    UniqueServiceHandle service{OpenServiceW(manager.Get(), kServiceName, SERVICE_ALL_ACCESS)};
    if (!service)
    {
        WriteLog(g_serviceLog, "UnInstallTkService - failed to open the KlPCR Service! %d", GetLastError());
        return -1;
    }

    std::wstring programDirectory;
    if (!GetServiceBinaryPath(kServiceName, programDirectory))
        WriteLog(g_serviceLog, "UnInstallTkService - failed to get path to KlPCR Service");
    if (CKlTkService::StopService(service.Get()) == 0)
        Unregister(programDirectory);
    else
        WriteLog(g_serviceLog, "UnInstallTkService - failed to stop KlPCR Service, can't fully uninstall");
    if (DeleteService(service.Get()))
        WriteLog(g_serviceLog, "UnInstallTkService - Deleted KlPCR Service from SCM");
    else
        WriteLog(g_serviceLog, "UnInstallTkService - failed to delete the service %d", GetLastError());

    service.Reset();
    manager.Reset();
    WriteLog(g_serviceLog, "UnInstallTkService - completed");
    return 0;
}
