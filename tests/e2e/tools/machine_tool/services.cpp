// Opens the service manager and services with every right.
#include "tests/e2e/tools/machine_tool/services.h"

SC_HANDLE ServiceManager()
{
    static const SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
    return manager;
}

UniqueServiceHandle OpenServiceFully(const std::wstring& service)
{
    return UniqueServiceHandle{OpenServiceW(ServiceManager(), service.c_str(), SERVICE_ALL_ACCESS)};
}
