// Reads services from the service manager.
#include "describe/capture.h"
#include "describe/windows_headers.h"
#include "describe/windows_text.h"
#include "windows/unique_handle.h"
#include "winsim/base/text.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <map>
#include <numeric>
#include <optional>
#include <set>
#include <vector>

namespace describe
{

namespace
{

using winsim::Json;

// The rights to a service, each of which an access list may refuse.
constexpr DWORD kServiceRights[] = {
    SERVICE_QUERY_CONFIG,
    SERVICE_CHANGE_CONFIG,
    SERVICE_QUERY_STATUS,
    SERVICE_ENUMERATE_DEPENDENTS,
    SERVICE_START,
    SERVICE_STOP,
    SERVICE_PAUSE_CONTINUE,
    SERVICE_INTERROGATE,
    SERVICE_USER_DEFINED_CONTROL,
    DELETE,
    READ_CONTROL,
    WRITE_DAC,
    WRITE_OWNER,
};
constexpr DWORD kAllRights =
    std::accumulate(std::begin(kServiceRights), std::end(kServiceRights), DWORD{0}, std::bit_or());

std::vector<std::string> TextsOf(const wchar_t* multiString)
{
    std::vector<std::string> texts;
    for (const wchar_t* text = multiString; text != nullptr && *text != L'\0'; text += std::wcslen(text) + 1)
        texts.push_back(FromWide(text));
    return texts;
}

std::string TextOf(const wchar_t* text)
{
    return text == nullptr ? std::string() : FromWide(text);
}

// Calls query(buffer, size, needed), a function that says how large its buffer has to be. Empty if it fails.
template <typename Query>
std::vector<BYTE> Record(Query query)
{
    constexpr DWORD kUsuallyEnough = 1024;
    std::vector<BYTE> record(kUsuallyEnough);
    DWORD needed = 0;
    if (query(record.data(), kUsuallyEnough, &needed))
        return record;
    record.resize(needed);
    if (needed <= kUsuallyEnough || !query(record.data(), needed, &needed))
        return {};
    return record;
}

// Accounts of Windows' own keep their names; those of users do not.
std::string AccountOf(const std::string& account)
{
    if (account.empty() || winsim::SameName(account, "LocalSystem"))
        return "LocalSystem";
    const std::string domain = account.substr(0, account.find('\\'));
    return winsim::SameName(domain, "NT AUTHORITY") || winsim::SameName(domain, "NT SERVICE") ? account : ".\\user";
}

// The services that must run first. Wine does not report them in the configuration: there they are in the registry
// alone.
std::vector<std::string> DependenciesOf(const std::string& name, const QUERY_SERVICE_CONFIGW& configuration)
{
    std::vector<std::string> reported = TextsOf(configuration.lpDependencies);
    if (!reported.empty())
        return reported;
    std::vector<wchar_t> list(0x2000);
    auto size = static_cast<DWORD>((list.size() - 2) * sizeof(wchar_t));
    UniqueRegistryKey key;
    const std::wstring path = L"SYSTEM\\CurrentControlSet\\Services\\" + ToWide(name);
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_QUERY_VALUE, key.Put()) != ERROR_SUCCESS ||
        RegQueryValueExW(key.Get(), L"DependOnService", nullptr, nullptr, reinterpret_cast<BYTE*>(list.data()),
                         &size) != ERROR_SUCCESS)
        return {};
    return TextsOf(list.data());
}

bool ReadConfiguration(SC_HANDLE service, const std::string& name, Json& json)
{
    const std::vector<BYTE> record = Record([&](BYTE* buffer, DWORD size, DWORD* needed) {
        return QueryServiceConfigW(service, reinterpret_cast<QUERY_SERVICE_CONFIGW*>(buffer), size, needed);
    });
    if (record.empty())
        return false;
    const auto& configuration = *reinterpret_cast<const QUERY_SERVICE_CONFIGW*>(record.data());
    json["type"] = configuration.dwServiceType;
    json["start"] = configuration.dwStartType;
    json["errorControl"] = configuration.dwErrorControl;
    json["binaryPath"] = TextOf(configuration.lpBinaryPathName);
    json["loadOrderGroup"] = TextOf(configuration.lpLoadOrderGroup);
    json["dependencies"] = DependenciesOf(name, configuration);
    json["account"] = AccountOf(TextOf(configuration.lpServiceStartName));
    const std::string displayName = TextOf(configuration.lpDisplayName);
    json["displayName"] = displayName.empty() ? name : displayName;
    return true;
}

void ReadDescription(SC_HANDLE service, Json& json)
{
    const std::vector<BYTE> record = Record([&](BYTE* buffer, DWORD size, DWORD* needed) {
        return QueryServiceConfig2W(service, SERVICE_CONFIG_DESCRIPTION, buffer, size, needed);
    });
    if (!record.empty())
        json["description"] = TextOf(reinterpret_cast<const SERVICE_DESCRIPTIONW*>(record.data())->lpDescription);
}

bool ReadStatus(SC_HANDLE service, Json& json)
{
    SERVICE_STATUS_PROCESS status{};
    DWORD needed = 0;
    if (!QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status), sizeof status,
                              &needed))
        return false;
    json["processId"] = status.dwProcessId;
    json["state"] = status.dwCurrentState;
    json["controlsAccepted"] = status.dwControlsAccepted;
    json["exitCode"] = status.dwWin32ExitCode;
    json["serviceExitCode"] = status.dwServiceSpecificExitCode;
    json["checkPoint"] = status.dwCheckPoint;
    json["waitHint"] = status.dwWaitHint;
    return true;
}

