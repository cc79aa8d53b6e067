// The smart-card module's functions, for tests.
#include "smartcard/minidriver.h"
#include "smartcard/tpm_smart_card.h"
#include "tests/unit/calls/modules.h"

namespace
{

// An operation of a new object. Argument: the install location, "(null)" for none.
template <int (CTPMSmartCard::*Operation)(const wchar_t*) const>
std::string CallWithLocation(const CallArguments& arguments)
{
    const std::wstring location = arguments.Wide(0);
    const CTPMSmartCard smartCard;
    return ResultText((smartCard.*Operation)(location == L"(null)" ? nullptr : location.c_str()));
}

// An operation of the 32-bit build's minidriver. Arguments: the install location, whether the reader is there.
template <int (*Operation)(const CardDriver&, const wchar_t*, bool)>
std::string CallFor32Bits(const CallArguments& arguments)
{
    return ResultText(Operation(MiniDriver(false), arguments.Wide(0).c_str(), arguments.Flag(1)));
}

std::string InstallPath(const CallArguments&)
{
    std::wstring path = L"(untouched)";
    const bool found = CTPMSmartCard::GetInstallPath(path);
    return ResultText(found) + " " + ResultText(path);
}

constexpr TestCall kCalls[] = {
    {"IsWOW64Process", [](const CallArguments&) { return ResultText(CTPMSmartCard::IsWOW64Process()); }},
    {"IsVistaOrLater", [](const CallArguments&) { return ResultText(CTPMSmartCard::IsVistaOrLater()); }},
    {"IsSupportedConfiguration",
     [](const CallArguments& a) { return ResultText(CTPMSmartCard::IsSupportedConfiguration(a.Flag(0))); }},
    {"IsKlSCardInstalled", [](const CallArguments&) { return ResultText(CTPMSmartCard::IsKlSCardInstalled()); }},
    {"ConfigureSmartCardService",
     [](const CallArguments&) { return ResultText(CTPMSmartCard::ConfigureSmartCardService()); }},
    {"ConfigureCertPropService",
     [](const CallArguments&) { return ResultText(CTPMSmartCard::ConfigureCertPropService()); }},
    {"RunDriverStager",
     [](const CallArguments& a) { return ResultText(CTPMSmartCard::RunDriverStager(a.Wide(0), a.Wide(1))); }},
    {"GetInstallPath", &InstallPath},
    {"Install", &CallWithLocation<&CTPMSmartCard::Install>},
    {"Uninstall", &CallWithLocation<&CTPMSmartCard::Uninstall>},
    {"InstallMiniDrv", &CallWithLocation<&CTPMSmartCard::InstallMiniDrv>},
    {"UninstallMiniDrv", &CallWithLocation<&CTPMSmartCard::UninstallMiniDrv>},
    {"InstallMiniDrv32", &CallFor32Bits<&InstallDriver>},
    {"UninstallMiniDrv32", &CallFor32Bits<&RemoveDriver>},
};

} // namespace

std::span<const TestCall> SmartcardCalls()
{
    return kCalls;
}
