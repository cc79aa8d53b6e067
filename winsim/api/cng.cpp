// The calls that configure cryptography (CNG).
#include "winsim/machine/cng.h"

#include "bcrypt.h"
#include "winsim/base/text.h"
#include "winsim/process/gate.h"
#include "winsim/process/simulation.h"

#include <algorithm>

using winsim::Call;
using winsim::Cng;
using winsim::CngContextFunction;
using winsim::CngImage;
using winsim::CngInterface;
using winsim::CngProvider;
using winsim::Json;
using winsim::Simulation;

namespace
{

constexpr std::uint32_t kSuccess = 0;
constexpr std::uint32_t kInvalidParameter = 0xC000000D;
constexpr std::uint32_t kNameCollision = 0xC0000035;
constexpr std::uint32_t kNotFound = 0xC0000225;

Cng& Configuration()
{
    return Simulation::Current().machine.cng;
}

// Null means the default context.
std::string ContextName(LPCWSTR context)
{
    return context == nullptr ? "Default" : winsim::Utf8(context);
}

std::vector<std::string> TextsOf(PWSTR* texts, ULONG count)
{
    std::vector<std::string> list;
    for (ULONG i = 0; i < count; ++i)
        list.push_back(winsim::Utf8(texts[i]));
    return list;
}

// ---- Registrations, as recorded calls show them: what is missing is null ----

Json Noted(const WCHAR* text)
{
    return text == nullptr ? Json() : Json(winsim::Utf8(text));
}

Json Noted(const CRYPT_INTERFACE_REG* record);

template <typename Element>
Json NotedList(const Element* elements, ULONG count)
{
    if (elements == nullptr)
        return nullptr;
    Json list = Json::array();
    for (ULONG i = 0; i < count; ++i)
        list.push_back(Noted(elements[i]));
    return list;
}

Json Noted(const CRYPT_INTERFACE_REG* record)
{
    if (record == nullptr)
        return nullptr;
    return {{"dwInterface", record->dwInterface},
            {"dwFlags", record->dwFlags},
            {"cFunctions", record->cFunctions},
            {"rgpszFunctions", NotedList(record->rgpszFunctions, record->cFunctions)}};
}

Json Noted(const CRYPT_IMAGE_REG* record)
{
    if (record == nullptr)
        return nullptr;
    return {{"pszImage", Noted(record->pszImage)},
            {"cInterfaces", record->cInterfaces},
            {"rgpInterfaces", NotedList(record->rgpInterfaces, record->cInterfaces)}};
}

Json Noted(const CRYPT_PROVIDER_REG* record)
{
    if (record == nullptr)
        return nullptr;
    return {{"cAliases", record->cAliases},
            {"rgpszAliases", NotedList(record->rgpszAliases, record->cAliases)},
            {"pUM", Noted(record->pUM)},
            {"pKM", Noted(record->pKM)}};
}

// ---- Registrations: whether every name and list is there ----

bool IsWhole(const WCHAR* text)
{
    return text != nullptr;
}

bool IsWhole(const CRYPT_INTERFACE_REG* record);

template <typename Element>
bool IsWholeList(const Element* elements, ULONG count)
{
    return count == 0 ||
           (elements != nullptr && std::all_of(elements, elements + count, [](Element one) { return IsWhole(one); }));
}

bool IsWhole(const CRYPT_INTERFACE_REG* record)
{
    return record != nullptr && IsWholeList(record->rgpszFunctions, record->cFunctions);
}

bool IsWhole(const CRYPT_IMAGE_REG* record)
{
    return record == nullptr || (IsWhole(record->pszImage) && IsWholeList(record->rgpInterfaces, record->cInterfaces));
}

bool IsWhole(const CRYPT_PROVIDER_REG& record)
{
    return (record.pUM != nullptr || record.pKM != nullptr) && IsWhole(record.pUM) && IsWhole(record.pKM) &&
           IsWholeList(record.rgpszAliases, record.cAliases);
}

// ---- Registrations, as the machine keeps them ----

std::optional<CngImage> ImageOf(const CRYPT_IMAGE_REG* record)
{
    if (record == nullptr)
        return std::nullopt;
    CngImage image{winsim::Utf8(record->pszImage), {}};
    for (ULONG i = 0; i < record->cInterfaces; ++i)
    {
        const CRYPT_INTERFACE_REG& interface = *record->rgpInterfaces[i];
        image.interfaces.push_back(CngInterface{interface.dwInterface, interface.dwFlags,
                                                TextsOf(interface.rgpszFunctions, interface.cFunctions)});
    }
    return image;
}

CngProvider ProviderOf(const CRYPT_PROVIDER_REG& record)
{
    return {TextsOf(record.rgpszAliases, record.cAliases), ImageOf(record.pUM), ImageOf(record.pKM)};
}

void RemoveProvider(CngContextFunction& function, const std::string& provider)
{
    std::erase_if(function.providers, [&](const std::string& one) { return winsim::SameName(one, provider); });
}

// Ends a call about a provider of a context's function: `work` changes the function and returns the status.
template <typename Work>
NTSTATUS StatusWithFunction(Call& call, ULONG table, LPCWSTR context, ULONG interface, LPCWSTR name, LPCWSTR provider,
                            Work work)
{
    return call.StatusOf([&]() -> DWORD {
        if (name == nullptr || provider == nullptr)
            return kInvalidParameter;
        CngContextFunction* function =
            Configuration().FindFunction(table, ContextName(context), interface, winsim::Utf8(name));
        return function == nullptr ? kNotFound : work(*function, winsim::Utf8(provider));
    });
}

} // namespace

