// A COM server for WMI, whose namespace has the TPM's class. Each call is noted. A call fails with the number in the
// registry under its name, if there is one; whether the TPM is provisioned automatically is kept there too.
#include "tests/e2e/standins/noted_calls.h"
#include "tests/e2e/standins/settings.h"
#include "tests/support/test_text.h"

#include "standin_names.h"

#include <objbase.h>
#include <objidl.h>
#include <wbemcli.h>

#include <cwchar>
#include <new>
#include <set>
#include <string>

namespace
{

constexpr IID kLocator = {0xDC12A687, 0x737F, 0x11CF, {0x88, 0x4D, 0x00, 0xAA, 0x00, 0x4B, 0x2E, 0x24}};
constexpr CLSID kAdministrativeLocator = {0xCB8555CC, 0x9128, 0x11D1, {0xAD, 0x9B, 0x00, 0xC0, 0x4F, 0xD8, 0xFD, 0xFF}};

// Notes a call, and returns its result: the described one, unless it is known.
HRESULT Noted(const char* call, const Members& in, HRESULT known = S_OK)
{
    const DWORD described = ReadNumber(names::kWmiLibrary, WideOfUtf8(call)).value_or(S_OK);
    const HRESULT result = FAILED(known) ? known : static_cast<HRESULT>(described);
    NoteCall(call, in, result);
    return result;
}

// A method that only tells, and the name of its answer.
constexpr wchar_t kIsAutoProvisioningEnabled[] = L"IsAutoProvisioningEnabled";

void SetAutoProvisioning(const wchar_t* method)
{
    WriteNumber(names::kWmiLibrary, names::kAutoProvisioning, std::wcscmp(method, L"EnableAutoProvisioning") == 0);
}

std::string JsonFlags(long flags)
{
    return JsonNumber(static_cast<DWORD>(flags));
}

// The numbers of the objects that there are. An object is named by its number, the lowest free one.
std::set<unsigned> g_numbers;

unsigned TakeNumber()
{
    unsigned number = 1;
    while (g_numbers.contains(number))
        ++number;
    g_numbers.insert(number);
    return number;
}

// The base of all objects: a name, a count of references, and no other interface.
template <typename Interface>
class Object : public Interface
{
public:
    STDMETHODIMP QueryInterface(REFIID id, void** object) override
    {
        *object = IsEqualIID(id, IID_IUnknown) ? this : nullptr;
        if (*object == nullptr)
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++m_references; }
    STDMETHODIMP_(ULONG) Release() override
    {
        if (--m_references != 0)
            return m_references;
        NoteCall((m_interface + "::Release").c_str(), {{"this", Name()}}, 0);
        delete this;
        return 0;
    }

    std::string Name() const { return "\"comObject#" + std::to_string(m_number) + "\""; }

protected:
    explicit Object(const char* name) : m_interface(name) {}
    virtual ~Object() { g_numbers.erase(m_number); }

private:
    const std::string m_interface;
    const unsigned m_number = TakeNumber();
    ULONG m_references = 1;
};

std::string Json(const VARIANT* value)
{
    return JsonObject({{"vt", JsonNumber(value->vt)}, {"boolVal", std::to_string(value->boolVal)}});
}

// A class, or the input or output of one of its methods.
class ClassObject final : public Object<IWbemClassObject>
{
public:
    ClassObject() : Object("IWbemClassObject") {}

    STDMETHODIMP Put(LPCWSTR name, long flags, VARIANT* value, CIMTYPE type) override
    {
        return Noted("IWbemClassObject::Put", {{"this", Name()},
                                               {"wszName", JsonText(name)},
                                               {"lFlags", JsonFlags(flags)},
                                               {"pVal", Json(value)},
                                               {"Type", JsonNumber(static_cast<DWORD>(type))}});
    }
    STDMETHODIMP SpawnInstance(long flags, IWbemClassObject** instance) override
    {
        const HRESULT result =
            Noted("IWbemClassObject::SpawnInstance", {{"this", Name()}, {"lFlags", JsonFlags(flags)}});
        if (FAILED(result))
            return result;
        *instance = new ClassObject;
        return S_OK;
    }
    STDMETHODIMP GetMethod(LPCWSTR name, long flags, IWbemClassObject** input, IWbemClassObject** output) override
    {
        const HRESULT result = Noted("IWbemClassObject::GetMethod", {{"this", Name()},
                                                                     {"wszName", JsonText(name)},
                                                                     {"lFlags", JsonFlags(flags)},
                                                                     {"ppInSignature", JsonFlag(input != nullptr)},
                                                                     {"ppOutSignature", JsonFlag(output != nullptr)}});
        if (FAILED(result))
            return result;
        *input = new ClassObject;
        return S_OK;
    }

