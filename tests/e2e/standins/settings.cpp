// Reads and writes the registry values of stand-ins.
#include "tests/e2e/standins/settings.h"

#include "src/windows/unique_handle.h"

#include "standin_names.h"

#include <cwchar>

namespace
{

constexpr std::size_t kMostCharacters = 4096;

std::wstring KeyOf(const std::wstring& standIn)
{
    return std::wstring(names::kKey) + L"\\" + standIn;
}

// The characters of a text or a list, with zeros up to the most that there can be.
std::vector<wchar_t> ReadCharacters(const std::wstring& standIn, const std::wstring& name, DWORD type)
{
    std::vector<wchar_t> characters(kMostCharacters);
    DWORD size = static_cast<DWORD>(characters.size() * sizeof(wchar_t));
    RegGetValueW(HKEY_LOCAL_MACHINE, KeyOf(standIn).c_str(), name.c_str(), type, nullptr, characters.data(), &size);
    return characters;
}

void Write(const std::wstring& standIn, const std::wstring& name, DWORD type, const void* data, std::size_t size)
{
    UniqueRegistryKey key;
    if (RegCreateKeyW(HKEY_LOCAL_MACHINE, KeyOf(standIn).c_str(), key.Put()) == ERROR_SUCCESS)
        RegSetValueExW(key.Get(), name.c_str(), 0, type, static_cast<const BYTE*>(data), static_cast<DWORD>(size));
}

} // namespace

std::optional<DWORD> ReadNumber(const std::wstring& standIn, const std::wstring& name)
{
    DWORD number = 0;
    DWORD size = sizeof number;
    if (RegGetValueW(HKEY_LOCAL_MACHINE, KeyOf(standIn).c_str(), name.c_str(), RRF_RT_REG_DWORD, nullptr, &number,
                     &size) != ERROR_SUCCESS)
        return std::nullopt;
    return number;
}

void WriteNumber(const std::wstring& standIn, const std::wstring& name, DWORD number)
{
    Write(standIn, name, REG_DWORD, &number, sizeof number);
}

std::wstring ReadText(const std::wstring& standIn, const std::wstring& name)
{
    return ReadCharacters(standIn, name, RRF_RT_REG_SZ).data();
}

std::vector<std::wstring> ReadTexts(const std::wstring& standIn, const std::wstring& name)
{
    const std::vector<wchar_t> characters = ReadCharacters(standIn, name, RRF_RT_REG_MULTI_SZ);
    std::vector<std::wstring> texts;
    for (const wchar_t* text = characters.data(); *text != L'\0'; text += std::wcslen(text) + 1)
        texts.emplace_back(text);
    return texts;
}

void WriteTexts(const std::wstring& standIn, const std::wstring& name, const std::vector<std::wstring>& texts)
{
    const std::wstring list = MultiString(texts);
    Write(standIn, name, REG_MULTI_SZ, list.data(), list.size() * sizeof(wchar_t));
}

std::wstring MultiString(const std::vector<std::wstring>& texts)
{
    std::wstring list;
    for (const std::wstring& text : texts)
        list += text + L'\0';
    return list + L'\0';
}
