// Proves that COM's objects, and those through which WMI is reached, behave as Windows documents them. The class of the
// registry, StdRegProv, is in every WMI.
#include "tests/winsim/support.h"

#include <objbase.h>
#include <oleauto.h>
#include <wbemcli.h>

#include <utility>

namespace
{

constexpr CLSID kWbemLocatorClass = {0x4590F811, 0x1D3A, 0x11D0, {0x89, 0x1F, 0x00, 0xAA, 0x00, 0x4B, 0x2E, 0x24}};
constexpr CLSID kAdministrativeLocatorClass = {
    0xCB8555CC, 0x9128, 0x11D1, {0xAD, 0x9B, 0x00, 0xC0, 0x4F, 0xD8, 0xFD, 0xFF}};
constexpr IID kWbemLocator = {0xDC12A687, 0x737F, 0x11CF, {0x88, 0x4D, 0x00, 0xAA, 0x00, 0x4B, 0x2E, 0x24}};
constexpr IID kWbemServices = {0x9556DC99, 0x828C, 0x11CF, {0xA3, 0x7E, 0x00, 0xAA, 0x00, 0x32, 0x40, 0xC7}};
constexpr IID kUnknown = {0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

// Some headers have them unsigned.
constexpr HRESULT kInvalidNamespace = static_cast<HRESULT>(WBEM_E_INVALID_NAMESPACE);
constexpr HRESULT kInvalidParameter = static_cast<HRESULT>(WBEM_E_INVALID_PARAMETER);
constexpr HRESULT kLocalCredentials = static_cast<HRESULT>(WBEM_E_LOCAL_CREDENTIALS);
constexpr HRESULT kNotFound = static_cast<HRESULT>(WBEM_E_NOT_FOUND);
constexpr HRESULT kInvalidObjectPath = static_cast<HRESULT>(WBEM_E_INVALID_OBJECT_PATH);

constexpr char kUnchecked[] = "Wine does not check this parameter";

class Apartment
{
public:
    Apartment() { EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK); }
    ~Apartment() { CoUninitialize(); }
    Apartment(const Apartment&) = delete;
    Apartment& operator=(const Apartment&) = delete;
};

class Text
{
public:
    explicit Text(const wchar_t* text) : m_text(SysAllocString(text)) {}
    ~Text() { SysFreeString(m_text); }
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;

    BSTR Get() const { return m_text; }

private:
    BSTR m_text;
};

// An object that a call returned, released by the destructor.
template <typename Interface>
class Object
{
public:
    Object() = default;
    ~Object()
    {
        if (m_object != nullptr)
            m_object->Release();
    }
    Object(Object&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    Object& operator=(Object&&) = delete;

    Interface* Get() const { return m_object; }
    Interface* operator->() const { return m_object; }
    Interface** Place() { return &m_object; }

private:
    Interface* m_object = nullptr;
};

template <typename Interface>
void** PlaceOf(Object<Interface>& object)
{
    return reinterpret_cast<void**>(object.Place());
}

Object<IWbemLocator> Locator()
{
    Object<IWbemLocator> locator;
    EXPECT_EQ(CoCreateInstance(kWbemLocatorClass, nullptr, CLSCTX_INPROC_SERVER, kWbemLocator, PlaceOf(locator)), S_OK);
    return locator;
}

HRESULT Connect(const Object<IWbemLocator>& locator, const wchar_t* space, Object<IWbemServices>& services)
{
    const Text path{space};
    return locator->ConnectServer(path.Get(), nullptr, nullptr, nullptr, 0, nullptr, nullptr, services.Place());
}

HRESULT SetBlanket(IUnknown* proxy, DWORD impersonation)
{
    return CoSetProxyBlanket(proxy, RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr, RPC_C_AUTHN_LEVEL_CALL, impersonation,
                             nullptr, EOAC_NONE);
}

// The namespace that has the registry's class.
Object<IWbemServices> Services()
{
    Object<IWbemServices> services;
    EXPECT_EQ(Connect(Locator(), L"root\\default", services), S_OK);
    EXPECT_EQ(SetBlanket(services.Get(), RPC_C_IMP_LEVEL_IMPERSONATE), S_OK);
    return services;
}

HRESULT Find(const Object<IWbemServices>& services, const wchar_t* path, Object<IWbemClassObject>& object)
{
    const Text text{path};
    return services->GetObject(text.Get(), 0, nullptr, object.Place(), nullptr);
}

// The input definition of a method of the registry's class.
Object<IWbemClassObject> InputOf(const wchar_t* method)
{
    Object<IWbemClassObject> registry;
    EXPECT_EQ(Find(Services(), L"StdRegProv", registry), S_OK);
    Object<IWbemClassObject> input;
    EXPECT_EQ(registry->GetMethod(method, 0, input.Place(), nullptr), S_OK);
    return input;
}

// ---- Apartments and objects ----

TEST(CoInitializeEx, RefusesWhatIsReserved)
{
    if (IsOnWine())
        GTEST_SKIP() << kUnchecked;
    DWORD reserved = 0;
    EXPECT_EQ(CoInitializeEx(&reserved, COINIT_MULTITHREADED), E_INVALIDARG);
    EXPECT_EQ(CoInitializeEx(nullptr, 0x10), E_INVALIDARG);
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_DISABLE_OLE1DDE | COINIT_SPEED_OVER_MEMORY), S_OK);
    CoUninitialize();
}

