// Tells whether a call faults, on Wine or Windows.
#include "tests/winsim/support.h"

namespace
{

CONTEXT g_before; // where a faulting call returns to
volatile bool g_hasFaulted = false;

LONG CALLBACK ReturnFromFault(EXCEPTION_POINTERS* pointers)
{
    if (pointers->ExceptionRecord->ExceptionCode != EXCEPTION_ACCESS_VIOLATION)
        return EXCEPTION_CONTINUE_SEARCH;
    g_hasFaulted = true;
    *pointers->ContextRecord = g_before;
    return EXCEPTION_CONTINUE_EXECUTION;
}

} // namespace

bool Faults(const std::function<void()>& call)
{
    void* const handler = AddVectoredExceptionHandler(1, &ReturnFromFault);
    g_hasFaulted = false;
    RtlCaptureContext(&g_before);
    if (!g_hasFaulted)
        call();
    RemoveVectoredExceptionHandler(handler);
    return g_hasFaulted;
}
