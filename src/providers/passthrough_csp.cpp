// Chooses the pass-through provider.
#include "providers/passthrough_csp.h"

#include "platform/unique_handle.h"

#include <string>

namespace
{

constexpr char kProvidersKey[] = "SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\";
constexpr char kCapiKey[] = "SOFTWARE\\Kelo Systems Corp.\\Keystead CSP Persistent\\CAPI";

// The best comes first.
constexpr const char* kCandidates[] = {
    "Microsoft Enhanced RSA and AES Cryptographic Provider (Prototype)",
    "Microsoft Enhanced RSA and AES Cryptographic Provider",
    "Microsoft Enhanced Cryptographic Provider v1.0",
    "Microsoft Strong Cryptographic Provider",
    "Microsoft Base Cryptographic Provider v1.0",
};

bool IsRegistered(const char* provider)
{
    UniqueRegistryKey key;
    const std::string path = std::string(kProvidersKey) + provider;
    return RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_QUERY_VALUE, key.Put()) == ERROR_SUCCESS;
}

std::string BestProvider()
{
    for (const char* candidate : kCandidates)
    {
        if (IsRegistered(candidate))
            return candidate;
    }
    return {};
}

} // namespace

DWORD SetPassthroughCsp(int)
{
    return SelectPassthroughCsp();
}

DWORD SelectPassthroughCsp()
{
    const std::string provider = BestProvider();
    UniqueRegistryKey key;
    if (RegCreateKeyExA(HKEY_LOCAL_MACHINE, kCapiKey, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr,
                        key.Put(), nullptr) != ERROR_SUCCESS)
        return kCapiKeyNotCreated;
    if (RegSetValueExA(key.Get(), "PassthroughCSP", 0, REG_SZ, reinterpret_cast<const BYTE*>(provider.c_str()),
                       static_cast<DWORD>(provider.size() + 1)) != ERROR_SUCCESS)
        return kCapiValueNotWritten;
    return 0;
}
