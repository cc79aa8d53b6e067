// WMI: a locator connects to the services of a namespace, which return its classes and call their methods.
#include "winsim/machine/wmi.h"

#include "winsim/api/bstr.h"
#include "winsim/api/com_object.h"
#include "winsim/api/wmi_locator.h"
#include "winsim/machine/effects.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string_view>

namespace winsim
{

namespace
{

constexpr IID kWbemClassObject = {0xDC12A681, 0x737F, 0x11CF, {0x88, 0x4D, 0x00, 0xAA, 0x00, 0x4B, 0x2E, 0x24}};
constexpr IID kWbemServices = {0x9556DC99, 0x828C, 0x11CF, {0xA3, 0x7E, 0x00, 0xAA, 0x00, 0x32, 0x40, 0xC7}};
constexpr DWORD kServerUnavailable = 1722; // RPC_S_SERVER_UNAVAILABLE

const Wmi& Instrumentation()
{
    return Simulation::Current().machine.wmi;
}

Json Noted(const VARIANT* value)
{
    if (value == nullptr)
        return nullptr;
    switch (value->vt)
    {
    case VT_BOOL:
        return {{"vt", value->vt}, {"boolVal", value->boolVal}};
    case VT_I4:
        return {{"vt", value->vt}, {"lVal", value->lVal}};
    case VT_BSTR:
        return {{"vt", value->vt}, {"bstrVal", NotedBstr(value->bstrVal)}};
    default:
        return {{"vt", value->vt}};
    }
}

// What a class object represents: a class, or the input or output of one of its methods.
struct Subject
{
    std::string space;
    std::string className;
    std::string method; // empty for the class itself
    bool isInstance = false;
};

const WmiMethod* FindMethod(const Subject& subject, const std::string& name)
{
    const WmiClass* one = Instrumentation().FindClass(subject.space, subject.className);
    if (one == nullptr)
        return nullptr;
    const auto method = one->methods.find(name);
    return method == one->methods.end() ? nullptr : &method->second;
}

// Notes that something is not simulated. Returns the result that Windows most often has.
HRESULT Lacking(const Call& call, std::string_view what, HRESULT usual)
{
    call.NotSimulated(what);
    return usual;
}

// The namespace of a path with backslashes: "\\.\root\x" means "root\x". None if it is another machine's.
std::optional<std::string> NamespaceOf(const std::string& path)
{
    const std::size_t end = path.starts_with("\\\\") ? path.find('\\', 2) : std::string::npos;
    if (end == std::string::npos)
        return path;
    return path.substr(2, end - 2) == "." ? std::optional(path.substr(end + 1)) : std::nullopt;
}

// What is wrong with the path of a class or an instance, or S_OK.
HRESULT PathResult(const Call& call, const std::string& path)
{
    const std::string className = path.substr(0, path.find('='));
    if (className.find_first_of("\\/:.") != std::string::npos)
        return Lacking(call, "object paths with a namespace or with the names of keys", WBEM_E_NOT_FOUND);
    return className.empty() ? WBEM_E_INVALID_OBJECT_PATH : S_OK;
}

bool IsInstancePath(const std::string& path)
{
    return path.find('=') != std::string::npos;
}

// Whether a call about an object asks for more than its result.
HRESULT ExtrasResult(const Call& call, LONG flags, bool hasCallResult)
{
    if ((flags & ~WBEM_FLAG_USE_AMENDED_QUALIFIERS) == 0 && !hasCallResult)
        return S_OK;
    return Lacking(call, "these flags, and calls that return before their end", WBEM_E_INVALID_PARAMETER);
}

class ClassObject final : public ComObject<IWbemClassObject>
{
public:
    explicit ClassObject(Subject subject)
        : ComObject("IWbemClassObject", kWbemClassObject), m_subject(std::move(subject))
    {}

