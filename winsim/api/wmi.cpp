// WMI: a locator connects to the services of a namespace, which return its classes and call their methods.
#include "winsim/machine/wmi.h"

#include "winsim/api/bstr.h"
#include "winsim/api/com_object.h"
#include "winsim/api/wmi_locator.h"
#include "winsim/machine/effects.h"

#include <map>

namespace winsim
{

namespace
{

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

class ClassObject final : public ComObject<IWbemClassObject>
{
public:
    explicit ClassObject(Subject subject) : ComObject("IWbemClassObject"), m_subject(std::move(subject)) {}

    HRESULT Put(LPCWSTR wszName, LONG lFlags, VARIANT* pVal, CIMTYPE Type) override
    {
        Call call{"IWbemClassObject::Put"};
        call.In("this", Self()).In("wszName", wszName).In("lFlags", lFlags).In("pVal", Noted(pVal)).In("Type", Type);
        // The process has to clear each variant that it passed to a call.
        HandleTable& handles = Simulation::Current().handles;
        if (pVal != nullptr && !handles.IsOpen<HeldVariant>(pVal))
            handles.Hold<HeldVariant>(pVal);
        return ComStatusOf(call, Self(), [&] {
            if (wszName == nullptr || pVal == nullptr)
                return WBEM_E_INVALID_PARAMETER;
            const std::string name = Utf8(wszName);
            const WmiMethod* method = FindMethod(m_subject, m_subject.method);
            if (method == nullptr || !method->parameters.contains(name))
                return WBEM_E_NOT_FOUND;
            if (method->parameters.at(name) != pVal->vt)
                return WBEM_E_TYPE_MISMATCH;
            m_values[name] = Noted(pVal);
            return S_OK;
        });
    }

    HRESULT SpawnInstance(LONG lFlags, IWbemClassObject** ppNewInstance) override
    {
        Call call{"IWbemClassObject::SpawnInstance"};
        call.In("this", Self()).In("lFlags", lFlags);
        *ppNewInstance = nullptr;
        return ComStatusOf(call, Self(), [&] {
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
            if (wszName == nullptr || m_subject.isInstance || !m_subject.method.empty())
                return WBEM_E_INVALID_PARAMETER;
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
    explicit Services(std::string space) : ComObject("IWbemServices"), m_space(std::move(space)) {}

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
        *ppObject = nullptr;
        return StatusOf(call, [&] {
            if (Instrumentation().FindClass(m_space, path) == nullptr)
                return WBEM_E_NOT_FOUND;
            *ppObject = MakeComObject<ClassObject>(Subject{m_space, path, ""});
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
            const WmiClass* one = Instrumentation().FindInstance(m_space, path);
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
    Locator() : ComObject("IWbemLocator") {}

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
        const std::string path = TextOf(call, strNetworkResource);
        *ppNamespace = nullptr;
        return ComStatusOf(call, Self(), [&] {
            if (Instrumentation().FindNamespace(path) == nullptr)
                return WBEM_E_INVALID_NAMESPACE;
            *ppNamespace = MakeComObject<Services>(path);
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
