// The configuration of cryptography (CNG). Keeps the providers with their registrations, and those of key storage, in
// the registry, and notes each call with its whole record.
#include "tests/e2e/standins/noted_calls.h"
#include "tests/e2e/standins/settings.h"

#include "standin_names.h"

#include <bcrypt.h>
#include <ncrypt.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cwchar>
#include <string>
#include <utility>
#include <vector>

namespace
{

constexpr NTSTATUS kSuccess = 0;
constexpr NTSTATUS kNameCollision = static_cast<NTSTATUS>(0xC0000035);
constexpr NTSTATUS kNotFound = static_cast<NTSTATUS>(0xC0000225);

// Lists of providers in their order, and the parts of their registrations.
std::vector<std::wstring> Read(const wchar_t* list)
{
    return ReadTexts(names::kCngLibrary, list);
}

void Write(const wchar_t* list, const std::vector<std::wstring>& providers)
{
    WriteTexts(names::kCngLibrary, list, providers);
}

bool IsListed(const wchar_t* list, const wchar_t* provider)
{
    const std::vector<std::wstring> providers = Read(list);
    return std::find(providers.begin(), providers.end(), provider) != providers.end();
}

// A position beyond the end is the end.
void Add(const wchar_t* list, const wchar_t* provider, ULONG position)
{
    if (IsListed(list, provider))
        return;
    std::vector<std::wstring> providers = Read(list);
    const std::size_t at = std::min<std::size_t>(position, providers.size());
    providers.insert(providers.begin() + static_cast<std::ptrdiff_t>(at), provider);
    Write(list, providers);
}

NTSTATUS Remove(const wchar_t* list, const wchar_t* provider)
{
    std::vector<std::wstring> providers = Read(list);
    if (std::erase(providers, provider) == 0)
        return kNotFound;
    Write(list, providers);
    return kSuccess;
}

bool IsKeyStorage(ULONG table, const wchar_t* context, ULONG interfaceNumber, const wchar_t* function)
{
    return table == CRYPT_LOCAL && context == nullptr && interfaceNumber == NCRYPT_KEY_STORAGE_INTERFACE &&
           std::wcscmp(function, L"KEY_STORAGE") == 0;
}

std::string JsonTexts(PWSTR* texts, ULONG count)
{
    if (texts == nullptr)
        return "null";
    std::vector<std::string> list;
    for (ULONG i = 0; i < count; ++i)
        list.push_back(JsonText(texts[i]));
    return JsonList(list);
}

std::string Json(const CRYPT_INTERFACE_REG& record)
{
    return JsonObject({{"dwInterface", JsonNumber(record.dwInterface)},
                       {"dwFlags", JsonNumber(record.dwFlags)},
                       {"cFunctions", JsonNumber(record.cFunctions)},
                       {"rgpszFunctions", JsonTexts(record.rgpszFunctions, record.cFunctions)}});
}

std::string Json(const CRYPT_IMAGE_REG* record)
{
    if (record == nullptr)
        return "null";
    std::vector<std::string> interfaces;
    for (ULONG i = 0; i < record->cInterfaces; ++i)
        interfaces.push_back(Json(*record->rgpInterfaces[i]));
    return JsonObject({{"pszImage", JsonText(record->pszImage)},
                       {"cInterfaces", JsonNumber(record->cInterfaces)},
                       {"rgpInterfaces", JsonList(interfaces)}});
}

std::string Json(const CRYPT_PROVIDER_REG& record)
{
    return JsonObject({{"cAliases", JsonNumber(record.cAliases)},
                       {"rgpszAliases", JsonTexts(record.rgpszAliases, record.cAliases)},
                       {"pUM", Json(record.pUM)},
                       {"pKM", Json(record.pKM)}});
}

// The parts of a registration, in the order in which the registry has them: a text for each.
//   alias NAME
//   user IMAGE, kernel IMAGE       what follows belongs to this image
//   interface NUMBER FLAGS         what follows belongs to this interface
//   function NAME
std::vector<std::wstring> PartsOf(const CRYPT_PROVIDER_REG& record)
{
    std::vector<std::wstring> parts;
    for (ULONG i = 0; i < record.cAliases; ++i)
        parts.push_back(std::wstring(L"alias ") + record.rgpszAliases[i]);
    for (const auto& [kind, image] : {std::pair(L"user ", record.pUM), std::pair(L"kernel ", record.pKM)})
    {
        if (image == nullptr)
            continue;
        parts.push_back(std::wstring(kind) + image->pszImage);
        for (ULONG i = 0; i < image->cInterfaces; ++i)
        {
            const CRYPT_INTERFACE_REG& offered = *image->rgpInterfaces[i];
            parts.push_back(L"interface " + std::to_wstring(offered.dwInterface) + L" " +
                            std::to_wstring(offered.dwFlags));
            for (ULONG j = 0; j < offered.cFunctions; ++j)
                parts.push_back(std::wstring(L"function ") + offered.rgpszFunctions[j]);
        }
    }
    return parts;
}

// The memory of a record and of all that it points to, which the caller frees as a whole.
class Block
{
public:
    template <typename Item>
    Item* Take(std::size_t count = 1)
    {
        auto* taken = reinterpret_cast<Item*>(m_next);
        m_next += (count * sizeof(Item) + alignof(std::max_align_t) - 1) & ~(alignof(std::max_align_t) - 1);
        return taken;
    }