    HRESULT Put(LPCWSTR wszName, LONG lFlags, VARIANT* pVal, CIMTYPE Type) override
    {
        Call call{"IWbemClassObject::Put"};
        call.In("this", Self()).In("wszName", wszName).In("lFlags", lFlags).In("pVal", Noted(pVal)).In("Type", Type);
        // The process has to clear each variant that it passed to a call.
        HandleTable& handles = Simulation::Current().handles;
        if (pVal != nullptr && !handles.IsOpen<HeldVariant>(pVal))
            handles.Hold<HeldVariant>(pVal);
        return ComStatusOf(call, Self(), [&] {
            if (wszName == nullptr || pVal == nullptr || lFlags != 0)
                return WBEM_E_INVALID_PARAMETER;
            if (!m_subject.isInstance || m_subject.method.empty())
                return Lacking(call, "properties other than a method's parameters", WBEM_E_NOT_FOUND);
            const std::string name = Utf8(wszName);
            const WmiMethod* method = FindMethod(m_subject, m_subject.method);
            if (method == nullptr || !method->parameters.contains(name))
                return WBEM_E_NOT_FOUND;
            if (pVal->vt != VT_NULL && method->parameters.at(name) != pVal->vt)
                return Lacking(call, "the conversion of a parameter to its type", WBEM_E_TYPE_MISMATCH);
            m_values[name] = Noted(pVal);
            return S_OK;
        });
    }

    HRESULT SpawnInstance(LONG lFlags, IWbemClassObject** ppNewInstance) override
    {
        Call call{"IWbemClassObject::SpawnInstance"};
        call.In("this", Self()).In("lFlags", lFlags);
        if (ppNewInstance != nullptr)
            *ppNewInstance = nullptr;
        return ComStatusOf(call, Self(), [&] {
            if (ppNewInstance == nullptr || lFlags != 0)
                return WBEM_E_INVALID_PARAMETER;
            if (m_subject.isInstance)
                return Lacking(call, "instances made from instances", WBEM_E_INVALID_OPERATION);
            Subject instance = m_subject;
            instance.isInstance = true;
            *ppNewInstance = MakeComObject<ClassObject>(std::move(instance));
            call.Out("ppNewInstance", *ppNewInstance);
            return S_OK;
        });
    }

    HRESULT GetMethod(LPCWSTR wszName, LONG lFlags, IWbemClassObject** ppInSignature,
                      IWbemClassObject** ppOutSignature) override
    {
        Call call{"IWbemClassObject::GetMethod"};
        call.In("this", Self())
            .In("wszName", wszName)
            .In("lFlags", lFlags)
            .In("ppInSignature", ppInSignature != nullptr)
            .In("ppOutSignature", ppOutSignature != nullptr);
        for (IWbemClassObject** signature : {ppInSignature, ppOutSignature})
        {
            if (signature != nullptr)
                *signature = nullptr;
        }
        return ComStatusOf(call, Self(), [&] {
            if (wszName == nullptr || lFlags != 0)
                return WBEM_E_INVALID_PARAMETER;
            if (m_subject.isInstance || !m_subject.method.empty())
                return Lacking(call, "the methods of an object that is no class", WBEM_E_INVALID_OPERATION);
            const std::string name = Utf8(wszName);
            const WmiMethod* method = FindMethod(m_subject, name);
            if (method == nullptr)
                return WBEM_E_NOT_FOUND;
            const Subject signature{m_subject.space, m_subject.className, name};
            // A method without input has no input definition; that is not a failure.
            if (ppInSignature != nullptr && !method->parameters.empty() && !call.GivesNothing())
                *ppInSignature = MakeComObject<ClassObject>(signature);
            if (ppInSignature != nullptr)
                call.Out("ppInSignature", *ppInSignature);
            if (ppOutSignature != nullptr)
                call.Out("ppOutSignature", *ppOutSignature = MakeComObject<ClassObject>(signature));
            return S_OK;
        });
    }

