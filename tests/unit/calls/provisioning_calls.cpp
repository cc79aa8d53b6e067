// The switch of automatic provisioning, for tests. Each call is made in a COM apartment, as the program's actions do.
#include "tests/unit/calls/modules.h"
#include "tpm/auto_provisioning.h"
#include "tpm/set_auto_provisioning.h"
#include "windows/com_initializer.h"

namespace
{

constexpr TestCall kCalls[] = {
    {"Win8Install",
     [](const CallArguments& a) {
         const CComInitializer com;
         return ResultText(Win8Install(a.Flag(0)));
     }},
    {"Win8Uninstall",
     [](const CallArguments&) {
         const CComInitializer com;
         return ResultText(Win8Uninstall());
     }},
    {"SetAutoProvisioning",
     [](const CallArguments& a) {
         const CComInitializer com;
         return ResultText(SetAutoProvisioning(a.Flag(0)));
     }},
};

} // namespace

std::span<const TestCall> ProvisioningCalls()
{
    return kCalls;
}