    PWSTR Text(const std::wstring& text)
    {
        PWSTR copy = Take<wchar_t>(text.size() + 1);
        std::copy(text.begin(), text.end(), copy);
        return copy;
    }

    // Adds to a list of pointers, which has room for more than any test needs.
    template <typename Item>
    Item*& Append(Item**& list, ULONG& count)
    {
        if (list == nullptr)
            list = Take<Item*>(kMostItems);
        return list[count++];
    }

private:
    static constexpr std::size_t kMostItems = 64;
    static constexpr std::size_t kBytes = 0x10000;

    char* m_next = static_cast<char*>(std::calloc(1, kBytes));
};

// The other way round. The record is the block's beginning.
CRYPT_PROVIDER_REG* RecordOf(const std::vector<std::wstring>& parts)
{
    Block block;
    auto* record = block.Take<CRYPT_PROVIDER_REG>();
    CRYPT_IMAGE_REG* image = nullptr;
    CRYPT_INTERFACE_REG* offered = nullptr;
    for (const std::wstring& part : parts)
    {
        const std::wstring kind = part.substr(0, part.find(L' '));
        const std::wstring rest = part.substr(kind.size() + 1);
        if (kind == L"alias")
            block.Append(record->rgpszAliases, record->cAliases) = block.Text(rest);
        else if (kind == L"function")
            block.Append(offered->rgpszFunctions, offered->cFunctions) = block.Text(rest);
        else if (kind == L"interface")
        {
            offered = block.Take<CRYPT_INTERFACE_REG>();
            block.Append(image->rgpInterfaces, image->cInterfaces) = offered;
            offered->dwInterface = std::stoul(rest);
            offered->dwFlags = std::stoul(rest.substr(rest.find(L' ')));
        }
        else
        {
            image = block.Take<CRYPT_IMAGE_REG>();
            (kind == L"user" ? record->pUM : record->pKM) = image;
            image->pszImage = block.Text(rest);
        }
    }
    return record;
}

// A record that is a list of texts.
template <typename Record>
Record* RecordWith(const std::vector<std::wstring>& texts, ULONG Record::*count, PWSTR* Record::*list)
{
    Block block;
    auto* record = block.Take<Record>();
    for (const std::wstring& text : texts)
        block.Append(record->*list, record->*count) = block.Text(text);
    return record;
}

} // namespace

