// Registers, starts, shows and deletes services for tests. Texts go in and out as UTF-8.
//
// service_tool create NAME BINARY_PATH DISPLAY_NAME   on-demand service of its own process
// service_tool path NAME BINARY_PATH                  gives it another command line
// service_tool start NAME
// service_tool delete NAME
// service_tool show NAME                              status, configuration and description, a JSON object
//
// Exit status: 0, or the Windows error.
#include <windows.h>

#include <winsvc.h>

#include <cstdio>
#include <string>
#include <vector>

namespace
{

constexpr DWORD kBufferBytes = 8192;

std::string Utf8(const wchar_t* text)
{
    const int size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, -1, narrow.data(), size, nullptr, nullptr);
    narrow.pop_back();
    return narrow;
}

std::string Quoted(const wchar_t* text)
{
    std::string quoted = "\"";
    for (const char c : Utf8(text != nullptr ? text : L""))
    {
        if (c == '"' || c == '\\')
            quoted += '\\';
        quoted += c;
    }
    return quoted + '"';
}

std::string QuotedList(const wchar_t* multiString)
{
    std::string list;
    for (const wchar_t* text = multiString; text != nullptr && *text != L'\0'; text += std::wstring(text).size() + 1)
        list += (list.empty() ? "" : ", ") + Quoted(text);
    return "[" + list + "]";
}

// What is made of a call that may have failed.
int ExitStatus(BOOL succeeded)
{
    return succeeded ? 0 : static_cast<int>(GetLastError());
}

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

int Show(SC_HANDLE service, const wchar_t* name)
{
    std::vector<BYTE> configurationBytes(kBufferBytes);
    auto* configuration = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(configurationBytes.data());
    std::vector<BYTE> descriptionBytes(kBufferBytes);
    auto* description = reinterpret_cast<SERVICE_DESCRIPTIONW*>(descriptionBytes.data());
    SERVICE_STATUS status{};
    DWORD needed = 0;
    if (!QueryServiceStatus(service, &status) || !QueryServiceConfigW(service, configuration, kBufferBytes, &needed) ||
        !QueryServiceConfig2W(service, SERVICE_CONFIG_DESCRIPTION, descriptionBytes.data(), kBufferBytes, &needed))
        return ExitStatus(FALSE);
    std::printf("{\"state\": %lu, \"controlsAccepted\": %lu, \"type\": %lu, \"start\": %lu, \"errorControl\": %lu, "
                "\"binaryPath\": %s, \"loadOrderGroup\": %s, \"dependencies\": %s, \"account\": %s, "
                "\"displayName\": %s, \"description\": %s}\n",
                status.dwCurrentState, status.dwControlsAccepted, configuration->dwServiceType,
                configuration->dwStartType, configuration->dwErrorControl,
                Quoted(configuration->lpBinaryPathName).c_str(), Quoted(configuration->lpLoadOrderGroup).c_str(),
                QuotedList(Dependencies(name).data()).c_str(), Quoted(configuration->lpServiceStartName).c_str(),
                Quoted(configuration->lpDisplayName).c_str(), Quoted(description->lpDescription).c_str());
    return 0;
}

} // namespace

int wmain(int argc, wchar_t** argv)
{
    const std::wstring verb = argc > 2 ? argv[1] : L"";
    const SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
    if (verb == L"create" && argc > 4)
        return ExitStatus(CreateServiceW(manager, argv[2], argv[4], SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS,
                                         SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL, argv[3], nullptr, nullptr, nullptr,
                                         nullptr, nullptr) != nullptr);
    const SC_HANDLE service = OpenServiceW(manager, argc > 2 ? argv[2] : L"", SERVICE_ALL_ACCESS);
    if (service == nullptr)
        return ExitStatus(FALSE);
    if (verb == L"start")
        return ExitStatus(StartServiceW(service, 0, nullptr));
    if (verb == L"path" && argc > 3)
        return ExitStatus(ChangeServiceConfigW(service, SERVICE_NO_CHANGE, SERVICE_NO_CHANGE, SERVICE_NO_CHANGE,
                                               argv[3], nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
    if (verb == L"delete")
        return ExitStatus(DeleteService(service));
    return Show(service, argv[2]);
}