TEST(CoCreateInstance, NeedsAnApartment)
{
    void* object = &object;
    EXPECT_EQ(CoCreateInstance(kWbemLocatorClass, nullptr, CLSCTX_INPROC_SERVER, kWbemLocator, &object),
              CO_E_NOTINITIALIZED);
    EXPECT_TRUE(object == nullptr);
}

TEST(CoCreateInstance, MakesALocatorOfEitherClass)
{
    const Apartment apartment;
    for (const CLSID& id : {kWbemLocatorClass, kAdministrativeLocatorClass})
    {
        Object<IWbemLocator> locator;
        EXPECT_EQ(CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, kWbemLocator, PlaceOf(locator)), S_OK);
        EXPECT_TRUE(locator.Get() != nullptr);
    }
}

TEST(CoCreateInstance, GivesTheInterfaceThatEveryObjectHas)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine's locators are made with their own interface alone";
    const Apartment apartment;
    Object<IUnknown> unknown;
    EXPECT_EQ(CoCreateInstance(kWbemLocatorClass, nullptr, CLSCTX_INPROC_SERVER, kUnknown, PlaceOf(unknown)), S_OK);
    EXPECT_TRUE(unknown.Get() != nullptr);
}

TEST(CoCreateInstance, GivesNothingThatTheClassDoesNotHave)
{
    const Apartment apartment;
    void* object = &object;
    EXPECT_EQ(CoCreateInstance(kWbemLocatorClass, nullptr, CLSCTX_INPROC_SERVER, kWbemServices, &object),
              E_NOINTERFACE);
    EXPECT_TRUE(object == nullptr);
    object = &object;
    EXPECT_EQ(CoCreateInstance(kWbemLocatorClass, nullptr, CLSCTX_LOCAL_SERVER, kWbemLocator, &object),
              REGDB_E_CLASSNOTREG);
    EXPECT_TRUE(object == nullptr);
    const Object<IWbemLocator> outer = Locator();
    object = &object;
    EXPECT_EQ(CoCreateInstance(kWbemLocatorClass, outer.Get(), CLSCTX_INPROC_SERVER, kUnknown, &object),
              CLASS_E_NOAGGREGATION);
    EXPECT_TRUE(object == nullptr);
}

TEST(CoCreateInstance, NeedsAPlaceForTheObject)
{
    const Apartment apartment;
    EXPECT_EQ(CoCreateInstance(kWbemLocatorClass, nullptr, CLSCTX_INPROC_SERVER, kWbemLocator, nullptr), E_POINTER);
}

