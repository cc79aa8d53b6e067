// The registration of the key storage providers and the pass-through provider, for tests.
#include "providers/ksp_registration.h"
#include "providers/passthrough_csp.h"
#include "tests/unit/calls/modules.h"

namespace
{

template <DWORD (CKspRegistration::*Operation)() const>
std::string CallOperation(const CallArguments&)
{
    return ResultText((CKspRegistration().*Operation)());
}

constexpr TestCall kCalls[] = {
    {"RegisterKsps", &CallOperation<&CKspRegistration::RegisterKsps>},
    {"UnregisterKsps", &CallOperation<&CKspRegistration::UnregisterKsps>},
    {"RegisterTcgKsp", &CallOperation<&CKspRegistration::RegisterTcgKsp>},
    {"RegisterStrongAuthKsp", &CallOperation<&CKspRegistration::RegisterStrongAuthKsp>},
    {"UnregisterTcgKsp", &CallOperation<&CKspRegistration::UnregisterTcgKsp>},
    {"UnregisterStrongAuthKsp", &CallOperation<&CKspRegistration::UnregisterStrongAuthKsp>},
    {"SetPassthroughCsp", [](const CallArguments& a) { return ResultText(SetPassthroughCsp(a.Number(0))); }},
    {"SelectPassthroughCsp", [](const CallArguments&) { return ResultText(SelectPassthroughCsp()); }},
};

} // namespace

std::span<const TestCall> ProviderCalls()
{
    return kCalls;
}