    // Whether this object is the input of a method, with all parameters set.
    bool IsInputOf(const std::string& method, const WmiMethod& described) const
    {
        return m_subject.isInstance && SameName(m_subject.method, method) &&
               m_values.size() == described.parameters.size();
    }

private:
    const Subject m_subject;
    std::map<std::string, Json, NameOrder> m_values;
};

class Services final : public ComObject<IWbemServices>, public ComProxy
{
public:
    explicit Services(std::string space) : ComObject("IWbemServices", kWbemServices), m_space(std::move(space)) {}

    void SetImpersonation(DWORD level) override { m_impersonation = level; }

    HRESULT GetObject(const BSTR strObjectPath, LONG lFlags, IWbemContext* pCtx, IWbemClassObject** ppObject,
                      IWbemCallResult** ppCallResult) override
    {
        Call call{"IWbemServices::GetObject"};
        call.In("this", Self())
            .In("strObjectPath", NotedBstr(strObjectPath))
            .In("lFlags", lFlags)
            .In("pCtx", pCtx)
            .In("ppCallResult", ppCallResult != nullptr);
        const std::string path = TextOf(call, strObjectPath);
        if (ppObject != nullptr)
            *ppObject = nullptr;
        return StatusOf(call, [&] {
            if (const HRESULT result = ExtrasResult(call, lFlags, ppCallResult != nullptr); result != S_OK)
                return result;
            if (ppObject == nullptr)
                return WBEM_E_INVALID_PARAMETER;
            if (path.empty())
                return Lacking(call, "the making of a class", WBEM_E_NOT_FOUND);
            if (const HRESULT result = PathResult(call, path); result != S_OK)
                return result;
            const bool isInstance = IsInstancePath(path);
            const Wmi& wmi = Instrumentation();
            if ((isInstance ? wmi.FindInstance(m_space, path) : wmi.FindClass(m_space, path)) == nullptr)
                return WBEM_E_NOT_FOUND;
            *ppObject = MakeComObject<ClassObject>(Subject{m_space, path.substr(0, path.find('=')), "", isInstance});
            call.Out("ppObject", *ppObject);
            return S_OK;
        });
    }

    HRESULT ExecMethod(const BSTR strObjectPath, const BSTR strMethodName, LONG lFlags, IWbemContext* pCtx,
                       IWbemClassObject* pInParams, IWbemClassObject** ppOutParams,
                       IWbemCallResult** ppCallResult) override
    {
        Call call{"IWbemServices::ExecMethod"};
        call.In("this", Self())
            .In("strObjectPath", NotedBstr(strObjectPath))
            .In("strMethodName", NotedBstr(strMethodName))
            .In("lFlags", lFlags)
            .In("pCtx", pCtx)
            .In("pInParams", pInParams)
            .In("ppOutParams", ppOutParams != nullptr)
            .In("ppCallResult", ppCallResult != nullptr);
        const std::string path = TextOf(call, strObjectPath);
        const std::string name = TextOf(call, strMethodName);
        if (ppOutParams != nullptr)
            *ppOutParams = nullptr;
        return StatusOf(call, [&] {
            if (const HRESULT result = ExtrasResult(call, lFlags, ppCallResult != nullptr); result != S_OK)
                return result;
            if (path.empty() || name.empty())
                return WBEM_E_INVALID_PARAMETER;
            if (const HRESULT result = PathResult(call, path); result != S_OK)
                return result;
            const Wmi& wmi = Instrumentation();
            if (!IsInstancePath(path) && wmi.FindClass(m_space, path) != nullptr)
                return Lacking(call, "methods called on a class", WBEM_E_INVALID_METHOD_PARAMETERS);
            const WmiClass* one = wmi.FindInstance(m_space, path);
            if (one == nullptr)
                return WBEM_E_NOT_FOUND;
            const auto method = one->methods.find(name);
            if (method == one->methods.end())
                return WBEM_E_INVALID_METHOD;
            if (!IsInputOf(call, pInParams, name, method->second))
                return WBEM_E_INVALID_METHOD_PARAMETERS;

            if (ppOutParams != nullptr && !call.GivesNothing())
            {
                *ppOutParams = MakeComObject<ClassObject>(Subject{m_space, path.substr(0, path.find('=')), name, true});
                call.Out("ppOutParams", *ppOutParams).Out("ReturnValue", method->second.returnValue);
            }
            // A copy, because the effects replace the whole machine.
            const WmiMethod described = method->second;
            if (described.returnValue == 0)
                ApplyEffects(Simulation::Current().machine, described.effects);
            return S_OK;
        });
    }

private:
    static bool IsInputOf(const Call& call, IWbemClassObject* input, const std::string& name, const WmiMethod& method)
    {
        if (input == nullptr)
            return method.parameters.empty();
        return call.Find<HeldComObject>(static_cast<const void*>(input)) != nullptr &&
               static_cast<ClassObject*>(input)->IsInputOf(name, method);
    }

