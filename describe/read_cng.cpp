// Reads the configuration of Windows' cryptography (CNG).
#include "describe/capture.h"
#include "describe/windows_headers.h"
#include "describe/windows_text.h"
#include "windows/unique_handle.h"
#include "winsim/base/text.h"

#include <bcrypt.h>

#include <algorithm>

namespace describe
{

namespace
{

constexpr ULONG kKeyStorageInterface = 0x10001; // NCRYPT_KEY_STORAGE_INTERFACE
constexpr wchar_t kKeyStorageFunction[] = L"KEY_STORAGE";
constexpr NTSTATUS kNotConfigured = static_cast<NTSTATUS>(0xC0000225); // STATUS_NOT_FOUND

// Windows before 6.0 has no such library.
struct Functions
{
    decltype(&BCryptEnumRegisteredProviders) enumerate = nullptr;
    decltype(&BCryptQueryProviderRegistration) query = nullptr;
    decltype(&BCryptEnumContextFunctionProviders) serving = nullptr;
    decltype(&BCryptFreeBuffer) free = nullptr;

    explicit Functions(HMODULE library)
    {
        Find(library, "BCryptEnumRegisteredProviders", enumerate);
        Find(library, "BCryptQueryProviderRegistration", query);
        Find(library, "BCryptEnumContextFunctionProviders", serving);
        Find(library, "BCryptFreeBuffer", free);
    }

    bool AreThere() const { return enumerate != nullptr && query != nullptr && serving != nullptr && free != nullptr; }

private:
    template <typename Function>
    static void Find(HMODULE library, const char* name, Function& function)
    {
        function = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
    }
};

std::vector<std::string> TextsOf(ULONG count, PWSTR* texts)
{
    std::vector<std::string> list;
    for (ULONG i = 0; i < count; ++i)
        list.push_back(FromWide(texts[i]));
    return list;
}

winsim::CngImage ImageOf(const CRYPT_IMAGE_REG& record)
{
    winsim::CngImage image;
    image.image = FromWide(record.pszImage);
    for (ULONG i = 0; i < record.cInterfaces; ++i)
    {
        const CRYPT_INTERFACE_REG& offered = *record.rgpInterfaces[i];
        image.interfaces.push_back(
            {offered.dwInterface, offered.dwFlags, TextsOf(offered.cFunctions, offered.rgpszFunctions)});
    }
    return image;
}

bool HasKeyStorage(const winsim::CngProvider& provider)
{
    const auto stores = [](const std::optional<winsim::CngImage>& image) {
        return image && std::ranges::any_of(image->interfaces, [](const winsim::CngInterface& one) {
                   return one.interface == kKeyStorageInterface;
               });
    };
    return stores(provider.userMode) || stores(provider.kernelMode);
}

// The registration of a provider of key storage; nothing for other providers.
void ReadProvider(Capture& capture, const Functions& functions, PWSTR name)
{
    ULONG size = 0;
    PCRYPT_PROVIDER_REG record = nullptr;
    const NTSTATUS status = functions.query(name, CRYPT_ANY, 0, &size, &record);
    winsim::CngProvider provider;
    if (status != 0 || record == nullptr)
    {
        capture.notes.AddError("cng.providers." + FromWide(name), static_cast<std::uint32_t>(status));
        capture.machine.cng.providers[FromWide(name)] = provider;
        return;
    }
    provider.aliases = TextsOf(record->cAliases, record->rgpszAliases);
    if (record->pUM != nullptr)
        provider.userMode = ImageOf(*record->pUM);
    if (record->pKM != nullptr)
        provider.kernelMode = ImageOf(*record->pKM);
    functions.free(record);
    if (HasKeyStorage(provider))
        capture.machine.cng.providers[FromWide(name)] = std::move(provider);
}

void ReadProviders(Capture& capture, const Functions& functions)
{
    ULONG size = 0;
    PCRYPT_PROVIDERS providers = nullptr;
    const NTSTATUS status = functions.enumerate(&size, &providers);
    if (status != 0)
        return capture.notes.AddError("cng.providers", static_cast<std::uint32_t>(status));
    for (ULONG i = 0; providers != nullptr && i < providers->cProviders; ++i)
        ReadProvider(capture, functions, providers->rgpszProviders[i]);
    functions.free(providers);
}

void ReadKeyStorage(Capture& capture, const Functions& functions)
{
    ULONG size = 0;
    PCRYPT_CONTEXT_FUNCTION_PROVIDERS providers = nullptr;
    const NTSTATUS status =
        functions.serving(CRYPT_LOCAL, nullptr, kKeyStorageInterface, kKeyStorageFunction, &size, &providers);
    if (status == kNotConfigured)
        return;
    if (status != 0)
        return capture.notes.AddError("cng.contextFunctions", static_cast<std::uint32_t>(status));
    winsim::CngContextFunction function{
        CRYPT_LOCAL, "Default", kKeyStorageInterface, FromWide(kKeyStorageFunction), {}};
    if (providers != nullptr)
        function.providers = TextsOf(providers->cProviders, providers->rgpszProviders);
    functions.free(providers);
    capture.machine.cng.contextFunctions.push_back(std::move(function));
}

} // namespace

void ReadCng(Capture& capture)
{
    const UniqueLibrary library{LoadLibraryW(L"bcrypt.dll")};
    if (!library)
        return;
    const Functions functions{library.Get()};
    if (!functions.AreThere())
        return capture.notes.Add("cng", "not read: this Windows lacks the functions for it");
    ReadProviders(capture, functions);
    ReadKeyStorage(capture, functions);
}

} // namespace describe
