// The guard around code of others that may throw or fault.
#pragma once

#include <type_traits>

namespace exception_guard_detail
{

// Calls function(context). True when it returned, false when an exception came out of it.
bool Call(void (*function)(void*), void* context);

} // namespace exception_guard_detail

// Calls `callable`. True when it returned; false when an exception of any kind came out of it: on Windows also
// an access violation, a division by zero, and what another compiler's code throws. An exception that the called
// code handles by itself is left to it. A fault ends the frames between it and this call without running their
// destructors, so what is called keeps its owners outside of the guard. Logs nothing.
template <typename Callable>
bool CallGuarded(Callable callable)
{
    static_assert(std::is_trivially_destructible_v<Callable>);
    const auto call = [](void* context) { (*static_cast<Callable*>(context))(); };
    return exception_guard_detail::Call(call, &callable);
}
