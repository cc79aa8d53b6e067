// Reads the toolkit's install location from the registry.
#include "platform/product_registry.h"
#include "smartcard/tpm_smart_card.h"
#include "windows/text.h"
#include "windows/unique_handle.h"

#include <windows.h>

namespace
{

// The longest value, in characters.
constexpr DWORD kLongestPath = 256;

} // namespace

bool CTPMSmartCard::GetInstallPath(std::wstring& path)
{
    UniqueRegistryKey key;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, kCommonKeyWithPeriod, 0, KEY_READ, key.Put()) != ERROR_SUCCESS)
        return false;
    const auto value = ReadText(key.Get(), kInstallationPathValue, kLongestPath);
    if (!value)
        return false;
    path = ToWide(*value);
    return true;
}
