// The COM objects of the simulated machine. The process holds them until it releases the last reference.
#pragma once

#include "objbase.h"
#include "winsim/process/gate.h"
#include "winsim/process/simulation.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace winsim
{

// The kind of the handles of COM objects; the handle is the object's address.
struct HeldComObject
{
    static constexpr char kKind[] = "comObject";
};

// The HRESULT with which a COM call must fail, or none if it can do its work. Causes are the fault plan, a described
// failure, a thread outside any apartment and a released object. `object` is null if the call is not a method.
std::optional<std::uint32_t> ComFailure(const Call& call, const void* object);

// Ends a COM call: `work` returns its HRESULT; it is not called if ComFailure has one.
template <typename Work>
HRESULT ComStatusOf(Call& call, const void* object, Work work)
{
    const auto failure = ComFailure(call, object);
    return call.Status(failure ? *failure : static_cast<std::uint32_t>(work()));
}

// The proxy of an object in another process; CoSetProxyBlanket sets how calls through it are authenticated.
class ComProxy
{
public:
    virtual void SetImpersonation(DWORD level) = 0;

protected:
    ~ComProxy() = default;
};

// The methods that all objects share.
template <typename Interface>
class ComObject : public Interface
{
public:
    HRESULT QueryInterface(REFIID riid, void** ppvObject) final
    {
        Call call{m_name + "::QueryInterface"};
        call.In("this", Self());
        if (ppvObject == nullptr)
            return call.Status(static_cast<std::uint32_t>(E_POINTER));
        *ppvObject = nullptr;
        return ComStatusOf(call, Self(), [&] {
            if (riid != IID_IUnknown && riid != m_interface)
            {
                call.NotSimulated("the other interfaces of an object");
                return E_NOINTERFACE;
            }
            ++m_references;
            *ppvObject = static_cast<Interface*>(this);
            return S_OK;
        });
    }

    ULONG AddRef() final
    {
        Call call{m_name + "::AddRef"};
        call.In("this", Self());
        if (IsAlive(call))
            ++m_references;
        return call.Done(m_references);
    }

    ULONG Release() final
    {
        Call call{m_name + "::Release"};
        call.In("this", Self());
        if (!IsAlive(call))
            return call.Done(m_references);
        if (--m_references == 0)
            call.template Close<HeldComObject>(Self());
        return call.Done(m_references);
    }

protected:
    // `name` is that of the interface in recorded calls.
    ComObject(const char* name, REFIID interface) : m_name(name), m_interface(interface) {}
    ~ComObject() = default;

    const void* Self() const { return static_cast<const Interface*>(this); }

private:
    bool IsAlive(const Call& call) const { return call.Find<HeldComObject>(Self()) != nullptr; }

    const std::string m_name;
    const IID m_interface;
    ULONG m_references = 1;
};

// A new object with one reference, which the process holds.
template <typename Object, typename... Arguments>
Object* MakeComObject(Arguments&&... arguments)
{
    auto object = std::make_shared<Object>(std::forward<Arguments>(arguments)...);
    Object* held = object.get();
    Simulation::Current().handles.Hold<HeldComObject>(held, std::move(object));
    return held;
}

} // namespace winsim
