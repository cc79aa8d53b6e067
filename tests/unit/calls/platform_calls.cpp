// The platform module's functions, for tests.
#include "platform/processes.h"
#include "platform/product_registry.h"
#include "platform/service_binary_path.h"
#include "platform/service_control.h"
#include "tests/unit/calls/modules.h"
#include "windows/unique_handle.h"

namespace
{

// The directory, or "(none)" and then the content of the output parameter.
std::string ServiceBinaryPath(const CallArguments& arguments)
{
    std::wstring directory = L"(untouched)";
    const bool found = GetServiceBinaryPath(arguments.Wide(0).c_str(), directory);
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
    {"FindProcessByName",
     [](const CallArguments& a) { return ResultText(static_cast<bool>(FindProcessByName(a.Text(0).c_str()))); }},
    {"GetServiceBinaryPath", &ServiceBinaryPath},
    {"IsServiceRunning", [](const CallArguments& a) { return ResultText(IsServiceRunning(a.Wide(0).c_str())); }},
    {"KillProcessByName", [](const CallArguments& a) { return ResultText(KillProcessByName(a.Text(0).c_str())); }},
    {"ReadDword", &DwordText},
    {"RestartServiceByName",
     [](const CallArguments& a) { return ResultText(RestartServiceByName(a.Wide(0).c_str())); }},
    {"StartServiceByName", [](const CallArguments& a) { return ResultText(StartServiceByName(a.Wide(0).c_str())); }},
    {"StopServiceByName", [](const CallArguments& a) { return ResultText(StopServiceByName(a.Wide(0).c_str())); }},
};

} // namespace

std::span<const TestCall> PlatformCalls()
{
    return kCalls;
}
