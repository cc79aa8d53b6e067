// Opens the service manager and services with every right, and reads the states of services.
#include "tests/e2e/tools/machine_tool/services.h"

#include <vector>

SC_HANDLE ServiceManager()
{
    static const SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
    return manager;
}

UniqueServiceHandle OpenServiceFully(const std::wstring& service)
{
    return UniqueServiceHandle{OpenServiceW(ServiceManager(), service.c_str(), SERVICE_ALL_ACCESS)};
}

std::map<std::wstring, DWORD, WithoutCase> ReadStates()
{
    // Wine sends the whole buffer from process to process, piece by piece.
    std::vector<BYTE> bytes(0x2000);
    DWORD needed = 0;
    DWORD count = 0;
    while (!EnumServicesStatusExW(ServiceManager(), SC_ENUM_PROCESS_INFO, SERVICE_WIN32, SERVICE_STATE_ALL,
                                  bytes.data(), static_cast<DWORD>(bytes.size()), &needed, &count, nullptr, nullptr))
    {
        if (GetLastError() != ERROR_MORE_DATA)
            return {};
        bytes.resize(bytes.size() + needed);
    }
    std::map<std::wstring, DWORD, WithoutCase> states;
    const auto* services = reinterpret_cast<const ENUM_SERVICE_STATUS_PROCESSW*>(bytes.data());
    for (DWORD i = 0; i < count; ++i)
        states[services[i].lpServiceName] = services[i].ServiceStatusProcess.dwCurrentState;
    return states;
}