    // The services impersonate the process, which must allow that first (CoSetProxyBlanket).
    template <typename Work>
    HRESULT StatusOf(Call& call, Work work) const
    {
        return ComStatusOf(call, Self(), [&] {
            return m_impersonation < RPC_C_IMP_LEVEL_IMPERSONATE ? WBEM_E_ACCESS_DENIED : work();
        });
    }

    const std::string m_space;
    DWORD m_impersonation = RPC_C_IMP_LEVEL_IDENTIFY;
};

class Locator final : public ComObject<IWbemLocator>
{
public:
    Locator() : ComObject("IWbemLocator", kWbemLocator) {}

    HRESULT ConnectServer(const BSTR strNetworkResource, const BSTR strUser, const BSTR strPassword,
                          const BSTR strLocale, LONG lSecurityFlags, const BSTR strAuthority, IWbemContext* pCtx,
                          IWbemServices** ppNamespace) override
    {
        Call call{"IWbemLocator::ConnectServer"};
        call.In("this", Self())
            .In("strNetworkResource", NotedBstr(strNetworkResource))
            .In("strUser", NotedBstr(strUser))
            .In("strPassword", NotedBstr(strPassword))
            .In("strLocale", NotedBstr(strLocale))
            .In("lSecurityFlags", lSecurityFlags)
            .In("strAuthority", NotedBstr(strAuthority))
            .In("pCtx", pCtx);
        std::string path = TextOf(call, strNetworkResource);
        std::ranges::replace(path, '/', '\\');
        const bool lacksServer = path.starts_with("\\\\\\");
        const auto space = NamespaceOf(path);
        const std::string user = TextOf(call, strUser);
        if (ppNamespace != nullptr)
            *ppNamespace = nullptr;
        return ComStatusOf(call, Self(), [&] {
            if (strNetworkResource == nullptr || ppNamespace == nullptr || lacksServer ||
                (lSecurityFlags & ~WBEM_FLAG_CONNECT_USE_MAX_WAIT) != 0)
                return WBEM_E_INVALID_PARAMETER;
            if (!space)
                return Lacking(call, "the WMI of other machines", HRESULT_FROM_WIN32(kServerUnavailable));
            if (strAuthority != nullptr)
                return Lacking(call, "authorities", WBEM_E_INVALID_PARAMETER);
            if (!user.empty())
                return WBEM_E_LOCAL_CREDENTIALS;
            if (Instrumentation().FindNamespace(*space) == nullptr)
                return WBEM_E_INVALID_NAMESPACE;
            *ppNamespace = MakeComObject<Services>(*space);
            call.Out("ppNamespace", *ppNamespace);
            return S_OK;
        });
    }
};

} // namespace

IWbemLocator* MakeWbemLocator()
{
    return MakeComObject<Locator>();
}

} // namespace winsim