TEST(QueryInterface, FindsAnObjectsOwnInterfaceAndCountsIt)
{
    const Apartment apartment;
    const Object<IWbemLocator> locator = Locator();
    Object<IWbemLocator> again;
    EXPECT_EQ(locator->QueryInterface(kWbemLocator, PlaceOf(again)), S_OK);
    EXPECT_TRUE(again.Get() == locator.Get());
    Object<IUnknown> unknown;
    EXPECT_EQ(locator->QueryInterface(kUnknown, PlaceOf(unknown)), S_OK);
    EXPECT_EQ(locator->AddRef(), 4u);
    EXPECT_EQ(locator->Release(), 3u);

    const Object<IWbemServices> services = Services();
    Object<IWbemServices> same;
    EXPECT_EQ(services->QueryInterface(kWbemServices, PlaceOf(same)), S_OK);
    EXPECT_TRUE(same.Get() != nullptr);
}

TEST(CoSetProxyBlanket, IsForProxiesAlone)
{
    const Apartment apartment;
    const Object<IWbemLocator> locator = Locator();
    EXPECT_EQ(SetBlanket(locator.Get(), RPC_C_IMP_LEVEL_IMPERSONATE), E_NOINTERFACE);
}

TEST(CoSetProxyBlanket, RefusesWhatThereIsNot)
{
    if (IsOnWine())
        GTEST_SKIP() << kUnchecked;
    const Apartment apartment;
    const Object<IWbemServices> services = Services();
    EXPECT_EQ(SetBlanket(nullptr, RPC_C_IMP_LEVEL_IMPERSONATE), E_INVALIDARG);
    EXPECT_EQ(SetBlanket(services.Get(), RPC_C_IMP_LEVEL_DELEGATE + 1), E_INVALIDARG);
}

// ---- Namespaces ----

TEST(ConnectServer, TakesTheLocalNamespacesInTheirForms)
{
    const Apartment apartment;
    const Object<IWbemLocator> locator = Locator();
    for (const wchar_t* space : {L"root\\default", L"ROOT\\DEFAULT", L"root/default", L"\\\\.\\root\\default",
                                 L"//./root/default", L"\\\\./root\\default"})
    {
        Object<IWbemServices> services;
        EXPECT_EQ(Connect(locator, space, services), S_OK) << Shown(space);
        EXPECT_TRUE(services.Get() != nullptr) << Shown(space);
    }
    for (const wchar_t* space : {L"", L"\\", L"none", L"root\\none", L"\\\\root", L"\\root"})
    {
        Object<IWbemServices> services;
        EXPECT_EQ(Connect(locator, space, services), kInvalidNamespace) << Shown(space);
        EXPECT_TRUE(services.Get() == nullptr) << Shown(space);
    }
    Object<IWbemServices> services;
    EXPECT_EQ(Connect(locator, L"\\\\\\.\\root", services), kInvalidParameter);
}

TEST(ConnectServer, RefusesMissingNamesPlacesAndFlags)
{
    if (IsOnWine())
        GTEST_SKIP() << kUnchecked;
    const Apartment apartment;
    const Object<IWbemLocator> locator = Locator();
    const Text space{L"root\\default"};
    Object<IWbemServices> services;
    EXPECT_EQ(locator->ConnectServer(nullptr, nullptr, nullptr, nullptr, 0, nullptr, nullptr, services.Place()),
              kInvalidParameter);
    EXPECT_EQ(locator->ConnectServer(space.Get(), nullptr, nullptr, nullptr, 0, nullptr, nullptr, nullptr),
              kInvalidParameter);
    EXPECT_EQ(locator->ConnectServer(space.Get(), nullptr, nullptr, nullptr, 1, nullptr, nullptr, services.Place()),
              kInvalidParameter);
}

TEST(ConnectServer, TakesNoUserOnTheMachineItself)
{
    if (IsOnWine())
        GTEST_SKIP() << kUnchecked;
    const Apartment apartment;
    const Object<IWbemLocator> locator = Locator();
    const Text space{L"root\\default"};
    const Text user{L"Administrator"};
    Object<IWbemServices> services;
    EXPECT_EQ(
        locator->ConnectServer(space.Get(), user.Get(), user.Get(), nullptr, 0, nullptr, nullptr, services.Place()),
        kLocalCredentials);
}

