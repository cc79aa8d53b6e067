// Changes and shows a machine for tests: services, the registry, processes. Texts go in and out as UTF-8.
//
// machine_tool create NAME BINARY_PATH [DISPLAY_NAME TYPE START ERROR_CONTROL GROUP DEPENDENCIES ACCOUNT DESCRIPTION]
//                                      a service, or changes one; "/" stands between dependencies. What is left out or
//                                      empty is as usual in a new service, and stays as it is in another.
// machine_tool path NAME BINARY_PATH   gives a service another command line
// machine_tool start NAME              starts a service
// machine_tool delete NAME             deletes a service; there need not be one
// machine_tool show NAME               status, configuration and description of a service, a JSON object; null
//                                      without such a service
// machine_tool services                the same of all, by their names
// machine_tool await MS NAME STATE...  waits until services are in their states (numbers; 0 when there is no such
//                                      service), or so many milliseconds are over
// machine_tool processes               names of the running programs' files, a JSON list
// machine_tool value KEY NAME TYPE HEX gives a registry value its type (a number) and its bytes
// machine_tool registry KEY...         the keys below HKEY_LOCAL_MACHINE and what is in them, a JSON object of keys; a
//                                      value is its type and its bytes. Links are passed over, and so is a key that is
//                                      named with a "-" in front.
// machine_tool secure KEY SDDL         gives a key an owner and an access list
// machine_tool security KEY...         owner and access list of keys, as SDDL, a JSON object
// machine_tool script FILE             does each line of a file: a verb and its arguments, with tabs between them
//
// Exit status: 0, or the Windows error, which the output ends with then, and with what failed.
#include "src/windows/unique_handle.h"

#include <windows.h>

#include <aclapi.h>
#include <psapi.h>
#include <sddl.h>
#include <winsvc.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <vector>

namespace
{

constexpr DWORD kBufferBytes = 8192;

using Words = std::vector<std::wstring>;

std::string Utf8(const std::wstring& text)
{
    std::string narrow(text.size() * 3, '\0');
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), narrow.data(),
                                         static_cast<int>(narrow.size()), nullptr, nullptr);
    narrow.resize(static_cast<std::size_t>(size));
    return narrow;
}

std::wstring Utf16(const std::string& text)
{
    std::wstring wide(text.size(), L'\0');
    const int size = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(),
                                         static_cast<int>(wide.size()));
    wide.resize(static_cast<std::size_t>(size));
    return wide;
}

std::string Quoted(const std::wstring& text)
{
    std::string quoted = "\"";
    for (const char c : Utf8(text))
    {
        char escape[8] = {c};
        if (c == '"' || c == '\\')
            std::snprintf(escape, sizeof escape, "\\%c", c);
        else if (static_cast<unsigned char>(c) < 0x20)
            std::snprintf(escape, sizeof escape, "\\u%04x", c);
        quoted += escape;
    }
    return quoted + '"';
}

