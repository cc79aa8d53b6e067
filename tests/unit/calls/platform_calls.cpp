// The platform module's functions, for tests.
#include "platform/com_initializer.h"
#include "platform/processes.h"
#include "platform/product_registry.h"
#include "platform/service_binary_path.h"
#include "platform/service_control.h"
#include "platform/text.h"
#include "platform/unique_handle.h"
#include "platform/windows_version.h"
#include "tests/unit/calls/modules.h"

namespace
{

// The directory, or "(none)" and what stands in the output afterwards.
std::string ServiceBinaryPath(const CallArguments& arguments)
{
    std::wstring directory = L"(untouched)";
    const bool found = GetServiceBinaryPath(arguments.Wide(0), directory);
    return found ? ResultText(directory) : "(none) " + ResultText(directory);
}

// A value of the toolkit's common key, as text.
std::string DwordText(const CallArguments& arguments)
{
    UniqueRegistryKey key;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, kCommonKey, 0, KEY_ALL_ACCESS, key.Put()) != ERROR_SUCCESS)
        return "no key";
    const auto value = ReadDword(key.Get(), arguments.Text(0).c_str());
    return value ? ResultText(*value) : "nothing";
}

constexpr TestCall kCalls[] = {
    {"CComInitializer",
     [](const CallArguments&) {
         const CComInitializer com;
         return std::string();
     }},
    {"FindProcessByName",
     [](const CallArguments& a) { return ResultText(static_cast<bool>(FindProcessByName(a.Text(0).c_str()))); }},
    {"GetServiceBinaryPath", &ServiceBinaryPath},
    {"GetWindowsMajorVersion", [](const CallArguments&) { return ResultText(GetWindowsMajorVersion()); }},
    {"IsServiceRunning", [](const CallArguments& a) { return ResultText(IsServiceRunning(a.Wide(0))); }},
    {"IsWindowsVersionAtLeast",
     [](const CallArguments& a) {
         return ResultText(IsWindowsVersionAtLeast(static_cast<DWORD>(a.Number(0)), static_cast<DWORD>(a.Number(1))));
     }},
    {"KillProcessByName", [](const CallArguments& a) { return ResultText(KillProcessByName(a.Text(0).c_str())); }},
    {"ReadDword", &DwordText},
    {"RestartServiceByName", [](const CallArguments& a) { return ResultText(RestartServiceByName(a.Wide(0))); }},
    {"StartServiceByName", [](const CallArguments& a) { return ResultText(StartServiceByName(a.Wide(0))); }},
    {"StopServiceByName", [](const CallArguments& a) { return ResultText(StopServiceByName(a.Wide(0))); }},
    {"ToNarrow", [](const CallArguments& a) { return ResultText(ToNarrow(a.Wide(0))); }},
    {"ToWide", [](const CallArguments& a) { return ResultText(ToWide(a.Text(0))); }},
};

} // namespace

std::span<const TestCall> PlatformCalls()
{
    return kCalls;
}
