// Chooses the pass-through provider.
#include "providers/passthrough_csp.h"

#include "windows/result_or.h"
#include "windows/unique_handle.h"

#include <string>
#include <string_view>

namespace
{

constexpr char kProvidersKey[] = "SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\";
constexpr char kCapiKey[] = "SOFTWARE\\Kelo Systems Corp.\\Keystead CSP Persistent\\CAPI";

// From the best to the worst.
constexpr std::string_view kCandidates[] = {
    "Microsoft Enhanced RSA and AES Cryptographic Provider (Prototype)",
    "Microsoft Enhanced RSA and AES Cryptographic Provider",
    "Microsoft Enhanced Cryptographic Provider v1.0",
    "Microsoft Strong Cryptographic Provider",
    "Microsoft Base Cryptographic Provider v1.0",
};

bool IsRegistered(std::string_view provider)
{
    UniqueRegistryKey key;
    const std::string path = kProvidersKey + std::string(provider);
    return RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_QUERY_VALUE, key.Put()) == ERROR_SUCCESS;
}

// The best registered provider; an empty text when there is none.
std::string_view BestProvider()
{
    for (const std::string_view candidate : kCandidates)
    {
        if (ResultOr(false, [candidate] { return IsRegistered(candidate); }))
            return candidate;
    }
    return "";
}

} // namespace

DWORD SetPassthroughCsp(int)
{
    return SelectPassthroughCsp();
}

DWORD SelectPassthroughCsp()
{
    const std::string_view provider = BestProvider();
    UniqueRegistryKey key;
    if (RegCreateKeyExA(HKEY_LOCAL_MACHINE, kCapiKey, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr,
                        key.Put(), nullptr) != ERROR_SUCCESS)
        return kCapiKeyNotCreated;
    if (RegSetValueExA(key.Get(), "PassthroughCSP", 0, REG_SZ, reinterpret_cast<const BYTE*>(provider.data()),
                       static_cast<DWORD>(provider.size() + 1)) != ERROR_SUCCESS)
        return kCapiValueNotWritten;
    return 0;
}
