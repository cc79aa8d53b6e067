// The platform module's functions, for tests.
#include "platform/text.h"
#include "platform/windows_version.h"
#include "tests/unit/calls/modules.h"

namespace
{

constexpr TestCall kCalls[] = {
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
