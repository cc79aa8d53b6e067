// Shows registry keys with their values, owners and access lists.
#include "src/windows/unique_handle.h"
#include "tests/e2e/tools/machine_tool/json.h"
#include "tests/e2e/tools/machine_tool/verbs.h"

#include <windows.h>

#include <aclapi.h>
#include <sddl.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

namespace
{

constexpr DWORD kBufferBytes = 8192;

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

int ShowSecurity(const Words& words)
{
    constexpr SECURITY_INFORMATION kOwnerAndList = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
    const char* separator = "";
    std::printf("{");
    for (std::size_t i = 1; i < words.size(); ++i)
    {
        std::wstring object = L"MACHINE\\" + words[i];
        UniqueLocalMemory<void> security;
        UniqueLocalMemory<wchar_t> text;
        if (GetNamedSecurityInfoW(object.data(), SE_REGISTRY_KEY, kOwnerAndList, nullptr, nullptr, nullptr, nullptr,
                                  security.Put()) != ERROR_SUCCESS ||
            !ConvertSecurityDescriptorToStringSecurityDescriptorW(security.Get(), SDDL_REVISION_1, kOwnerAndList,
                                                                  text.Put(), nullptr))
            continue;
        std::printf("%s%s: %s", separator, Quoted(words[i]).c_str(), Quoted(text.Get()).c_str());
        separator = ", ";
    }
    std::printf("}\n");
    return 0;
}
