// Reads and parses CustomActionData.
#include "tpm/custom_action_data.h"

#include "windows/result_or.h"

#include <msiquery.h>

#include <cwchar>
#include <limits>

namespace
{

constexpr wchar_t kProperty[] = L"CustomActionData";

constexpr std::wstring_view kEndOfValue = L" /";

std::optional<CSecretText> ReadProperty(MSIHANDLE install)
{
    wchar_t empty[] = L"";
    DWORD length = 0;
    UINT status = MsiGetPropertyW(install, kProperty, empty, &length);
    if (status == ERROR_SUCCESS)
        return CSecretText{};
    if (status != ERROR_MORE_DATA || length == std::numeric_limits<DWORD>::max())
        return std::nullopt;

    // The last character stays zero: it ends a text that does not end itself.
    DWORD size = length + 1;
    SecretBuffer buffer(std::size_t{size} + 1);
    status = MsiGetPropertyW(install, kProperty, buffer.data(), &size);
    if (status != ERROR_SUCCESS)
        return std::nullopt;
    return CSecretText{buffer.data()};
}

} // namespace

std::optional<CSecretText> ReadCustomActionData(MSIHANDLE install)
{
    return ResultOr({}, [install] { return ReadProperty(install); });
}

std::wstring_view GetCustomActionValue(std::wstring_view key, std::wstring_view data, std::wstring_view defaultValue)
{
    const std::size_t start = data.find(key);
    if (start == std::wstring_view::npos)
        return defaultValue;
    const std::size_t valueStart = start + key.size();
    const std::size_t valueEnd = data.find(kEndOfValue, valueStart);
    if (valueEnd == std::wstring_view::npos)
        return data.substr(valueStart);
    return data.substr(valueStart, valueEnd - valueStart);
}

bool HasCustomActionFlag(std::wstring_view flag, std::wstring_view data)
{
    return data.size() >= flag.size() && _wcsnicmp(data.data(), flag.data(), flag.size()) == 0;
}