// The rights that this process is refused.
DWORD DeniedAccess(SC_HANDLE manager, const std::wstring& name)
{
    DWORD denied = 0;
    for (const DWORD right : kServiceRights)
    {
        if (!UniqueServiceHandle{OpenServiceW(manager, name.c_str(), right)} && GetLastError() == ERROR_ACCESS_DENIED)
            denied |= right;
    }
    return denied;
}

// The names of the services that need this one, running or not.
std::vector<std::wstring> DependentsOf(SC_HANDLE service)
{
    std::vector<std::wstring> names;
    DWORD count = 0;
    const std::vector<BYTE> record = Record([&](BYTE* buffer, DWORD size, DWORD* needed) {
        return EnumDependentServicesW(service, SERVICE_STATE_ALL, reinterpret_cast<ENUM_SERVICE_STATUSW*>(buffer), size,
                                      needed, &count);
    });
    for (DWORD i = 0; i < count && !record.empty(); ++i)
        names.emplace_back(reinterpret_cast<const ENUM_SERVICE_STATUSW*>(record.data())[i].lpServiceName);
    return names;
}

class ServiceReader
{
public:
    ServiceReader(Capture& capture, SC_HANDLE manager) : m_capture(capture), m_manager(manager) {}

    // Reads the services and those that they need.
    void ReadAll(std::vector<std::string> names)
    {
        while (!names.empty())
        {
            const std::string name = names.back();
            names.pop_back();
            if (!m_services.contains(name) && !name.empty() && name.front() != SC_GROUP_IDENTIFIERA)
                Read(name, names);
        }
    }

    // A stop is refused while services run that need the stopped one. Their names do not matter, and are left out.
    void AddDependents()
    {
        std::set<std::wstring> known;
        std::size_t number = 0;
        for (const char* name : AskedServices())
        {
            for (const std::wstring& dependent : m_dependents[name])
            {
                const std::string text = FromWide(dependent);
                if (known.insert(dependent).second && !IsAsked(text))
                    AddDependent(dependent, "needs " + std::string(name) + " " + std::to_string(++number));
            }
        }
    }

    const Json& Services() const { return m_services; }

private:
    static bool IsAsked(const std::string& name)
    {
        return std::ranges::any_of(AskedServices(), [&](const char* one) { return winsim::SameName(one, name); });
    }

    void Read(const std::string& name, std::vector<std::string>& further)
    {
        const std::wstring wideName = ToWide(name);
        UniqueServiceHandle service{OpenServiceW(m_manager, wideName.c_str(), kAllRights)};
        const bool isAllGranted = static_cast<bool>(service);
        if (!isAllGranted && GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST)
            return;
        if (!isAllGranted)
            service.Reset(OpenServiceW(m_manager, wideName.c_str(), SERVICE_QUERY_CONFIG | SERVICE_QUERY_STATUS));
        const DWORD error = service ? ERROR_SUCCESS : GetLastError();
        Json json = Json::object();
        if (!service)
            m_capture.notes.AddError("services." + name, error);
        else if (!ReadConfiguration(service.Get(), name, json) || !ReadStatus(service.Get(), json))
            m_capture.notes.AddError("services." + name, GetLastError());
        else
            ReadDescription(service.Get(), json);
        if (m_capture.isElevated)
            json["deniedAccess"] = isAllGranted ? 0 : DeniedAccess(m_manager, wideName);
        if (!isAllGranted)
            service.Reset(OpenServiceW(m_manager, wideName.c_str(), SERVICE_ENUMERATE_DEPENDENTS));
        if (service && IsAsked(name))
            m_dependents[name] = DependentsOf(service.Get());
        for (const Json& needed : json.value("dependencies", Json::array()))
            further.push_back(needed.get<std::string>());
        m_services[name] = std::move(json);
    }

    void AddDependent(const std::wstring& name, const std::string& shownName)
    {
        Json json = Json::object();
        const UniqueServiceHandle service{
            OpenServiceW(m_manager, name.c_str(), SERVICE_QUERY_CONFIG | SERVICE_QUERY_STATUS)};
        if (!service || !ReadConfiguration(service.Get(), FromWide(name), json) || !ReadStatus(service.Get(), json))
            return m_capture.notes.AddError("services", GetLastError());
        Json asked = Json::array();
        for (const Json& needed : json["dependencies"])
        {
            if (IsAsked(needed.get<std::string>()))
                asked.push_back(needed);
        }
        m_services[shownName] = {{"state", json["state"]}, {"dependencies", asked}};
    }

    Capture& m_capture;
    SC_HANDLE m_manager;
    Json m_services = Json::object();
    std::map<std::string, std::vector<std::wstring>> m_dependents;
};

} // namespace

void ReadServices(Capture& capture)
{
    const UniqueServiceHandle manager{OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT)};
    if (!manager)
        return capture.notes.AddError("services", GetLastError());
    ServiceReader reader{capture, manager.Get()};
    reader.ReadAll({AskedServices().begin(), AskedServices().end()});
    reader.AddDependents();
    capture.machine.services.Load({reader.Services(), "services"});
}

} // namespace describe
