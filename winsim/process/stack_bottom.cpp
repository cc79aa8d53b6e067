// The bottom of the simulated process's stack. This source is compiled without unwind tables, because the search for an
// exception's handler ends at a frame without them, and without tail calls, so that the frame exists.
#include "winsim/process/stack_bottom.h"

void winsim::CallAtStackBottom(void (*function)(void*), void* context)
{
    function(context);
}
