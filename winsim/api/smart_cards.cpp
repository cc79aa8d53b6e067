// The smart-card resource manager.
#include "winsim/machine/smart_cards.h"

#include "winscard.h"
#include "winsim/base/text.h"
#include "winsim/process/gate.h"
#include "winsim/process/simulation.h"

#include <algorithm>

using winsim::Call;
using winsim::Simulation;
using winsim::SmartCards;

namespace
{

struct CardContext
{
    static constexpr char kKind[] = "cardContext";
};

const void* HandleOf(SCARDCONTEXT context)
{
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the context is a handle
    return reinterpret_cast<const void*>(context);
}

// Whether a list of groups means all readers: null does, and so does the one group that Windows always has.
bool MeansAllReaders(const WCHAR* groups)
{
    return groups == nullptr || winsim::SameName(winsim::Utf8(groups), "SCard$AllReaders");
}

// The names, each with a zero after it, and another zero at the end. The last `zerosMissing` zeros are left out.
std::u16string MultiString(const std::vector<std::string>& names, std::size_t zerosMissing)
{
    std::u16string list;
    for (const std::string& name : names)
        list += winsim::Utf16(name) + u'\0';
    list += u'\0';
    list.resize(list.size() - std::min(zerosMissing, list.size()));
    return list;
}

} // namespace

LONG WINAPI SCardEstablishContext(DWORD dwScope, LPCVOID pvReserved1, LPCVOID pvReserved2, LPSCARDCONTEXT phContext)
{
    Call call{__func__};
    call.In("dwScope", dwScope).In("pvReserved1", pvReserved1).In("pvReserved2", pvReserved2);
    return call.StatusOf([&]() -> DWORD {
        if (phContext == nullptr)
            return SCARD_E_INVALID_PARAMETER;
        if (dwScope > SCARD_SCOPE_SYSTEM)
            return SCARD_E_INVALID_VALUE;
        Simulation& simulation = Simulation::Current();
        if (simulation.machine.smartCards.managerStatus != 0)
            return simulation.machine.smartCards.managerStatus;
        *phContext = reinterpret_cast<SCARDCONTEXT>(simulation.handles.Open(CardContext{}));
        call.Out("phContext", HandleOf(*phContext));
        return SCARD_S_SUCCESS;
    });
}

LONG WINAPI SCardReleaseContext(SCARDCONTEXT hContext)
{
    Call call{__func__};
    call.In("hContext", HandleOf(hContext));
    return call.StatusOfClosing(
        [&] { return call.Close<CardContext>(HandleOf(hContext)) ? SCARD_S_SUCCESS : SCARD_E_INVALID_HANDLE; });
}

LONG WINAPI SCardListReadersW(SCARDCONTEXT hContext, LPCWSTR mszGroups, LPWSTR mszReaders, LPDWORD pcchReaders)
{
    Call call{__func__};
    call.In("hContext", HandleOf(hContext)).In("mszGroups", mszGroups);
    if (pcchReaders != nullptr)
        call.In("pcchReaders", *pcchReaders);
    return call.StatusOf([&]() -> DWORD {
        Simulation& simulation = Simulation::Current();
        if (pcchReaders == nullptr)
            return SCARD_E_INVALID_PARAMETER;
        if (hContext == 0 || !MeansAllReaders(mszGroups) || *pcchReaders == SCARD_AUTOALLOCATE)
            return call.NotSimulated("readers without a context, groups of readers, or memory for their names");
        if (call.Find<CardContext>(HandleOf(hContext)) == nullptr)
            return SCARD_E_INVALID_HANDLE;
        SmartCards& cards = simulation.machine.smartCards;
        const std::vector<std::string> readers = call.GivesNothing() ? std::vector<std::string>() : cards.List();
        if (readers.empty() && !call.GivesNothing())
            return SCARD_E_NO_READERS_AVAILABLE;

        const std::u16string list = MultiString(readers, cards.zerosMissing);
        const DWORD room = *pcchReaders;
        *pcchReaders = static_cast<DWORD>(list.size());
        call.Out("pcchReaders", *pcchReaders);
        if (mszReaders == nullptr)
            return SCARD_S_SUCCESS;
        if (room < list.size())
            return SCARD_E_INSUFFICIENT_BUFFER;
        std::copy(list.begin(), list.end(), mszReaders);
        call.Out("mszReaders", winsim::Json(readers));
        return SCARD_S_SUCCESS;
    });
}
