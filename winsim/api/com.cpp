// COM apartments.
#include "winsim/core/gate.h"
#include "winsim/core/simulation.h"

#include "objbase.h"

using winsim::Call;
using winsim::Simulation;

HRESULT WINAPI CoInitializeEx(LPVOID pvReserved, DWORD dwCoInit)
{
    Call call{"CoInitializeEx"};
    call.In("pvReserved", pvReserved).In("dwCoInit", dwCoInit);
    Simulation& simulation = Simulation::Current();
    const bool isMultithreaded = (dwCoInit & COINIT_APARTMENTTHREADED) == 0;
    if (simulation.comApartments == 0)
        simulation.isComMultithreaded = isMultithreaded;
    else if (simulation.isComMultithreaded != isMultithreaded)
        return call.Status(static_cast<std::uint32_t>(RPC_E_CHANGED_MODE));
    // A scope leaves the apartment whether or not the plan let it enter: both are counted.
    ++simulation.comApartments;
    if (const auto fault = call.Fault())
        return call.Status(*fault);
    return call.Status(static_cast<std::uint32_t>(simulation.comApartments == 1 ? S_OK : S_FALSE));
}

void WINAPI CoUninitialize()
{
    Call call{"CoUninitialize"};
    --Simulation::Current().comApartments;
}
