// Finds the directory of a Windows service's program.
#include "platform/service_binary_path.h"

#include "windows/result_or.h"
#include "windows/unique_handle.h"

#include <optional>
#include <string_view>
#include <utility>

namespace
{

constexpr DWORD kConfigurationBytes = 4096;

std::optional<std::wstring> DirectoryOf(std::wstring_view binaryPath)
{
    const auto lastBackslash = binaryPath.rfind(L'\\');
    if (lastBackslash == std::wstring_view::npos)
        return std::nullopt;
    std::wstring directory{binaryPath.substr(0, lastBackslash)};
    // Required: the first character goes, whether or not it is the opening quotation mark.
    directory.erase(0, 1);
    return directory;
}

} // namespace

bool GetServiceBinaryPath(const wchar_t* serviceName, std::wstring& directory)
{
    const UniqueServiceHandle manager{OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS)};
    if (!manager)
        return false;
    const UniqueServiceHandle service{OpenServiceW(manager.Get(), serviceName, SERVICE_QUERY_CONFIG)};
    if (!service)
        return false;
    const UniqueLocalMemory<QUERY_SERVICE_CONFIGW> configuration{
        static_cast<QUERY_SERVICE_CONFIGW*>(LocalAlloc(LPTR, kConfigurationBytes))};
    if (!configuration)
        return false;

    DWORD needed = 0;
    if (!QueryServiceConfigW(service.Get(), configuration.Get(), kConfigurationBytes, &needed))
        return false;
    const wchar_t* binaryPath = configuration.Get()->lpBinaryPathName;
    if (binaryPath == nullptr)
        return false;
    auto found = ResultOr({}, [binaryPath] { return DirectoryOf(binaryPath); });
    if (!found)
        return false;
    directory = std::move(*found);
    return true;
}
