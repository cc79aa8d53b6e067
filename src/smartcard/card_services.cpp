// Makes the Windows services that smart cards need start automatically, and starts them.
#include "log/module_logs.h"
#include "smartcard/tpm_smart_card.h"
#include "windows/result_or.h"
#include "windows/unique_handle.h"

#include <windows.h>

#include <algorithm>
#include <optional>
#include <vector>

namespace
{

struct CardService
{
    const wchar_t* name;
    LogFormat<DWORD> changeFailed;
    LogFormat<DWORD> startFailed;
};

constexpr CardService kSmartCardService = {
    L"SCardSvr",
    "CTPMSmartCard::ConfigureSmartCardService - Failed to change Service to 'Auto' %d",
    "CTPMSmartCard::ConfigureSmartCardService - failed to StartService %d",
};

constexpr CardService kCertPropService = {
    L"CertPropSvc",
    "CTPMSmartCard::ConfigureCertPropService - Failed to change Service to 'Auto' %d",
    "CTPMSmartCard::ConfigureCertPropService - failed to StartService %d",
};

// The start type of an open service. Nothing when its configuration cannot be read. Throws when memory runs out.
std::optional<DWORD> StartTypeOf(SC_HANDLE service)
{
    DWORD size = 0;
    if (QueryServiceConfigW(service, nullptr, 0, &size) || GetLastError() != ERROR_INSUFFICIENT_BUFFER)
        return std::nullopt;
    // Never less than the record itself, even if Windows names a smaller size.
    std::vector<BYTE> buffer(std::max<std::size_t>(size, sizeof(QUERY_SERVICE_CONFIGW)));
    auto* configuration = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(buffer.data());
    if (!QueryServiceConfigW(service, configuration, size, &size))
        return std::nullopt;
    return configuration->dwStartType;
}

bool SetAutoStart(SC_HANDLE service)
{
    return ChangeServiceConfigW(service, SERVICE_NO_CHANGE, SERVICE_AUTO_START, SERVICE_NO_CHANGE, nullptr, nullptr,
                                nullptr, nullptr, nullptr, nullptr, nullptr) != FALSE;
}

// Whether an open service neither runs nor is starting. A service whose state cannot be read is left alone.
bool NeedsStart(SC_HANDLE service)
{
    SERVICE_STATUS_PROCESS status{};
    DWORD size = 0;
    if (!QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status), sizeof status, &size))
        return false;
    return status.dwCurrentState != SERVICE_RUNNING && status.dwCurrentState != SERVICE_START_PENDING;
}

int Configure(const CardService& cardService)
{
    if (CTPMSmartCard::IsWOW64Process())
        return 0;

    const UniqueServiceHandle manager{OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS)};
    if (!manager)
        return -1;
    // Required: without the right to read the state. Windows then refuses NeedsStart, and the service starts with the
    // next start of Windows.
    const UniqueServiceHandle service{
        OpenServiceW(manager.Get(), cardService.name, SERVICE_QUERY_CONFIG | SERVICE_CHANGE_CONFIG | SERVICE_START)};
    if (!service)
        return -1;

    const auto startType = ResultOr({}, [&service] { return StartTypeOf(service.Get()); });
    if (!startType)
        return -1;
    if (*startType != SERVICE_AUTO_START && !SetAutoStart(service.Get()))
    {
        WriteLog(g_smartcardLog, cardService.changeFailed, GetLastError());
        return -1;
    }
    if (NeedsStart(service.Get()) && !StartServiceW(service.Get(), 0, nullptr))
        WriteLog(g_smartcardLog, cardService.startFailed, GetLastError());
    return 0;
}

} // namespace

int CTPMSmartCard::ConfigureSmartCardService()
{
    return Configure(kSmartCardService);
}

int CTPMSmartCard::ConfigureCertPropService()
{
    return Configure(kCertPropService);
}
