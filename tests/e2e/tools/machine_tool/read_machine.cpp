// Shows, as JSON, what KeloDescribe leaves out of a machine: all registry values, processes and states of services.
#include "src/windows/unique_handle.h"
#include "tests/e2e/tools/machine_tool/services.h"
#include "tests/e2e/tools/machine_tool/verbs.h"
#include "tests/support/test_text.h"

#include <windows.h>

#include <psapi.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

namespace
{

constexpr DWORD kBufferBytes = 8192;

std::string Quoted(const std::wstring& text)
{
    std::string quoted = "\"";
    for (const char c : Utf8OfWide(text))
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
    UniqueRegistryKey key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), REG_OPTION_OPEN_LINK, KEY_READ, key.Put()) != ERROR_SUCCESS ||
        RegQueryValueExW(key.Get(), L"SymbolicLinkValue", nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS)
        return;
    std::printf("%s%s: ", separator, Quoted(path).c_str());
    separator = ",\n";
    PrintValues(key.Get());
    wchar_t name[MAX_PATH] = {};
    for (DWORD i = 0;; ++i)
    {
        DWORD size = MAX_PATH;
        if (RegEnumKeyExW(key.Get(), i, name, &size, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
            break;
        PrintKeys(path + L"\\" + name, words, separator);
    }
}

} // namespace

int ShowRegistry(const Words& words)
{
    const char* separator = "";
    std::printf("{");
    for (std::size_t i = 1; i < words.size(); ++i)
        PrintKeys(words[i], words, separator);
    std::printf("}\n");
    return 0;
}

int ShowProcesses(const Words&)
{
    constexpr std::size_t kMostProcesses = 8192;
    std::vector<DWORD> ids(kMostProcesses);
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

int ShowStates(const Words&)
{
    std::vector<BYTE> bytes(0x40000);
    DWORD needed = 0;
    DWORD count = 0;
    if (!EnumServicesStatusExW(ServiceManager(), SC_ENUM_PROCESS_INFO, SERVICE_WIN32, SERVICE_STATE_ALL, bytes.data(),
                               static_cast<DWORD>(bytes.size()), &needed, &count, nullptr, nullptr))
        return ExitStatus(FALSE);
    const auto* services = reinterpret_cast<const ENUM_SERVICE_STATUS_PROCESSW*>(bytes.data());
    const char* separator = "";
    std::printf("{");
    for (DWORD i = 0; i < count; ++i)
    {
        std::printf("%s%s: %lu", separator, Quoted(services[i].lpServiceName).c_str(),
                    services[i].ServiceStatusProcess.dwCurrentState);
        separator = ", ";
    }
    std::printf("}\n");
    return 0;
}