// ---- Classes and methods ----

TEST(WmiObject, FindsAClassByItsNameInAnyCase)
{
    const Apartment apartment;
    const Object<IWbemServices> services = Services();
    for (const wchar_t* name : {L"StdRegProv", L"STDREGPROV"})
    {
        Object<IWbemClassObject> object;
        EXPECT_EQ(Find(services, name, object), S_OK) << Shown(name);
        EXPECT_TRUE(object.Get() != nullptr) << Shown(name);
    }
}

TEST(WmiObject, FindsNoUnknownClass)
{
    const Apartment apartment;
    Object<IWbemClassObject> object;
    EXPECT_EQ(Find(Services(), L"KeloUnknown", object), kNotFound);
    EXPECT_TRUE(object.Get() == nullptr);
}

TEST(WmiObject, FindsNoInstanceOfAnUnknownClass)
{
    if (IsOnWine())
        GTEST_SKIP() << "Wine finds no query in the path";
    const Apartment apartment;
    Object<IWbemClassObject> object;
    EXPECT_EQ(Find(Services(), L"KeloUnknown=@", object), kNotFound);
    EXPECT_TRUE(object.Get() == nullptr);
}

TEST(WmiObject, RefusesAPathWithoutAClass)
{
    if (IsOnWine())
        GTEST_SKIP() << kUnchecked;
    const Apartment apartment;
    Object<IWbemClassObject> object;
    EXPECT_EQ(Find(Services(), L"=@", object), kInvalidObjectPath);
}

TEST(WmiMethod, ItsInputTakesItsParametersAlone)
{
    const Apartment apartment;
    Object<IWbemClassObject> instance;
    EXPECT_EQ(InputOf(L"EnumKey")->SpawnInstance(0, instance.Place()), S_OK);
    VARIANT root{};
    root.vt = VT_I4;
    root.lVal = static_cast<LONG>(0x80000002);
    VARIANT key{};
    key.vt = VT_BSTR;
    key.bstrVal = SysAllocString(L"SOFTWARE");
    EXPECT_EQ(instance->Put(L"hDefKey", 0, &root, 0), S_OK);
    EXPECT_EQ(instance->Put(L"ssubkeyname", 0, &key, 0), S_OK);
    if (!IsOnWine()) // which says that there is no such query
    {
        EXPECT_EQ(instance->Put(L"unknown", 0, &key, 0), kNotFound);
    }
    EXPECT_EQ(VariantClear(&root), S_OK);
    EXPECT_EQ(VariantClear(&key), S_OK);
}

TEST(WmiMethod, MissingNamesPlacesAndReservedFlagsAreRefused)
{
    if (IsOnWine())
        GTEST_SKIP() << kUnchecked;
    const Apartment apartment;
    const Object<IWbemServices> services = Services();
    Object<IWbemClassObject> registry;
    ASSERT_EQ(Find(services, L"StdRegProv", registry), S_OK);
    Object<IWbemClassObject> made;
    EXPECT_EQ(registry->GetMethod(nullptr, 0, made.Place(), nullptr), kInvalidParameter);
    EXPECT_EQ(registry->GetMethod(L"EnumKey", 1, made.Place(), nullptr), kInvalidParameter);
    EXPECT_EQ(registry->GetMethod(L"KeloUnknown", 0, made.Place(), nullptr), kNotFound);
    const Object<IWbemClassObject> input = InputOf(L"EnumKey");
    EXPECT_EQ(input->SpawnInstance(0, nullptr), kInvalidParameter);
    EXPECT_EQ(input->SpawnInstance(1, made.Place()), kInvalidParameter);
    EXPECT_EQ(services->GetObject(nullptr, 0, nullptr, nullptr, nullptr), kInvalidParameter);
    const Text name{L"EnumKey"};
    EXPECT_EQ(services->ExecMethod(nullptr, name.Get(), 0, nullptr, nullptr, nullptr, nullptr), kInvalidParameter);
    EXPECT_EQ(services->ExecMethod(name.Get(), nullptr, 0, nullptr, nullptr, nullptr, nullptr), kInvalidParameter);
}

} // namespace
