// The platform module's functions, for tests.
#include "platform/com_initializer.h"
#include "platform/product_registry.h"
#include "platform/text.h"
#include "platform/unique_handle.h"
#include "platform/windows_version.h"
#include "tests/unit/calls/modules.h"

namespace
{

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
    {"ReadDword", &DwordText},
    {"GetWindowsMajorVersion", [](const CallArguments&) { return ResultText(GetWindowsMajorVersion()); }},
    {"IsWindowsVersionAtLeast",
     [](const CallArguments& a) {
         return ResultText(IsWindowsVersionAtLeast(static_cast<DWORD>(a.Number(0)), static_cast<DWORD>(a.Number(1))));
     }},
    {"ToNarrow", [](const CallArguments& a) { return ResultText(ToNarrow(a.Wide(0))); }},
    {"ToWide", [](const CallArguments& a) { return ResultText(ToWide(a.Text(0))); }},
};

} // namespace

std::span<const TestCall> PlatformCalls()
{
    return kCalls;
}
