// Shows services.
#include "tests/e2e/tools/machine_tool/json.h"
#include "tests/e2e/tools/machine_tool/services.h"
#include "tests/e2e/tools/machine_tool/verbs.h"

#include <windows.h>

#include <cstdio>
#include <string>
#include <vector>

namespace
{

constexpr DWORD kBufferBytes = 8192;

// The services that must run first, a multi-string: from the registry, because Wine keeps them there and does not
// report them in the configuration.
std::vector<wchar_t> Dependencies(const std::wstring& name)
{
    std::vector<wchar_t> list(kBufferBytes);
    DWORD size = kBufferBytes;
    RegGetValueW(HKEY_LOCAL_MACHINE, (L"SYSTEM\\CurrentControlSet\\Services\\" + name).c_str(), L"DependOnService",
                 RRF_RT_REG_MULTI_SZ, nullptr, list.data(), &size);
    return list;
}

bool PrintService(const std::wstring& name)
{
    const UniqueServiceHandle service = OpenServiceFully(name);
    std::vector<BYTE> configurationBytes(kBufferBytes);
    auto* configuration = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(configurationBytes.data());
    std::vector<BYTE> descriptionBytes(kBufferBytes);
    auto* description = reinterpret_cast<SERVICE_DESCRIPTIONW*>(descriptionBytes.data());
    SERVICE_STATUS status{};
    DWORD needed = 0;
    if (!service || !QueryServiceStatus(service.Get(), &status) ||
        !QueryServiceConfigW(service.Get(), configuration, kBufferBytes, &needed) ||
        !QueryServiceConfig2W(service.Get(), SERVICE_CONFIG_DESCRIPTION, descriptionBytes.data(), kBufferBytes,
                              &needed))
        return false;
    std::printf("{\"state\": %lu, \"controlsAccepted\": %lu, \"type\": %lu, \"start\": %lu, \"errorControl\": %lu, "
                "\"binaryPath\": %s, \"loadOrderGroup\": %s, \"dependencies\": %s, \"account\": %s, "
                "\"displayName\": %s, \"description\": %s}",
                status.dwCurrentState, status.dwControlsAccepted, configuration->dwServiceType,
                configuration->dwStartType, configuration->dwErrorControl,
                Quoted(configuration->lpBinaryPathName).c_str(), Quoted(configuration->lpLoadOrderGroup).c_str(),
                QuotedList(Dependencies(name).data()).c_str(), Quoted(configuration->lpServiceStartName).c_str(),
                Quoted(configuration->lpDisplayName).c_str(), Quoted(description->lpDescription).c_str());
    return true;
}

// The names of all services; none when they cannot be listed, which the last error tells of.
Words AllServices()
{
    DWORD size = 0;
    DWORD count = 0;
    EnumServicesStatusExW(ServiceManager(), SC_ENUM_PROCESS_INFO, SERVICE_WIN32, SERVICE_STATE_ALL, nullptr, 0, &size,
                          &count, nullptr, nullptr);
    std::vector<BYTE> bytes(size + kBufferBytes);
    EnumServicesStatusExW(ServiceManager(), SC_ENUM_PROCESS_INFO, SERVICE_WIN32, SERVICE_STATE_ALL, bytes.data(),
                          static_cast<DWORD>(bytes.size()), &size, &count, nullptr, nullptr);
    const auto* services = reinterpret_cast<ENUM_SERVICE_STATUS_PROCESSW*>(bytes.data());
    Words names;
    for (DWORD i = 0; i < count; ++i)
        names.emplace_back(services[i].lpServiceName);
    return names;
}

} // namespace

int ShowServices(const Words& words)
{
    const Words names = words.size() > 1 ? Words(words.begin() + 1, words.end()) : AllServices();
    if (names.empty())
        return ExitStatus(FALSE);
    const char* separator = "{";
    for (const std::wstring& name : names)
    {
        std::printf("%s%s: ", separator, Quoted(name).c_str());
        separator = ",\n";
        if (PrintService(name))
            continue;
        if (GetLastError() != ERROR_SERVICE_DOES_NOT_EXIST)
            return ExitStatus(FALSE);
        std::printf("null");
    }
    std::printf("}\n");
    return 0;
}