NTSTATUS WINAPI BCryptRegisterProvider(LPCWSTR pszProvider, ULONG dwFlags, PCRYPT_PROVIDER_REG pReg)
{
    Call call{__func__};
    call.In("pszProvider", pszProvider).In("dwFlags", dwFlags).In("pReg", Noted(pReg));
    return call.StatusOf([&]() -> DWORD {
        if (pszProvider == nullptr || pReg == nullptr || (dwFlags & ~CRYPT_OVERWRITE) != 0)
            return kInvalidParameter;
        if (!IsWhole(*pReg))
        {
            call.NotSimulated("a registration without images, or with parts missing");
            return kInvalidParameter;
        }
        const std::string name = winsim::Utf8(pszProvider);
        if ((dwFlags & CRYPT_OVERWRITE) == 0 && Configuration().providers.contains(name))
            return kNameCollision;
        Configuration().providers[name] = ProviderOf(*pReg);
        return kSuccess;
    });
}

NTSTATUS WINAPI BCryptUnregisterProvider(LPCWSTR pszProvider)
{
    Call call{__func__};
    call.In("pszProvider", pszProvider);
    return call.StatusOf([&]() -> DWORD {
        if (pszProvider == nullptr)
            return kInvalidParameter;
        const bool wasThere = Configuration().providers.erase(winsim::Utf8(pszProvider)) != 0;
        return wasThere ? kSuccess : kNotFound;
    });
}

NTSTATUS WINAPI BCryptAddContextFunctionProvider(ULONG dwTable, LPCWSTR pszContext, ULONG dwInterface,
                                                 LPCWSTR pszFunction, LPCWSTR pszProvider, ULONG dwPosition)
{
    Call call{__func__};
    call.In("dwTable", dwTable)
        .In("pszContext", pszContext)
        .In("dwInterface", dwInterface)
        .In("pszFunction", pszFunction)
        .In("pszProvider", pszProvider)
        .In("dwPosition", dwPosition);
    const auto work = [&](CngContextFunction& function, const std::string& provider) {
        // A provider that is already in the list moves to its new position.
        RemoveProvider(function, provider);
        const std::size_t position = std::min<std::size_t>(dwPosition, function.providers.size());
        function.providers.insert(function.providers.begin() + static_cast<std::ptrdiff_t>(position), provider);
        return kSuccess;
    };
    return StatusWithFunction(call, dwTable, pszContext, dwInterface, pszFunction, pszProvider, work);
}

NTSTATUS WINAPI BCryptRemoveContextFunctionProvider(ULONG dwTable, LPCWSTR pszContext, ULONG dwInterface,
                                                    LPCWSTR pszFunction, LPCWSTR pszProvider)
{
    Call call{__func__};
    call.In("dwTable", dwTable)
        .In("pszContext", pszContext)
        .In("dwInterface", dwInterface)
        .In("pszFunction", pszFunction)
        .In("pszProvider", pszProvider);
    const auto work = [&](CngContextFunction& function, const std::string& provider) {
        const std::size_t before = function.providers.size();
        RemoveProvider(function, provider);
        return function.providers.size() < before ? kSuccess : kNotFound;
    };
    return StatusWithFunction(call, dwTable, pszContext, dwInterface, pszFunction, pszProvider, work);
}