std::string Quoted(const wchar_t* text)
{
    return Quoted(std::wstring(text != nullptr ? text : L""));
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

SC_HANDLE Manager()
{
    static const SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
    return manager;
}

// A service is there until nobody has a handle of it.
UniqueServiceHandle Open(const std::wstring& service)
{
    return UniqueServiceHandle{OpenServiceW(Manager(), service.c_str(), SERVICE_ALL_ACCESS)};
}

// A list of texts with zeros behind them, from one with slashes between them. No text makes no list.
std::wstring MultiString(std::wstring texts)
{
    for (wchar_t& c : texts)
        c = c == L'/' ? L'\0' : c;
    return texts.empty() ? texts : texts + L'\0';
}

int Describe(const UniqueServiceHandle& service, std::wstring text)
{
    SERVICE_DESCRIPTIONW description{text.data()};
    return text.empty() ? 0
                        : ExitStatus(ChangeServiceConfig2W(service.Get(), SERVICE_CONFIG_DESCRIPTION, &description));
}

int Create(const Words& words)
{
    const auto word = [&](std::size_t i) { return i < words.size() ? words[i] : std::wstring(); };
    const auto number = [&](std::size_t i, DWORD usual) {
        return word(i).empty() ? usual : static_cast<DWORD>(std::stoul(word(i)));
    };
    const auto orNull = [](const std::wstring& text) { return text.empty() ? nullptr : text.c_str(); };
    const std::wstring path = word(2);
    const std::wstring displayName = word(3);
    const std::wstring group = word(7);
    const std::wstring dependencies = MultiString(word(8));
    const std::wstring account = word(9);
    if (const UniqueServiceHandle service = Open(word(1)))
    {
        if (!ChangeServiceConfigW(service.Get(), number(4, SERVICE_NO_CHANGE), number(5, SERVICE_NO_CHANGE),
                                  number(6, SERVICE_NO_CHANGE), orNull(path), orNull(group), nullptr,
                                  orNull(dependencies), orNull(account), nullptr, orNull(displayName)))
            return ExitStatus(FALSE);
        return Describe(service, word(10));
    }
    const UniqueServiceHandle service{CreateServiceW(
        Manager(), word(1).c_str(), orNull(displayName), SERVICE_ALL_ACCESS, number(4, SERVICE_WIN32_OWN_PROCESS),
        number(5, SERVICE_DEMAND_START), number(6, SERVICE_ERROR_NORMAL), path.c_str(), orNull(group), nullptr,
        orNull(dependencies), orNull(account), nullptr)};
    return service ? Describe(service, word(10)) : ExitStatus(FALSE);
}

int Path(const Words& words)
{
    return ExitStatus(ChangeServiceConfigW(Open(words[1]).Get(), SERVICE_NO_CHANGE, SERVICE_NO_CHANGE,
                                           SERVICE_NO_CHANGE, words[2].c_str(), nullptr, nullptr, nullptr, nullptr,
                                           nullptr, nullptr));
}

int Start(const Words& words)
{
    const UniqueServiceHandle service = Open(words[1]);
    return ExitStatus(service && StartServiceW(service.Get(), 0, nullptr));
}

int Delete(const Words& words)
{
    const UniqueServiceHandle service = Open(words[1]);
    return service ? ExitStatus(DeleteService(service.Get())) : 0;
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

bool PrintService(const std::wstring& name)
{
    const UniqueServiceHandle service = Open(name);
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

int Show(const Words& words)
{
    if (PrintService(words[1]))
        return 0;
    if (GetLastError() != ERROR_SERVICE_DOES_NOT_EXIST)
        return ExitStatus(FALSE);
    std::printf("null");
    return 0;
}

int ShowServices(const Words&)
{
    DWORD size = 0;
    DWORD count = 0;
    EnumServicesStatusExW(Manager(), SC_ENUM_PROCESS_INFO, SERVICE_WIN32, SERVICE_STATE_ALL, nullptr, 0, &size, &count,
                          nullptr, nullptr);
    std::vector<BYTE> bytes(size + kBufferBytes);
    if (!EnumServicesStatusExW(Manager(), SC_ENUM_PROCESS_INFO, SERVICE_WIN32, SERVICE_STATE_ALL, bytes.data(),
                               static_cast<DWORD>(bytes.size()), &size, &count, nullptr, nullptr))
        return ExitStatus(FALSE);
    const auto* services = reinterpret_cast<ENUM_SERVICE_STATUS_PROCESSW*>(bytes.data());
    std::printf("{");
    for (DWORD i = 0; i < count; ++i)
    {
        std::printf("%s%s: ", i == 0 ? "" : ",\n", Quoted(services[i].lpServiceName).c_str());
        if (!PrintService(services[i].lpServiceName))
            std::printf("null");
    }
    std::printf("}\n");
    return 0;
}

constexpr DWORD kGone = 0; // the state of a service that is not there

bool IsInState(const std::wstring& name, DWORD state)
{
    const UniqueServiceHandle service = Open(name);
    if (!service)
        return state == kGone;
    SERVICE_STATUS status{};
    return QueryServiceStatus(service.Get(), &status) && status.dwCurrentState == state;
}

bool AreInStates(const Words& words)
{
    for (std::size_t i = 2; i + 1 < words.size(); i += 2)
    {
        if (!IsInState(words[i], static_cast<DWORD>(std::stoul(words[i + 1]))))
            return false;
    }
    return true;
}

int Await(const Words& words)
{
    constexpr DWORD kIntervalMs = 50;
    const ULONGLONG end = GetTickCount64() + std::stoul(words[1]);
    while (!AreInStates(words) && GetTickCount64() < end)
        Sleep(kIntervalMs);
    return 0;
}

int ShowProcesses(const Words&)
{
    std::vector<DWORD> ids(kBufferBytes);
    DWORD size = 0;
    if (!EnumProcesses(ids.data(), static_cast<DWORD>(ids.size() * sizeof(DWORD)), &size))
        return ExitStatus(FALSE);
    const char* separator = "";
    std::printf("[");
    for (DWORD i = 0; i < size / sizeof(DWORD); ++i)
    {
        const HANDLE process = OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, ids[i]);
        wchar_t name[MAX_PATH] = {};
        if (process != nullptr && GetModuleBaseNameW(process, nullptr, name, MAX_PATH) != 0)
        {
            std::printf("%s%s", separator, Quoted(name).c_str());
            separator = ", ";
        }
        CloseHandle(process);
    }
    std::printf("]\n");
    return 0;
}

int SetValue(const Words& words)
{
    std::vector<BYTE> data;
    for (std::size_t i = 0; words.size() > 4 && i + 1 < words[4].size(); i += 2)
        data.push_back(static_cast<BYTE>(std::stoul(words[4].substr(i, 2), nullptr, 16)));
    return static_cast<int>(RegSetKeyValueW(HKEY_LOCAL_MACHINE, words[1].c_str(), words[2].c_str(),
                                            static_cast<DWORD>(std::stoul(words[3])), data.data(),
                                            static_cast<DWORD>(data.size())));
}

std::string Hex(const std::vector<BYTE>& data, DWORD size)
{
    constexpr char kDigits[] = "0123456789abcdef";
    std::string hex;
    for (DWORD i = 0; i < size; ++i)
        hex += {kDigits[data[i] >> 4], kDigits[data[i] & 0xF]};
    return hex;
}

void PrintValues(HKEY key)
{
    std::vector<wchar_t> name(kBufferBytes);
    std::vector<BYTE> data(kBufferBytes);
    std::printf("{");
    for (DWORD i = 0;; ++i)
    {
        DWORD nameSize = kBufferBytes;
        DWORD dataSize = static_cast<DWORD>(data.size());
        DWORD type = 0;
        const LSTATUS error = RegEnumValueW(key, i, name.data(), &nameSize, nullptr, &type, data.data(), &dataSize);
        if (error == ERROR_MORE_DATA)
        {
            data.resize(dataSize);
            --i;
            continue;
        }
        if (error != ERROR_SUCCESS)
            break;
        std::printf("%s%s: [%lu, \"%s\"]", i == 0 ? "" : ", ", Quoted(name.data()).c_str(), type,
                    Hex(data, dataSize).c_str());
    }
    std::printf("}");
}

void PrintKeys(const std::wstring& path, const Words& words, const char*& separator)
{
    if (std::find(words.begin(), words.end(), L"-" + path) != words.end())
        return;
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), REG_OPTION_OPEN_LINK, KEY_READ, &key) != ERROR_SUCCESS)
        return;
    if (RegQueryValueExW(key, L"SymbolicLinkValue", nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS)
    {
        RegCloseKey(key);
        return;
    }
    std::printf("%s%s: ", separator, Quoted(path).c_str());
    separator = ",\n";
    PrintValues(key);
    wchar_t name[MAX_PATH] = {};
    for (DWORD i = 0;; ++i)
    {
        DWORD size = MAX_PATH;
        if (RegEnumKeyExW(key, i, name, &size, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
            break;
        PrintKeys(path + L"\\" + name, words, separator);
    }
    RegCloseKey(key);
}

int ShowRegistry(const Words& words)
{
    const char* separator = "";
    std::printf("{");
    for (std::size_t i = 1; i < words.size(); ++i)
        PrintKeys(words[i], words, separator);
    std::printf("}\n");
    return 0;
}

constexpr SECURITY_INFORMATION kOwnerAndList = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;

int Secure(const Words& words)
{
    PSECURITY_DESCRIPTOR security = nullptr;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(words[2].c_str(), SDDL_REVISION_1, &security, nullptr))
        return ExitStatus(FALSE);
    HKEY key = nullptr;
    if (const LSTATUS error = RegOpenKeyExW(HKEY_LOCAL_MACHINE, words[1].c_str(), 0, WRITE_DAC | WRITE_OWNER, &key))
        return static_cast<int>(error);
    return static_cast<int>(RegSetKeySecurity(key, kOwnerAndList, security));
}

int ShowSecurity(const Words& words)
{
    const char* separator = "";
    std::printf("{");
    for (std::size_t i = 1; i < words.size(); ++i)
    {
        std::wstring object = L"MACHINE\\" + words[i];
        PSECURITY_DESCRIPTOR security = nullptr;
        wchar_t* text = nullptr;
        if (GetNamedSecurityInfoW(object.data(), SE_REGISTRY_KEY, kOwnerAndList, nullptr, nullptr, nullptr, nullptr,
                                  &security) != ERROR_SUCCESS ||
            !ConvertSecurityDescriptorToStringSecurityDescriptorW(security, SDDL_REVISION_1, kOwnerAndList, &text,
                                                                  nullptr))
            continue;
        std::printf("%s%s: %s", separator, Quoted(words[i]).c_str(), Quoted(text).c_str());
        separator = ", ";
    }
    std::printf("}\n");
    return 0;
}

int RunScript(const Words& words);

struct Verb
{
    const wchar_t* name;
    std::size_t leastWords;
    int (*run)(const Words& words);
};

constexpr Verb kVerbs[] = {
    {L"create", 3, &Create},
    {L"path", 3, &Path},
    {L"start", 2, &Start},
    {L"delete", 2, &Delete},
    {L"show", 2, &Show},
    {L"services", 1, &ShowServices},
    {L"await", 2, &Await},
    {L"value", 4, &SetValue},
    {L"registry", 2, &ShowRegistry},
    {L"processes", 1, &ShowProcesses},
    {L"secure", 3, &Secure},
    {L"security", 1, &ShowSecurity},
    {L"script", 2, &RunScript},
};

int RunVerb(const Words& words)
{
    for (const Verb& verb : kVerbs)
    {
        if (!words.empty() && words.front() == verb.name && words.size() >= verb.leastWords)
            return verb.run(words);
    }
    return ERROR_INVALID_PARAMETER;
}

int Run(const Words& words)
{
    const int status = RunVerb(words);
    if (status == 0)
        return 0;
    std::string line;
    for (const std::wstring& word : words)
        line += " " + Utf8(word);
    std::printf("machine_tool:%s: error %d (%s)\n", line.c_str(), status,
                std::system_category().message(status).c_str());
    return status;
}

int RunScript(const Words& words)
{
    std::ifstream file{std::filesystem::path(words[1]), std::ios::binary};
    for (std::string line; std::getline(file, line);)
    {
        Words lineWords(1);
        for (const wchar_t c : Utf16(line))
        {
            if (c == L'\t')
                lineWords.emplace_back();
            else
                lineWords.back() += c;
        }
        if (const int status = Run(lineWords))
            return status;
    }
    return file.eof() ? 0 : ERROR_FILE_NOT_FOUND;
}

} // namespace

int wmain(int argc, wchar_t** argv)
{
    return Run(Words(argv + 1, argv + argc));
}
