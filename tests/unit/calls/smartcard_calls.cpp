// The smart-card module's functions, for tests.
#include "smartcard/tpm_smart_card.h"
#include "tests/unit/calls/modules.h"

namespace
{

constexpr TestCall kCalls[] = {
    {"IsWOW64Process", [](const CallArguments&) { return ResultText(CTPMSmartCard::IsWOW64Process()); }},
    {"IsVistaOrLater", [](const CallArguments&) { return ResultText(CTPMSmartCard::IsVistaOrLater()); }},
    {"IsSupportedConfiguration",
     [](const CallArguments& a) { return ResultText(CTPMSmartCard::IsSupportedConfiguration(a.Flag(0))); }},
};

} // namespace

std::span<const TestCall> SmartcardCalls()
{
    return kCalls;
}