extern "C"
{
    __declspec(dllexport) NTSTATUS WINAPI BCryptEnumRegisteredProviders(ULONG*, PCRYPT_PROVIDERS* providers)
    {
        *providers =
            RecordWith(Read(names::kProviders), &CRYPT_PROVIDERS::cProviders, &CRYPT_PROVIDERS::rgpszProviders);
        return kSuccess;
    }

    // Whoever asks wants the whole registration: CRYPT_ANY, and no interface in particular.
    __declspec(dllexport) NTSTATUS WINAPI
        BCryptQueryProviderRegistration(LPCWSTR provider, ULONG, ULONG, ULONG*, PCRYPT_PROVIDER_REG* record)
    {
        if (!IsListed(names::kProviders, provider))
            return kNotFound;
        *record = RecordOf(Read(provider));
        return kSuccess;
    }

    __declspec(dllexport) NTSTATUS WINAPI
        BCryptEnumContextFunctionProviders(ULONG table, LPCWSTR context, ULONG interfaceNumber, LPCWSTR function,
                                           ULONG*, PCRYPT_CONTEXT_FUNCTION_PROVIDERS* providers)
    {
        if (!IsKeyStorage(table, context, interfaceNumber, function))
            return kNotFound;
        *providers = RecordWith(Read(names::kKeyStorage), &CRYPT_CONTEXT_FUNCTION_PROVIDERS::cProviders,
                                &CRYPT_CONTEXT_FUNCTION_PROVIDERS::rgpszProviders);
        return kSuccess;
    }

    __declspec(dllexport) void WINAPI BCryptFreeBuffer(void* buffer)
    {
        std::free(buffer);
    }

    __declspec(dllexport) NTSTATUS WINAPI
        BCryptRegisterProvider(LPCWSTR provider, ULONG flags, PCRYPT_PROVIDER_REG record)
    {
        const NTSTATUS status = IsListed(names::kProviders, provider) ? kNameCollision : kSuccess;
        if (status == kSuccess)
        {
            Add(names::kProviders, provider, CRYPT_PRIORITY_BOTTOM);
            Write(provider, PartsOf(*record));
        }
        NoteCall("BCryptRegisterProvider",
                 {{"pszProvider", JsonText(provider)}, {"dwFlags", JsonNumber(flags)}, {"pReg", Json(*record)}},
                 status);
        return status;
    }

    __declspec(dllexport) NTSTATUS WINAPI BCryptUnregisterProvider(LPCWSTR provider)
    {
        const NTSTATUS status = Remove(names::kProviders, provider);
        NoteCall("BCryptUnregisterProvider", {{"pszProvider", JsonText(provider)}}, status);
        return status;
    }

    __declspec(dllexport) NTSTATUS WINAPI
        BCryptAddContextFunctionProvider(ULONG table, LPCWSTR context, ULONG interfaceNumber, LPCWSTR function,
                                         LPCWSTR provider, ULONG position)
    {
        const NTSTATUS status = IsKeyStorage(table, context, interfaceNumber, function) ? kSuccess : kNotFound;
        if (status == kSuccess)
            Add(names::kKeyStorage, provider, position);
        NoteCall("BCryptAddContextFunctionProvider",
                 {{"dwTable", JsonNumber(table)},
                  {"pszContext", JsonText(context)},
                  {"dwInterface", JsonNumber(interfaceNumber)},
                  {"pszFunction", JsonText(function)},
                  {"pszProvider", JsonText(provider)},
                  {"dwPosition", JsonNumber(position)}},
                 status);
        return status;
    }

    __declspec(dllexport) NTSTATUS WINAPI
        BCryptRemoveContextFunctionProvider(ULONG table, LPCWSTR context, ULONG interfaceNumber, LPCWSTR function,
                                            LPCWSTR provider)
    {
        const NTSTATUS status =
            IsKeyStorage(table, context, interfaceNumber, function) ? Remove(names::kKeyStorage, provider) : kNotFound;
        NoteCall("BCryptRemoveContextFunctionProvider",
                 {{"dwTable", JsonNumber(table)},
                  {"pszContext", JsonText(context)},
                  {"dwInterface", JsonNumber(interfaceNumber)},
                  {"pszFunction", JsonText(function)},
                  {"pszProvider", JsonText(provider)}},
                 status);
        return status;
    }
}
