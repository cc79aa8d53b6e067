// The bottom of the simulated process's stack.
#pragma once

namespace winsim
{

// Calls function(context). The search for an exception's handler ends here: if `function` does not catch it,
// std::terminate is called where it was thrown, without unwinding the stack.
void CallAtStackBottom(void (*function)(void*), void* context);

} // namespace winsim
