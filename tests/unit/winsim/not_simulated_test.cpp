// Proves that calls say so when they are asked for something that the simulated machine does not simulate.
#include "winsim/process/simulation.h"

#include <gmock/gmock.h>

#include <aclapi.h>
#include <bcrypt.h>
#include <functional>
#include <objbase.h>
#include <oleauto.h>
#include <ostream>
#include <string>
#include <wbemcli.h>
#include <windows.h>
#include <winscard.h>
#include <winsvc.h>

namespace
{

struct NotSimulatedCase
{
    const char* sentence;
    std::function<void()> call;
};

std::ostream& operator<<(std::ostream& stream, const NotSimulatedCase& c)
{
    return stream << c.sentence;
}

void OpenFileNamed(const char16_t* name, DWORD flags = 0)
{
    CreateFileW(name, GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS, flags, nullptr);
}

void Format(DWORD flags, const char* message)
{
    DWORD_PTR inserts[] = {1};
    char text[16];
    FormatMessageA(flags | FORMAT_MESSAGE_ARGUMENT_ARRAY, message, 0, 0, text, sizeof text,
                   reinterpret_cast<va_list*>(inserts));
}

void OpenKey(HKEY key, REGSAM access)
{
    RegOpenKeyExA(key, "Software", 0, access, &key);
}

void Widen(UINT page, DWORD flags)
{
    char16_t text[8];
    MultiByteToWideChar(page, flags, "a", 1, text, 8);
}

void AskForLocale(LCID locale, LCTYPE kind)
{
    char text[16];
    GetLocaleInfoA(locale, kind, text, sizeof text);
}

void ListReaders(const char16_t* groups, DWORD room)
{
    SCARDCONTEXT context = 0;
    SCardEstablishContext(SCARD_SCOPE_USER, nullptr, nullptr, &context);
    char16_t readers[16];
    SCardListReadersW(context, groups, readers, &room);
}

void RegisterProvider()
{
    CRYPT_PROVIDER_REG registration{};
    BCryptRegisterProvider(u"Provider", 0, &registration);
}

void SetPolicy(PROCESS_MITIGATION_POLICY policy, DWORD flags)
{
    SetProcessMitigationPolicy(policy, &flags, sizeof flags);
}

void Verify(DWORD types)
{
    OSVERSIONINFOEXW wanted{};
    VerifyVersionInfoW(&wanted, types, VerSetConditionMask(0, types, VER_EQUAL));
}

void AskForWow64(DWORD processId)
{
    BOOL isWow64 = FALSE;
    IsWow64Process(OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, processId), &isWow64);
}

void Report(DWORD size)
{
    ReportEventW(RegisterEventSourceW(nullptr, u"Source"), 0, 0, 1, nullptr, 0, size, nullptr, &size);
}

// ---- COM ----

constexpr CLSID kLocatorClass = {0x4590F811, 0x1D3A, 0x11D0, {0x89, 0x1F, 0x00, 0xAA, 0x00, 0x4B, 0x2E, 0x24}};
constexpr IID kLocator = {0xDC12A687, 0x737F, 0x11CF, {0x88, 0x4D, 0x00, 0xAA, 0x00, 0x4B, 0x2E, 0x24}};
constexpr char16_t kTpmNamespace[] = u"root\\CIMV2\\Security\\MicrosoftTpm";
constexpr char16_t kTpm[] = u"Win32_Tpm=@";
constexpr char16_t kDisable[] = u"DisableAutoProvisioning";

IWbemLocator* Locator()
{
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    void* locator = nullptr;
    CoCreateInstance(kLocatorClass, nullptr, CLSCTX_INPROC_SERVER, kLocator, &locator);
    return static_cast<IWbemLocator*>(locator);
}

IWbemServices* Connect(const char16_t* space, const char16_t* authority = nullptr)
{
    IWbemServices* services = nullptr;
    Locator()->ConnectServer(SysAllocString(space), nullptr, nullptr, nullptr, 0, SysAllocString(authority), nullptr,
                             &services);
    return services;
}

void SetBlanket(IWbemServices* services, DWORD authentication)
{
    CoSetProxyBlanket(services, RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr, authentication,
                      RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE);
}

IWbemServices* Services()
{
    IWbemServices* services = Connect(kTpmNamespace);
    SetBlanket(services, RPC_C_AUTHN_LEVEL_CALL);
    return services;
}

