// The configuration of cryptography (CNG). Keeps the providers, and those of key storage, in the registry, and notes
// each call with its whole record.
#include "tests/e2e/standins/noted_calls.h"
#include "tests/e2e/standins/settings.h"

#include "standin_names.h"

#include <bcrypt.h>
#include <ncrypt.h>

#include <algorithm>
#include <cstdlib>
#include <cwchar>
#include <string>
#include <vector>

namespace
{

constexpr NTSTATUS kSuccess = 0;
constexpr NTSTATUS kNameCollision = static_cast<NTSTATUS>(0xC0000035);
constexpr NTSTATUS kNotFound = static_cast<NTSTATUS>(0xC0000225);

// Lists of providers, in their order.
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

// One block with a record and the texts that it points to, which the caller frees as a whole.
template <typename Record>
Record* WithTexts(const std::vector<std::wstring>& texts, ULONG Record::*count, PWSTR* Record::*list)
{
    std::size_t size = sizeof(Record) + texts.size() * sizeof(PWSTR);
    for (const std::wstring& text : texts)
        size += (text.size() + 1) * sizeof(wchar_t);
    auto* record = static_cast<Record*>(std::calloc(1, size));
    auto** pointers = reinterpret_cast<PWSTR*>(record + 1);
    auto* next = reinterpret_cast<wchar_t*>(pointers + texts.size());
    record->*count = static_cast<ULONG>(texts.size());
    record->*list = pointers;
    for (const std::wstring& text : texts)
    {
        *pointers++ = next;
        next = std::copy_n(text.c_str(), text.size() + 1, next);
    }
    return record;
}

} // namespace

extern "C"
{
    __declspec(dllexport) NTSTATUS WINAPI BCryptEnumRegisteredProviders(ULONG*, PCRYPT_PROVIDERS* providers)
    {
        *providers = WithTexts(Read(names::kProviders), &CRYPT_PROVIDERS::cProviders, &CRYPT_PROVIDERS::rgpszProviders);
        return kSuccess;
    }

    // Of a provider only its name is kept.
    __declspec(dllexport) NTSTATUS WINAPI
        BCryptQueryProviderRegistration(LPCWSTR, ULONG, ULONG, ULONG*, PCRYPT_PROVIDER_REG*)
    {
        return kNotFound;
    }

    __declspec(dllexport) NTSTATUS WINAPI
        BCryptEnumContextFunctionProviders(ULONG table, LPCWSTR context, ULONG interfaceNumber, LPCWSTR function,
                                           ULONG*, PCRYPT_CONTEXT_FUNCTION_PROVIDERS* providers)
    {
        if (!IsKeyStorage(table, context, interfaceNumber, function))
            return kNotFound;
        *providers = WithTexts(Read(names::kKeyStorage), &CRYPT_CONTEXT_FUNCTION_PROVIDERS::cProviders,
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
        Add(names::kProviders, provider, CRYPT_PRIORITY_BOTTOM);
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