    STDMETHODIMP GetQualifierSet(IWbemQualifierSet**) override { return E_NOTIMPL; }
    STDMETHODIMP Get(LPCWSTR name, long, VARIANT* value, CIMTYPE*, long*) override
    {
        if (std::wcscmp(name, kIsAutoProvisioningEnabled) != 0)
            return E_NOTIMPL;
        value->vt = VT_BOOL;
        value->boolVal =
            ReadNumber(names::kWmiLibrary, names::kAutoProvisioning).value_or(1) != 0 ? VARIANT_TRUE : VARIANT_FALSE;
        return S_OK;
    }
    STDMETHODIMP Delete(LPCWSTR) override { return E_NOTIMPL; }
    STDMETHODIMP GetNames(LPCWSTR, long, VARIANT*, SAFEARRAY**) override { return E_NOTIMPL; }
    STDMETHODIMP BeginEnumeration(long) override { return E_NOTIMPL; }
    STDMETHODIMP Next(long, BSTR*, VARIANT*, CIMTYPE*, long*) override { return E_NOTIMPL; }
    STDMETHODIMP EndEnumeration() override { return E_NOTIMPL; }
    STDMETHODIMP GetPropertyQualifierSet(LPCWSTR, IWbemQualifierSet**) override { return E_NOTIMPL; }
    STDMETHODIMP Clone(IWbemClassObject**) override { return E_NOTIMPL; }
    STDMETHODIMP GetObjectText(long, BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP SpawnDerivedClass(long, IWbemClassObject**) override { return E_NOTIMPL; }
    STDMETHODIMP CompareTo(long, IWbemClassObject*) override { return E_NOTIMPL; }
    STDMETHODIMP GetPropertyOrigin(LPCWSTR, BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP InheritsFrom(LPCWSTR) override { return E_NOTIMPL; }
    STDMETHODIMP PutMethod(LPCWSTR, long, IWbemClassObject*, IWbemClassObject*) override { return E_NOTIMPL; }
    STDMETHODIMP DeleteMethod(LPCWSTR) override { return E_NOTIMPL; }
    STDMETHODIMP BeginMethodEnumeration(long) override { return E_NOTIMPL; }
    STDMETHODIMP NextMethod(long, BSTR*, IWbemClassObject**, IWbemClassObject**) override { return E_NOTIMPL; }
    STDMETHODIMP EndMethodEnumeration() override { return E_NOTIMPL; }
    STDMETHODIMP GetMethodQualifierSet(LPCWSTR, IWbemQualifierSet**) override { return E_NOTIMPL; }
    STDMETHODIMP GetMethodOrigin(LPCWSTR, BSTR*) override { return E_NOTIMPL; }
};

std::string NameOrNull(IWbemClassObject* object)
{
    return object == nullptr ? "null" : static_cast<ClassObject*>(object)->Name();
}

// The services are their own proxy: CoSetProxyBlanket asks them for its interface.
class Services final : public Object<IWbemServices>
{
public:
    Services() : Object("IWbemServices"), m_security(*this) {}

    STDMETHODIMP QueryInterface(REFIID id, void** object) override
    {
        if (!IsEqualIID(id, IID_IClientSecurity))
            return Object::QueryInterface(id, object);
        *object = &m_security;
        AddRef();
        return S_OK;
    }

    STDMETHODIMP GetObject(const BSTR path, long flags, IWbemContext*, IWbemClassObject** object,
                           IWbemCallResult** callResult) override
    {
        const HRESULT result = Noted("IWbemServices::GetObject", {{"this", Name()},
                                                                  {"strObjectPath", JsonText(path)},
                                                                  {"lFlags", JsonFlags(flags)},
                                                                  {"pCtx", "null"},
                                                                  {"ppCallResult", JsonFlag(callResult != nullptr)}});
        if (FAILED(result))
            return result;
        *object = new ClassObject;
        return S_OK;
    }
    STDMETHODIMP ExecMethod(const BSTR path, const BSTR method, long flags, IWbemContext*, IWbemClassObject* input,
                            IWbemClassObject** output, IWbemCallResult** callResult) override
    {
        const HRESULT result = Noted("IWbemServices::ExecMethod", {{"this", Name()},
                                                                   {"strObjectPath", JsonText(path)},
                                                                   {"strMethodName", JsonText(method)},
                                                                   {"lFlags", JsonFlags(flags)},
                                                                   {"pCtx", "null"},
                                                                   {"pInParams", NameOrNull(input)},
                                                                   {"ppOutParams", JsonFlag(output != nullptr)},
                                                                   {"ppCallResult", JsonFlag(callResult != nullptr)}});
        if (FAILED(result))
            return result;
        if (std::wcscmp(method, kIsAutoProvisioningEnabled) != 0)
            SetAutoProvisioning(method);
        *output = new ClassObject;
        return S_OK;
    }

    STDMETHODIMP OpenNamespace(const BSTR, long, IWbemContext*, IWbemServices**, IWbemCallResult**) override
    {
        return E_NOTIMPL;
    }
    STDMETHODIMP CancelAsyncCall(IWbemObjectSink*) override { return E_NOTIMPL; }
    STDMETHODIMP QueryObjectSink(long, IWbemObjectSink**) override { return E_NOTIMPL; }
    STDMETHODIMP GetObjectAsync(const BSTR, long, IWbemContext*, IWbemObjectSink*) override { return E_NOTIMPL; }
    STDMETHODIMP PutClass(IWbemClassObject*, long, IWbemContext*, IWbemCallResult**) override { return E_NOTIMPL; }
    STDMETHODIMP PutClassAsync(IWbemClassObject*, long, IWbemContext*, IWbemObjectSink*) override { return E_NOTIMPL; }
    STDMETHODIMP DeleteClass(const BSTR, long, IWbemContext*, IWbemCallResult**) override { return E_NOTIMPL; }
    STDMETHODIMP DeleteClassAsync(const BSTR, long, IWbemContext*, IWbemObjectSink*) override { return E_NOTIMPL; }
    STDMETHODIMP CreateClassEnum(const BSTR, long, IWbemContext*, IEnumWbemClassObject**) override { return E_NOTIMPL; }
    STDMETHODIMP CreateClassEnumAsync(const BSTR, long, IWbemContext*, IWbemObjectSink*) override { return E_NOTIMPL; }
    STDMETHODIMP PutInstance(IWbemClassObject*, long, IWbemContext*, IWbemCallResult**) override { return E_NOTIMPL; }
    STDMETHODIMP PutInstanceAsync(IWbemClassObject*, long, IWbemContext*, IWbemObjectSink*) override
    {
        return E_NOTIMPL;
    }
    STDMETHODIMP DeleteInstance(const BSTR, long, IWbemContext*, IWbemCallResult**) override { return E_NOTIMPL; }
    STDMETHODIMP DeleteInstanceAsync(const BSTR, long, IWbemContext*, IWbemObjectSink*) override { return E_NOTIMPL; }
    STDMETHODIMP CreateInstanceEnum(const BSTR, long, IWbemContext*, IEnumWbemClassObject**) override
    {
        return E_NOTIMPL;
    }
    STDMETHODIMP CreateInstanceEnumAsync(const BSTR, long, IWbemContext*, IWbemObjectSink*) override
    {
        return E_NOTIMPL;
    }
    STDMETHODIMP ExecQuery(const BSTR, const BSTR, long, IWbemContext*, IEnumWbemClassObject**) override
    {
        return E_NOTIMPL;
    }
    STDMETHODIMP ExecQueryAsync(const BSTR, const BSTR, long, IWbemContext*, IWbemObjectSink*) override
    {
        return E_NOTIMPL;
    }
    STDMETHODIMP ExecNotificationQuery(const BSTR, const BSTR, long, IWbemContext*, IEnumWbemClassObject**) override
    {
        return E_NOTIMPL;
    }
    STDMETHODIMP ExecNotificationQueryAsync(const BSTR, const BSTR, long, IWbemContext*, IWbemObjectSink*) override
    {
        return E_NOTIMPL;
    }
    STDMETHODIMP ExecMethodAsync(const BSTR, const BSTR, long, IWbemContext*, IWbemClassObject*,
                                 IWbemObjectSink*) override
    {
        return E_NOTIMPL;
    }

private:
    class Security final : public IClientSecurity
    {
    public:
        explicit Security(Services& services) : m_services(services) {}
        virtual ~Security() = default;

        STDMETHODIMP QueryInterface(REFIID id, void** object) override { return m_services.QueryInterface(id, object); }
        STDMETHODIMP_(ULONG) AddRef() override { return m_services.AddRef(); }
        STDMETHODIMP_(ULONG) Release() override { return m_services.Release(); }

        STDMETHODIMP SetBlanket(IUnknown*, DWORD authentication, DWORD authorization, OLECHAR* principal, DWORD level,
                                DWORD impersonation, void*, DWORD capabilities) override
        {
            return Noted("CoSetProxyBlanket", {{"pProxy", m_services.Name()},
                                               {"dwAuthnSvc", JsonNumber(authentication)},
                                               {"dwAuthzSvc", JsonNumber(authorization)},
                                               {"pServerPrincName", JsonText(principal)},
                                               {"dwAuthnLevel", JsonNumber(level)},
                                               {"dwImpLevel", JsonNumber(impersonation)},
                                               {"pAuthInfo", "null"},
                                               {"dwCapabilities", JsonNumber(capabilities)}});
        }
        STDMETHODIMP QueryBlanket(IUnknown*, DWORD*, DWORD*, OLECHAR**, DWORD*, DWORD*, void**, DWORD*) override
        {
            return E_NOTIMPL;
        }
        STDMETHODIMP CopyProxy(IUnknown*, IUnknown**) override { return E_NOTIMPL; }

    private:
        Services& m_services;
    };

    Security m_security;
};

class Locator final : public Object<IWbemLocator>
{
public:
    Locator() : Object("IWbemLocator") {}

    STDMETHODIMP ConnectServer(const BSTR path, const BSTR user, const BSTR password, const BSTR locale, long flags,
                               const BSTR authority, IWbemContext*, IWbemServices** services) override
    {
        const bool isThere = std::wcscmp(path, names::kTpmNamespace) == 0;
        const HRESULT result = Noted("IWbemLocator::ConnectServer",
                                     {{"this", Name()},
                                      {"strNetworkResource", JsonText(path)},
                                      {"strUser", JsonText(user)},
                                      {"strPassword", JsonText(password)},
                                      {"strLocale", JsonText(locale)},
                                      {"lSecurityFlags", JsonFlags(flags)},
                                      {"strAuthority", JsonText(authority)},
                                      {"pCtx", "null"}},
                                     isThere ? S_OK : static_cast<HRESULT>(WBEM_E_INVALID_NAMESPACE));
        *services = SUCCEEDED(result) ? new Services : nullptr;
        return result;
    }
};

// Lives as long as the library, so its references are not counted.
class Factory final : public IClassFactory
{
public:
    virtual ~Factory() = default;

    STDMETHODIMP QueryInterface(REFIID id, void** object) override
    {
        const bool isKnown = IsEqualIID(id, IID_IUnknown) || IsEqualIID(id, IID_IClassFactory);
        *object = isKnown ? this : nullptr;
        return isKnown ? S_OK : E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP CreateInstance(IUnknown* outer, REFIID id, void** object) override
    {
        *object = nullptr;
        if (outer != nullptr)
            return CLASS_E_NOAGGREGATION;
        if (!IsEqualIID(id, kLocator))
            return E_NOINTERFACE;
        *object = static_cast<IWbemLocator*>(new Locator);
        return S_OK;
    }
    STDMETHODIMP LockServer(BOOL) override { return S_OK; }
};

Factory g_factory;

} // namespace

STDAPI DllGetClassObject(REFCLSID classId, REFIID id, void** object)
{
    *object = nullptr;
    return IsEqualCLSID(classId, kAdministrativeLocator) ? g_factory.QueryInterface(id, object)
                                                         : CLASS_E_CLASSNOTAVAILABLE;
}
