// COM's strings and variants.
#include "winsim/api/bstr.h"
#include "winsim/base/text.h"
#include "winsim/process/gate.h"
#include "winsim/process/simulation.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>

using winsim::Call;
using winsim::CallKind;
using winsim::Json;
using winsim::Simulation;

namespace
{

struct BstrBlock
{
    static constexpr char kKind[] = "bstr";
};

// The length of a string in bytes is stored directly before it.
constexpr std::size_t kPrefix = 8;

// Whether a variant of this type can be cleared.
bool IsVariantType(VARTYPE type)
{
    constexpr VARTYPE kNoType = 15; // a gap in the numbers of the simple types
    constexpr VARTYPE kBeyondSimple[] = {VT_RECORD, VT_CLSID};
    const VARTYPE plain = type & VT_TYPEMASK;
    const VARTYPE form = type & ~VT_TYPEMASK;
    if ((form & ~(VT_ARRAY | VT_BYREF)) != 0 || plain == kNoType || (form != 0 && plain <= VT_NULL))
        return false;
    return plain < VT_VOID || std::ranges::find(kBeyondSimple, plain) != std::end(kBeyondSimple);
}

const void* BlockOf(BSTR text)
{
    return reinterpret_cast<const char*>(text) - kPrefix;
}

bool IsAlive(BSTR text)
{
    return Simulation::Current().handles.IsOpen<BstrBlock>(BlockOf(text));
}

} // namespace

std::string winsim::TextOf(const Call& call, BSTR text)
{
    if (text == nullptr || call.Find<BstrBlock>(BlockOf(text)) == nullptr)
        return {};
    return Utf8(text);
}

Json winsim::NotedBstr(BSTR text)
{
    if (text == nullptr)
        return nullptr;
    return IsAlive(text) ? Json(Utf8(text)) : Json("not a BSTR");
}

BSTR WINAPI SysAllocString(const OLECHAR* psz)
{
    Call call{__func__, CallKind::Housekeeping};
    call.In("psz", psz);
    if (psz == nullptr || call.Fault())
        return call.Done(BSTR{nullptr});
    const std::u16string text = psz;
    const std::size_t size = text.size() * sizeof(OLECHAR);
    auto* block =
        static_cast<char*>(Simulation::Current().handles.Allocate<BstrBlock>(kPrefix + size + sizeof(OLECHAR)));
    const auto length = static_cast<std::uint32_t>(size);
    std::memcpy(block + kPrefix - sizeof length, &length, sizeof length);
    std::memcpy(block + kPrefix, text.c_str(), size + sizeof(OLECHAR));
    return call.Done(reinterpret_cast<BSTR>(block + kPrefix));
}

void WINAPI SysFreeString(BSTR bstrString)
{
    Call call{__func__, CallKind::Housekeeping};
    call.In("bstrString", winsim::NotedBstr(bstrString));
    if (bstrString != nullptr)
        call.Free<BstrBlock>(BlockOf(bstrString));
}

HRESULT WINAPI VariantClear(VARIANTARG* pvarg)
{
    Call call{__func__, CallKind::Housekeeping};
    call.In("pvarg", pvarg).Needs(pvarg);
    if (!IsVariantType(pvarg->vt))
        return call.Status(static_cast<std::uint32_t>(DISP_E_BADVARTYPE));
    if ((pvarg->vt & VT_BYREF) == 0 && ((pvarg->vt & VT_ARRAY) != 0 || pvarg->vt == VT_RECORD))
        return call.Status(static_cast<std::uint32_t>(HRESULT_FROM_WIN32(call.NotSimulated("arrays and records"))));
    // A variant that was never passed to a call may be cleared too.
    if (Simulation::Current().handles.IsOpen<winsim::HeldVariant>(pvarg))
        call.Close<winsim::HeldVariant>(pvarg);
    const auto fault = call.Fault();
    if (pvarg->vt == VT_BSTR)
        SysFreeString(pvarg->bstrVal);
    const bool isObject = pvarg->vt == VT_UNKNOWN || pvarg->vt == VT_DISPATCH;
    if (isObject && pvarg->punkVal != nullptr)
        pvarg->punkVal->Release();
    pvarg->vt = VT_EMPTY;
    return call.Status(fault.value_or(S_OK));
}
