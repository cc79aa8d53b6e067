// Reads the WMI of the TPM.
#include "describe/capture.h"
#include "describe/windows_headers.h"
#include "describe/windows_text.h"
#include "windows/com_initializer.h"
#include "windows/com_owners.h"

#include <wbemcli.h>

#undef interface
#undef GetObject

namespace describe
{

namespace
{

constexpr HRESULT kNotFound = static_cast<HRESULT>(WBEM_E_NOT_FOUND);
constexpr HRESULT kNoMethod = static_cast<HRESULT>(WBEM_E_INVALID_METHOD);
constexpr HRESULT kNoNamespace = static_cast<HRESULT>(WBEM_E_INVALID_NAMESPACE);
constexpr char kSpace[] = "root\\CIMV2\\Security\\MicrosoftTpm";
constexpr char kClass[] = "Win32_TPM";
constexpr char kInstance[] = "@";
constexpr const char* kMethods[] = {"DisableAutoProvisioning", "EnableAutoProvisioning"};
constexpr CLSID kLocatorClass = {0xCB8555CC, 0x9128, 0x11D1, {0xAD, 0x9B, 0x00, 0xC0, 0x4F, 0xD8, 0xFD, 0xFF}};
constexpr IID kLocator = {0xDC12A687, 0x737F, 0x11CF, {0x88, 0x4D, 0x00, 0xAA, 0x00, 0x4B, 0x2E, 0x24}};

UniqueBstr Bstr(const std::string& text)
{
    return UniqueBstr{SysAllocString(ToWide(text).c_str())};
}

class WmiReader
{
public:
    explicit WmiReader(Capture& capture) : m_capture(capture), m_wmi(capture.machine.wmi)
    {
        // What the methods change is the same everywhere.
        m_usual = m_wmi.namespaces[kSpace].classes[kClass];
        m_wmi.namespaces.clear();
    }

    void Read()
    {
        const UniqueInterface<IWbemServices> services = Connect();
        if (!services)
            return;
        winsim::WmiNamespace& space = m_wmi.namespaces[kSpace];
        UniqueInterface<IWbemClassObject> tpm;
        if (!Works("IWbemServices::GetObject", GetObject(services.Get(), kClass, tpm), kNotFound) || !tpm)
            return;
        ReadClass(services.Get(), tpm.Get(), space.classes[kClass]);
    }

private:
    // Whether a call worked. A failure is the machine's own, unless it says that something is not there.
    bool Works(const char* call, HRESULT result, HRESULT notThere)
    {
        if (FAILED(result) && result != notThere)
            m_wmi.failures[call] = static_cast<std::uint32_t>(result);
        return SUCCEEDED(result);
    }

    UniqueInterface<IWbemServices> Connect()
    {
        UniqueInterface<IWbemLocator> locator;
        UniqueInterface<IWbemServices> services;
        if (!Works("CoCreateInstance",
                   CoCreateInstance(kLocatorClass, nullptr, CLSCTX_INPROC_SERVER, kLocator,
                                    reinterpret_cast<void**>(locator.Put())),
                   S_OK) ||
            !Works("IWbemLocator::ConnectServer",
                   locator.Get()->ConnectServer(Bstr(kSpace).Get(), nullptr, nullptr, nullptr, 0, nullptr, nullptr,
                                                services.Put()),
                   kNoNamespace) ||
            !Works("CoSetProxyBlanket",
                   CoSetProxyBlanket(services.Get(), RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr,
                                     RPC_C_AUTHN_LEVEL_CALL, RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE),
                   S_OK))
            return {};
        return services;
    }

    static HRESULT GetObject(IWbemServices* services, const std::string& path,
                             UniqueInterface<IWbemClassObject>& object)
    {
        return services->GetObject(Bstr(path).Get(), 0, nullptr, object.Put(), nullptr);
    }

    void ReadClass(IWbemServices* services, IWbemClassObject* tpm, winsim::WmiClass& described)
    {
        const std::string instance = std::string(kClass) + "=" + kInstance;
        UniqueInterface<IWbemClassObject> object;
        if (SUCCEEDED(GetObject(services, instance, object)))
            described.instances.emplace_back(kInstance);
        for (const char* method : kMethods)
        {
            UniqueInterface<IWbemClassObject> input;
            UniqueInterface<IWbemClassObject> output;
            if (Works("IWbemClassObject::GetMethod", tpm->GetMethod(Bstr(method).Get(), 0, input.Put(), output.Put()),
                      kNotFound))
                described.methods[method] = m_usual.methods[method];
            if (input)
                FillInput(input.Get());
        }
        ReadAutoProvisioning(services, instance);
    }

    // Makes the input of a method as the program does, and does not use it.
    void FillInput(IWbemClassObject* definition)
    {
        UniqueInterface<IWbemClassObject> input;
        CBoolVariant no{VARIANT_FALSE};
        if (Works("IWbemClassObject::SpawnInstance", definition->SpawnInstance(0, input.Put()), S_OK) && input)
            Works("IWbemClassObject::Put", input.Get()->Put(L"OnlyForNextBoot", 0, no.Get(), 0), S_OK);
    }

    // This method only tells.
    void ReadAutoProvisioning(IWbemServices* services, const std::string& instance)
    {
        UniqueInterface<IWbemClassObject> output;
        HRESULT result = services->ExecMethod(Bstr(instance).Get(), Bstr("IsAutoProvisioningEnabled").Get(), 0, nullptr,
                                              nullptr, output.Put(), nullptr);
        // Windows before 6.2 has no such method.
        if (FAILED(result) && result != kNotFound && result != kNoMethod)
        {
            m_wmi.failures["IWbemServices::ExecMethod"] = static_cast<std::uint32_t>(result);
            return;
        }
        VARIANT value{};
        if (SUCCEEDED(result) && output)
            result = output.Get()->Get(L"IsAutoProvisioningEnabled", 0, &value, nullptr, nullptr);
        if (FAILED(result) || value.vt != VT_BOOL)
            m_capture.notes.AddError("wmi.autoProvisioning", static_cast<std::uint32_t>(result));
        else
            m_wmi.autoProvisioning = value.boolVal != VARIANT_FALSE;
        VariantClear(&value);
    }

    Capture& m_capture;
    winsim::Wmi& m_wmi;
    winsim::WmiClass m_usual;
};

} // namespace

void ReadWmi(Capture& capture)
{
    const CComInitializer com;
    WmiReader{capture}.Read();
    // Without an administrator's rights, the calls fail for reasons of this process.
    if (!capture.isElevated && !capture.machine.wmi.failures.empty())
    {
        capture.notes.Add("wmi", "not read, because KeloDescribe was not started as administrator");
        capture.machine.wmi = winsim::Machine::FromJson(winsim::Json::object()).wmi;
    }
}

} // namespace describe
