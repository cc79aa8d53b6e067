// Registers and removes the toolkit's Windows service.
#include "service/toolkit_service.h"

#include "log/operation.h"
#include "platform/service_binary_path.h"
#include "service/kl_tk_service.h"
#include "service/service_log.h"
#include "tss/tss_names.h"
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
    {L"IFX", kIfxService},
    {L"NTRU", kNtruService},
    {L"KELO", kKeloService},
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

// Windows 8 and later start the TPM Base Services on demand; before Vista there are none.
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

// The services that must run before the toolkit's: names with a zero behind each, and the string's own behind
// the last.
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

// Has the service program register itself. A program that cannot be run shows when the service is opened.
bool Register(const char* directory)
{
    const std::wstring folder = ToWide(directory);
    // The program would be looked for on the current drive or in its current directory.
    if (!IsFullPath(folder))
        return false;
    wchar_t commandLine[] = L"-Service";
    RunAndWait((folder + kServiceProgram).c_str(), commandLine);
    return true;
}

// Stops a service left from an earlier installation. Whatever comes of it, the installation goes on.
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
        // The manager is meant to be closed before the error is read.
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

// Has the service program take back what it registered. The directory that the service manager names stands for
// the program here, without its file name, on purpose.
void Unregister(const std::wstring& programDirectory)
{
    WriteLog(g_serviceLog, "UnInstallTkService - unregister the service");
    wchar_t commandLine[] = L"-UnregServer";
    RunAndWait(programDirectory.c_str(), commandLine);
    WriteLog(g_serviceLog, "UnInstallTkService - Unregisted the COM portion of the service");
}

int Install(const wchar_t* vendor, const char* directory)
{
    WriteLog(g_serviceLog, "InstallTkService - Make sure that the Service isn't running first!");
    StopInstalledService();

    WriteLog(g_serviceLog, "KlTKService - now properly install/register the service");
    const std::wstring dependencies = DependenciesFor(vendor);
    ResultOr(false, [directory] { return Register(directory); });

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
