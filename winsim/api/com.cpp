// COM: apartments, new objects and proxies.
#include "winsim/api/com_object.h"
#include "winsim/api/wmi_locator.h"

#include <fmt/format.h>

#include <algorithm>

using winsim::Call;
using winsim::Simulation;

namespace
{

struct ComClass
{
    CLSID id;
    IID interface;
    IUnknown* (*make)();
};

IUnknown* MakeLocator()
{
    return winsim::MakeWbemLocator();
}

constexpr ComClass kClasses[] = {
    // WbemLocator
    {{0x4590F811, 0x1D3A, 0x11D0, {0x89, 0x1F, 0x00, 0xAA, 0x00, 0x4B, 0x2E, 0x24}},
     winsim::kWbemLocator,
     &MakeLocator},
    // The administrative locator, a second class that makes locators.
    {{0xCB8555CC, 0x9128, 0x11D1, {0xAD, 0x9B, 0x00, 0xC0, 0x4F, 0xD8, 0xFD, 0xFF}},
     winsim::kWbemLocator,
     &MakeLocator},
};

constexpr DWORD kApartmentFlags = COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE | COINIT_SPEED_OVER_MEMORY;

const ComClass* FindClass(REFCLSID id)
{
    const auto found = std::ranges::find(kClasses, id, &ComClass::id);
    return found == std::end(kClasses) ? nullptr : &*found;
}

std::string TextOf(const GUID& id)
{
    return fmt::format("{{{:08X}-{:04X}-{:04X}-{:02X}{:02X}-{:02X}}}", id.Data1, id.Data2, id.Data3, id.Data4[0],
                       id.Data4[1], fmt::join(id.Data4 + 2, id.Data4 + 8, ""));
}

bool IsSuccess(std::uint32_t result)
{
    return static_cast<HRESULT>(result) >= 0;
}

bool IsInApartment()
{
    const auto& apartments = Simulation::Current().comApartments;
    return std::ranges::find(apartments, true) != apartments.end();
}

} // namespace

std::optional<std::uint32_t> winsim::ComFailure(const Call& call, const void* object)
{
    if (const auto fault = call.Fault())
        return fault;
    Simulation& simulation = Simulation::Current();
    if (object != nullptr && call.Find<HeldComObject>(object) == nullptr)
        return static_cast<std::uint32_t>(E_UNEXPECTED);
    if (!IsInApartment())
        return static_cast<std::uint32_t>(CO_E_NOTINITIALIZED);
    const auto& failures = simulation.machine.wmi.failures;
    const auto failure = failures.find(call.Name());
    return failure == failures.end() ? std::optional<std::uint32_t>() : failure->second;
}

HRESULT WINAPI CoInitializeEx(LPVOID pvReserved, DWORD dwCoInit)
{
    Call call{__func__};
    call.In("pvReserved", pvReserved).In("dwCoInit", dwCoInit);
    Simulation& simulation = Simulation::Current();
    if (pvReserved != nullptr || (dwCoInit & ~kApartmentFlags) != 0)
        return call.Status(static_cast<std::uint32_t>(E_INVALIDARG));
    const bool wasInApartment = IsInApartment();
    const bool isMultithreaded = (dwCoInit & COINIT_APARTMENTTHREADED) == 0;
    if (!wasInApartment)
        simulation.isComMultithreaded = isMultithreaded;
    else if (simulation.isComMultithreaded != isMultithreaded)
        return call.Status(static_cast<std::uint32_t>(RPC_E_CHANGED_MODE));
    const auto fault = call.Fault();
    // Each call adds an entry, even after a planned failure, because the program then calls CoUninitialize as well. A
    // planned S_FALSE or RPC_E_CHANGED_MODE means that the thread is in an apartment.
    simulation.comApartments.push_back(!fault || IsSuccess(*fault) ||
                                       *fault == static_cast<std::uint32_t>(RPC_E_CHANGED_MODE));
    if (fault)
        return call.Status(*fault);
    return call.Status(static_cast<std::uint32_t>(wasInApartment ? S_FALSE : S_OK));
}

void WINAPI CoUninitialize()
{
    Call call{__func__};
    Simulation& simulation = Simulation::Current();
    if (simulation.comApartments.empty())
        return simulation.handles.NoteViolation("CoUninitialize: there is no apartment to leave");
    simulation.comApartments.pop_back();
    if (!IsInApartment() && simulation.handles.HasOpen<winsim::HeldComObject>())
        simulation.handles.NoteViolation("CoUninitialize: COM objects are still held");
}

HRESULT WINAPI CoCreateInstance(REFCLSID rclsid, LPUNKNOWN pUnkOuter, DWORD dwClsContext, REFIID riid, LPVOID* ppv)
{
    Call call{__func__};
    call.In("rclsid", TextOf(rclsid))
        .In("pUnkOuter", pUnkOuter)
        .In("dwClsContext", dwClsContext)
        .In("riid", TextOf(riid));
    if (ppv == nullptr)
        return call.Status(static_cast<std::uint32_t>(E_POINTER));
    *ppv = nullptr;
    return winsim::ComStatusOf(call, nullptr, [&] {
        const ComClass* known = FindClass(rclsid);
        if (known == nullptr)
            call.NotSimulated("the class " + TextOf(rclsid));
        if (known == nullptr || (dwClsContext & CLSCTX_INPROC_SERVER) == 0)
            return REGDB_E_CLASSNOTREG;
        if (pUnkOuter != nullptr)
            return CLASS_E_NOAGGREGATION;
        if (riid != known->interface && riid != IID_IUnknown)
            return E_NOINTERFACE;
        *ppv = known->make();
        call.Out("ppv", *ppv);
        return S_OK;
    });
}

HRESULT WINAPI CoSetProxyBlanket(IUnknown* pProxy, DWORD dwAuthnSvc, DWORD dwAuthzSvc, LPWSTR pServerPrincName,
                                 DWORD dwAuthnLevel, DWORD dwImpLevel, RPC_AUTH_IDENTITY_HANDLE pAuthInfo,
                                 DWORD dwCapabilities)
{
    Call call{__func__};
    call.In("pProxy", pProxy)
        .In("dwAuthnSvc", dwAuthnSvc)
        .In("dwAuthzSvc", dwAuthzSvc)
        .In("pServerPrincName", pServerPrincName)
        .In("dwAuthnLevel", dwAuthnLevel)
        .In("dwImpLevel", dwImpLevel)
        .In("pAuthInfo", pAuthInfo)
        .In("dwCapabilities", dwCapabilities);
    return winsim::ComStatusOf(call, pProxy, [&] {
        if (pProxy == nullptr || dwAuthnLevel > RPC_C_AUTHN_LEVEL_PKT_PRIVACY || dwImpLevel > RPC_C_IMP_LEVEL_DELEGATE)
            return E_INVALIDARG;
        auto* proxy = dynamic_cast<winsim::ComProxy*>(pProxy);
        if (proxy == nullptr)
            return E_NOINTERFACE;
        if (dwAuthnLevel == RPC_C_AUTHN_LEVEL_NONE || pAuthInfo != nullptr)
            return HRESULT_FROM_WIN32(call.NotSimulated("calls without authentication, or in another user's name"));
        proxy->SetImpersonation(dwImpLevel);
        return S_OK;
    });
}
