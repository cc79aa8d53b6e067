// Calls the methods of the TPM's WMI class.
#include "tpm/set_auto_provisioning.h"

#include "windows/com_owners.h"

#include <windows.h>

#include <objbase.h>
#include <wbemcli.h>

namespace
{

constexpr int kFailed = -1;

constexpr CLSID kWbemAdministrativeLocator = {
    0xCB8555CC, 0x9128, 0x11D1, {0xAD, 0x9B, 0x00, 0xC0, 0x4F, 0xD8, 0xFD, 0xFF}};
constexpr IID kWbemLocator = {0xDC12A687, 0x737F, 0x11CF, {0x88, 0x4D, 0x00, 0xAA, 0x00, 0x4B, 0x2E, 0x24}};

// The calls' names, as COM strings.
struct Names
{
    const UniqueBstr space{SysAllocString(L"root\\CIMV2\\Security\\MicrosoftTpm")};
    const UniqueBstr tpmClass{SysAllocString(L"Win32_TPM")};
    const UniqueBstr tpm{SysAllocString(L"Win32_TPM=@")}; // the one instance
    const UniqueBstr disable{SysAllocString(L"DisableAutoProvisioning")};
    const UniqueBstr enable{SysAllocString(L"EnableAutoProvisioning")};
    const UniqueBstr onlyForNextBoot{SysAllocString(L"OnlyForNextBoot")};
    const UniqueBstr queryLanguage{SysAllocString(L"WQL")}; // Required: made and not used

    explicit operator bool() const
    {
        return space && tpmClass && tpm && disable && enable && onlyForNextBoot && queryLanguage;
    }
};

// The TPM's WMI namespace, set up for calls. Nothing when a call fails.
UniqueInterface<IWbemServices> Connect(const Names& names)
{
    UniqueInterface<IWbemLocator> locator;
    if (FAILED(CoCreateInstance(kWbemAdministrativeLocator, nullptr, CLSCTX_INPROC_SERVER, kWbemLocator,
                                reinterpret_cast<void**>(locator.Put()))) ||
        !locator)
        return {};
    UniqueInterface<IWbemServices> services;
    if (FAILED(locator.Get()->ConnectServer(names.space.Get(), nullptr, nullptr, nullptr, 0, nullptr, nullptr,
                                            services.Put())) ||
        !services)
        return {};
    if (FAILED(CoSetProxyBlanket(services.Get(), RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr, RPC_C_AUTHN_LEVEL_CALL,
                                 RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE)))
        return {};
    return services;
}

// Calls a method of the TPM.
// Required: the method's own result, in the output object, is not read.
bool Execute(IWbemServices* services, const Names& names, BSTR method, IWbemClassObject* input)
{
    UniqueInterface<IWbemClassObject> output;
    return SUCCEEDED(services->ExecMethod(names.tpm.Get(), method, 0, nullptr, input, output.Put(), nullptr));
}

// The input of the method that switches off: permanently, not only for the next start. Nothing when a call fails.
UniqueInterface<IWbemClassObject> DisableInput(IWbemServices* services, const Names& names)
{
    UniqueInterface<IWbemClassObject> tpmClass;
    if (FAILED(services->GetObject(names.tpmClass.Get(), 0, nullptr, tpmClass.Put(), nullptr)) || !tpmClass)
        return {};
    // WMI succeeds without a definition for a method that takes no parameters.
    UniqueInterface<IWbemClassObject> definition;
    if (FAILED(tpmClass.Get()->GetMethod(names.disable.Get(), 0, definition.Put(), nullptr)) || !definition)
        return {};
    UniqueInterface<IWbemClassObject> input;
    if (FAILED(definition.Get()->SpawnInstance(0, input.Put())) || !input)
        return {};
    CBoolVariant onlyForNextBoot{VARIANT_FALSE};
    if (FAILED(input.Get()->Put(names.onlyForNextBoot.Get(), 0, onlyForNextBoot.Get(), 0)))
        return {};
    return input;
}

bool Enable(IWbemServices* services, const Names& names)
{
    return Execute(services, names, names.enable.Get(), nullptr);
}

bool Disable(IWbemServices* services, const Names& names)
{
    const UniqueInterface<IWbemClassObject> input = DisableInput(services, names);
    return input && Execute(services, names, names.disable.Get(), input.Get());
}

} // namespace

int SetAutoProvisioning(bool enable)
{
    const Names names;
    if (!names)
        return kFailed;
    const UniqueInterface<IWbemServices> services = Connect(names);
    if (!services)
        return kFailed;
    const bool done = enable ? Enable(services.Get(), names) : Disable(services.Get(), names);
    return done ? 0 : kFailed;
}
