// The guard around other programs' code, which may throw or fault.
#pragma once

#include <type_traits>

namespace exception_guard_detail
{

// Calls function(context). True when it returned, false when an exception came out of it.
bool Call(void (*function)(void*), void* context);

} // namespace exception_guard_detail

// Calls `callable`. Logs nothing.
// Returns  true   it returned
//          false  an exception of any kind came out of it: on Windows also an access violation, a division by zero, or
//                 an exception of another compiler's code
// Exceptions that the called code handles itself do not count. A fault leaves the frames above this call without
// running their destructors: owners of handles and memory belong outside of the guard.
template <typename Callable>
bool CallGuarded(Callable callable)
{
    static_assert(std::is_trivially_destructible_v<Callable>);
    const auto call = [](void* context) { (*static_cast<Callable*>(context))(); };
    return exception_guard_detail::Call(call, &callable);
}
