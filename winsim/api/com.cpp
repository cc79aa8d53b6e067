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
    // A scope leaves the apartment whether or not it could enter it: both are counted.
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