IWbemClassObject* ObjectAt(const char16_t* path, LONG flags = 0)
{
    IWbemClassObject* object = nullptr;
    Services()->GetObject(SysAllocString(path), flags, nullptr, &object, nullptr);
    return object;
}

IWbemClassObject* InstanceOf(IWbemClassObject* definition)
{
    IWbemClassObject* instance = nullptr;
    definition->SpawnInstance(0, &instance);
    return instance;
}

IWbemClassObject* DefinitionIn(IWbemClassObject* object)
{
    IWbemClassObject* definition = nullptr;
    object->GetMethod(kDisable, 0, &definition, nullptr);
    return definition;
}

void Put(IWbemClassObject* object, VARTYPE type)
{
    VARIANT value{};
    value.vt = type;
    object->Put(u"OnlyForNextBoot", 0, &value, 0);
}

const NotSimulatedCase kCases[] = {
    {"winsim does not simulate the device nul.txt", [] { OpenFileNamed(u"C:\\Windows\\nul.txt"); }},
    {"winsim does not simulate the device COM1", [] { OpenFileNamed(u"COM1"); }},
    {"winsim does not simulate the streams of files", [] { OpenFileNamed(u"C:\\Windows\\file:stream"); }},
    {"winsim does not simulate devices other than drives", [] { OpenFileNamed(u"\\\\.\\pipe\\kelo"); }},
    {"CreateFileW does not simulate these flags, templates, or the security of a new file",
     [] { OpenFileNamed(u"C:\\file", FILE_FLAG_DELETE_ON_CLOSE); }},
    {"MoveFileExW does not simulate a move that makes a link or has to be tracked",
     [] { MoveFileExW(u"C:\\a", u"C:\\b", MOVEFILE_CREATE_HARDLINK); }},
    {"RegOpenKeyExA does not simulate HKEY_CLASSES_ROOT and HKEY_USERS", [] { OpenKey(HKEY_CLASSES_ROOT, KEY_READ); }},
    {"RegOpenKeyExA does not simulate the registry's other view (KEY_WOW64_...)",
     [] { OpenKey(HKEY_LOCAL_MACHINE, KEY_READ | 0x200); }},
    {"FormatMessageA does not simulate the messages of Windows and of libraries",
     [] { Format(FORMAT_MESSAGE_FROM_SYSTEM, nullptr); }},
    {"FormatMessageA does not simulate lines of a limited width",
     [] { Format(FORMAT_MESSAGE_FROM_STRING | 40, "text"); }},
    {"FormatMessageA does not simulate the insert's format \"*d\"",
     [] { Format(FORMAT_MESSAGE_FROM_STRING, "%1!*d!"); }},
    {"MultiByteToWideChar does not simulate this code page", [] { Widen(CP_OEMCP, 0); }},
    {"MultiByteToWideChar does not simulate this code page", [] { Widen(850, 0); }},
    {"MultiByteToWideChar does not simulate composing and decomposing characters", [] { Widen(1252, MB_COMPOSITE); }},
    {"OpenSCManagerW does not simulate the services of other machines",
     [] { OpenSCManagerW(u"\\\\other", nullptr, SC_MANAGER_CONNECT); }},
    {"GetLocaleInfoA does not simulate sort orders", [] { AskForLocale(0x10407, LOCALE_ILANGUAGE); }},
    {"GetLocaleInfoA does not simulate this information about a language", [] { AskForLocale(0x0407, 2); }},
    {"GetLocaleInfoA does not simulate this information about a language",
     [] { AskForLocale(0x0407, LOCALE_ILANGUAGE | LOCALE_RETURN_NUMBER); }},
    {"SCardListReadersW does not simulate readers without a context, groups of readers, or memory for their names",
     [] { ListReaders(u"Group\0", 16); }},
    {"SCardListReadersW does not simulate readers without a context, groups of readers, or memory for their names",
     [] { ListReaders(nullptr, SCARD_AUTOALLOCATE); }},
    {"BCryptRegisterProvider does not simulate a registration without images, or with parts missing",
     [] { RegisterProvider(); }},
    {"SetProcessMitigationPolicy does not simulate policies other than redirection trust",
     [] { SetPolicy(ProcessDEPPolicy, 1); }},
    {"SetProcessMitigationPolicy does not simulate redirection trust that is only audited",
     [] { SetPolicy(ProcessRedirectionTrustPolicy, 2); }},
    {"VerifyVersionInfoW does not simulate suites and types of products", [] { Verify(VER_PRODUCT_TYPE); }},
    {"IsWow64Process does not simulate other processes", [] { AskForWow64(520); }},
    {"RegisterEventSourceW does not simulate the event logs of other machines",
     [] { RegisterEventSourceW(u"\\\\other", u"Source"); }},
    {"ReportEventW does not simulate an event's user and data", [] { Report(4); }},
    {"CoCreateInstance does not simulate the class {DC12A687-737F-11CF-884D-00AA004B2E24}",
     [] {
         void* object = nullptr;
         CoInitializeEx(nullptr, COINIT_MULTITHREADED);
         CoCreateInstance(kLocator, nullptr, CLSCTX_INPROC_SERVER, kLocator, &object);
     }},
    {"IWbemLocator::QueryInterface does not simulate the other interfaces of an object",
     [] {
         void* object = nullptr;
         Locator()->QueryInterface(kLocatorClass, &object);
     }},
    {"CoSetProxyBlanket does not simulate calls without authentication, or in another user's name",
     [] { SetBlanket(Connect(kTpmNamespace), RPC_C_AUTHN_LEVEL_NONE); }},
    {"IWbemLocator::ConnectServer does not simulate the WMI of other machines",
     [] { Connect(u"\\\\other\\root\\CIMV2"); }},
    {"IWbemLocator::ConnectServer does not simulate authorities", [] { Connect(kTpmNamespace, u"NTLMDOMAIN:X"); }},
    {"IWbemServices::GetObject does not simulate the making of a class", [] { ObjectAt(u""); }},
    {"IWbemServices::GetObject does not simulate object paths with a namespace or with the names of keys",
     [] { ObjectAt(u"Win32_Tpm.Key=\"x\""); }},
    {"IWbemServices::GetObject does not simulate these flags, and calls that return before their end",
     [] { ObjectAt(u"Win32_Tpm", 0x10); }},
    {"IWbemServices::ExecMethod does not simulate methods called on a class",
     [] {
         Services()->ExecMethod(SysAllocString(u"Win32_Tpm"), SysAllocString(kDisable), 0, nullptr, nullptr, nullptr,
                                nullptr);
     }},
    {"IWbemClassObject::GetMethod does not simulate the methods of an object that is no class",
     [] { DefinitionIn(ObjectAt(kTpm)); }},
    {"IWbemClassObject::SpawnInstance does not simulate instances made from instances",
     [] { InstanceOf(ObjectAt(kTpm)); }},
    {"IWbemClassObject::Put does not simulate properties other than a method's parameters",
     [] { Put(ObjectAt(kTpm), VT_BOOL); }},
    {"IWbemClassObject::Put does not simulate the conversion of a parameter to its type",
     [] { Put(InstanceOf(DefinitionIn(ObjectAt(u"Win32_Tpm"))), VT_I4); }},
    {"GetNamedSecurityInfoW does not simulate HKEY_CLASSES_ROOT and HKEY_USERS",
     [] {
         PSECURITY_DESCRIPTOR descriptor = nullptr;
         GetNamedSecurityInfoW(u"USERS\\x", SE_REGISTRY_KEY, 0, nullptr, nullptr, nullptr, nullptr, &descriptor);
     }},
};

class EachCallBeyondTheSimulation : public testing::TestWithParam<NotSimulatedCase>
{};

INSTANTIATE_TEST_SUITE_P(Calls, EachCallBeyondTheSimulation, testing::ValuesIn(kCases));

TEST_P(EachCallBeyondTheSimulation, SaysSoOnce)
{
    winsim::Simulation simulation{winsim::Machine::FromJson(winsim::Json::object())};
    GetParam().call();
    EXPECT_NE(simulation.lastError + simulation.gate.records.back().error, 0u);
    GetParam().call();
    EXPECT_THAT(simulation.notSimulated, testing::ElementsAre(GetParam().sentence));
}

TEST(CallBeyondTheSimulation, LeavesTheRegistryOfTheOtherViewToAProcessThatHasIt)
{
    winsim::Simulation simulation{winsim::Machine::FromJson({{"windows", {{"wow64", true}}}})};
    OpenKey(HKEY_LOCAL_MACHINE, KEY_READ | 0x200);
    EXPECT_THAT(simulation.notSimulated, testing::IsEmpty());
}

} // namespace
