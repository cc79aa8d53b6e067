// The bottom of the simulated process's stack.
#pragma once

namespace winsim
{

// Calls function(context). An exception that comes out of it finds no frame beyond this one: std::terminate is called
// where it is thrown, with the stack as it is then.
void CallAtStackBottom(void (*function)(void*), void* context);

} // namespace winsim
