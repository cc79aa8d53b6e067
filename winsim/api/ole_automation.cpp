// COM's strings and variants.
#include "winsim/api/bstr.h"
#include "winsim/base/text.h"
#include "winsim/process/gate.h"
#include "winsim/process/simulation.h"

#include <cstring>
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
    Call call{"SysAllocString", CallKind::Housekeeping};
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
    Call call{"SysFreeString", CallKind::Housekeeping};
    call.In("bstrString", winsim::NotedBstr(bstrString));
    if (bstrString != nullptr)
        call.Free<BstrBlock>(BlockOf(bstrString));
}

HRESULT WINAPI VariantClear(VARIANTARG* pvarg)
{
    Call call{"VariantClear", CallKind::Housekeeping};
    call.In("pvarg", pvarg);
    // A variant that was never passed to a call may be cleared too.
    if (Simulation::Current().handles.IsOpen<winsim::HeldVariant>(pvarg))
        call.Close<winsim::HeldVariant>(pvarg);
    const auto fault = call.Fault();
    if (pvarg->vt == VT_BSTR)
        SysFreeString(pvarg->bstrVal);
    pvarg->vt = VT_EMPTY;
    return call.Status(fault.value_or(S_OK));
}
