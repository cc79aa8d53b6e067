// Windows Management Instrumentation (WMI), for the simulated machine. The interfaces have their documented methods in
// their documented order; a method that the program does not call is only a placeholder.
#pragma once

#include "objbase.h"
#include "oleauto.h"

struct IWbemCallResult;
struct IWbemContext;

using CIMTYPE = LONG;

struct IWbemClassObject : IUnknown
{
    virtual HRESULT GetQualifierSet() { return E_NOTIMPL; }
    virtual HRESULT Get() { return E_NOTIMPL; }
    virtual HRESULT Put(LPCWSTR wszName, LONG lFlags, VARIANT* pVal, CIMTYPE Type) = 0;
    virtual HRESULT Delete() { return E_NOTIMPL; }
    virtual HRESULT GetNames() { return E_NOTIMPL; }
    virtual HRESULT BeginEnumeration() { return E_NOTIMPL; }
    virtual HRESULT Next() { return E_NOTIMPL; }
    virtual HRESULT EndEnumeration() { return E_NOTIMPL; }
    virtual HRESULT GetPropertyQualifierSet() { return E_NOTIMPL; }
    virtual HRESULT Clone() { return E_NOTIMPL; }
    virtual HRESULT GetObjectText() { return E_NOTIMPL; }
    virtual HRESULT SpawnDerivedClass() { return E_NOTIMPL; }
    virtual HRESULT SpawnInstance(LONG lFlags, IWbemClassObject** ppNewInstance) = 0;
    virtual HRESULT CompareTo() { return E_NOTIMPL; }
    virtual HRESULT GetPropertyOrigin() { return E_NOTIMPL; }
    virtual HRESULT InheritsFrom() { return E_NOTIMPL; }
    virtual HRESULT GetMethod(LPCWSTR wszName, LONG lFlags, IWbemClassObject** ppInSignature,
                              IWbemClassObject** ppOutSignature) = 0;
    virtual HRESULT PutMethod() { return E_NOTIMPL; }
    virtual HRESULT DeleteMethod() { return E_NOTIMPL; }
    virtual HRESULT BeginMethodEnumeration() { return E_NOTIMPL; }
    virtual HRESULT NextMethod() { return E_NOTIMPL; }
    virtual HRESULT EndMethodEnumeration() { return E_NOTIMPL; }
    virtual HRESULT GetMethodQualifierSet() { return E_NOTIMPL; }
    virtual HRESULT GetMethodOrigin() { return E_NOTIMPL; }

protected:
    ~IWbemClassObject() = default;
};

struct IWbemServices : IUnknown
{
    virtual HRESULT OpenNamespace() { return E_NOTIMPL; }
    virtual HRESULT CancelAsyncCall() { return E_NOTIMPL; }
    virtual HRESULT QueryObjectSink() { return E_NOTIMPL; }
    virtual HRESULT GetObject(const BSTR strObjectPath, LONG lFlags, IWbemContext* pCtx, IWbemClassObject** ppObject,
                              IWbemCallResult** ppCallResult) = 0;
    virtual HRESULT GetObjectAsync() { return E_NOTIMPL; }
    virtual HRESULT PutClass() { return E_NOTIMPL; }
    virtual HRESULT PutClassAsync() { return E_NOTIMPL; }
    virtual HRESULT DeleteClass() { return E_NOTIMPL; }
    virtual HRESULT DeleteClassAsync() { return E_NOTIMPL; }
    virtual HRESULT CreateClassEnum() { return E_NOTIMPL; }
    virtual HRESULT CreateClassEnumAsync() { return E_NOTIMPL; }
    virtual HRESULT PutInstance() { return E_NOTIMPL; }
    virtual HRESULT PutInstanceAsync() { return E_NOTIMPL; }
    virtual HRESULT DeleteInstance() { return E_NOTIMPL; }
    virtual HRESULT DeleteInstanceAsync() { return E_NOTIMPL; }
    virtual HRESULT CreateInstanceEnum() { return E_NOTIMPL; }
    virtual HRESULT CreateInstanceEnumAsync() { return E_NOTIMPL; }
    virtual HRESULT ExecQuery() { return E_NOTIMPL; }
    virtual HRESULT ExecQueryAsync() { return E_NOTIMPL; }
    virtual HRESULT ExecNotificationQuery() { return E_NOTIMPL; }
    virtual HRESULT ExecNotificationQueryAsync() { return E_NOTIMPL; }
    virtual HRESULT ExecMethod(const BSTR strObjectPath, const BSTR strMethodName, LONG lFlags, IWbemContext* pCtx,
                               IWbemClassObject* pInParams, IWbemClassObject** ppOutParams,
                               IWbemCallResult** ppCallResult) = 0;
    virtual HRESULT ExecMethodAsync() { return E_NOTIMPL; }

protected:
    ~IWbemServices() = default;
};

struct IWbemLocator : IUnknown
{
    virtual HRESULT ConnectServer(const BSTR strNetworkResource, const BSTR strUser, const BSTR strPassword,
                                  const BSTR strLocale, LONG lSecurityFlags, const BSTR strAuthority,
                                  IWbemContext* pCtx, IWbemServices** ppNamespace) = 0;

protected:
    ~IWbemLocator() = default;
};

inline constexpr HRESULT WBEM_E_NOT_FOUND = static_cast<HRESULT>(0x80041002);
inline constexpr HRESULT WBEM_E_ACCESS_DENIED = static_cast<HRESULT>(0x80041003);
inline constexpr HRESULT WBEM_E_TYPE_MISMATCH = static_cast<HRESULT>(0x80041005);
inline constexpr HRESULT WBEM_E_INVALID_PARAMETER = static_cast<HRESULT>(0x80041008);
inline constexpr HRESULT WBEM_E_INVALID_NAMESPACE = static_cast<HRESULT>(0x8004100E);
inline constexpr HRESULT WBEM_E_PROVIDER_LOAD_FAILURE = static_cast<HRESULT>(0x80041013);
inline constexpr HRESULT WBEM_E_INVALID_OPERATION = static_cast<HRESULT>(0x80041016);
inline constexpr HRESULT WBEM_E_INVALID_METHOD = static_cast<HRESULT>(0x8004102E);
inline constexpr HRESULT WBEM_E_INVALID_METHOD_PARAMETERS = static_cast<HRESULT>(0x8004102F);
inline constexpr HRESULT WBEM_E_INVALID_OBJECT_PATH = static_cast<HRESULT>(0x8004103A);
inline constexpr HRESULT WBEM_E_LOCAL_CREDENTIALS = static_cast<HRESULT>(0x80041064);

inline constexpr LONG WBEM_FLAG_CONNECT_USE_MAX_WAIT = 0x80;
inline constexpr LONG WBEM_FLAG_USE_AMENDED_QUALIFIERS = 0x20000;
