// Catches the exceptions and faults of other programs' code. The catch (...) of the Windows build sees neither faults
// nor other compilers' exceptions, so there the call also goes through a frame with a structured exception handler.
#include "windows/exception_guard.h"

#ifdef _WIN32

// void CallUnderHandler(void (*function)(void*), void* context): returns even if the function does not.
//
// The frame names Windows' own handler. The table after .seh_handlerdata tells that handler what a __try/__except
// around the call would: one range, a filter that is always EXCEPTION_EXECUTE_HANDLER (1), and where to continue. The
// handler is asked only about exceptions that no inner frame handles. Windows looks up the address that the call
// returns to: the nop after the call keeps that address inside the range.
asm(R"(
        .text
        .p2align 4
        .globl  CallUnderHandler
        .def    CallUnderHandler; .scl 2; .type 32; .endef
        .seh_proc CallUnderHandler
CallUnderHandler:
        subq    $40, %rsp
        .seh_stackalloc 40
        .seh_endprologue
        movq    %rcx, %rax
        movq    %rdx, %rcx
.LguardedBegin:
        call    *%rax
        nop
.LguardedEnd:
.Lcaught:
        addq    $40, %rsp
        ret
        .seh_handler __C_specific_handler, @except
        .seh_handlerdata
        .long   1
        .rva    .LguardedBegin
        .rva    .LguardedEnd
        .long   1
        .rva    .Lcaught
        .text
        .seh_endproc
)");

extern "C" void CallUnderHandler(void (*function)(void*), void* context);

#else

// Faults are exceptions of C++ here.
static void CallUnderHandler(void (*function)(void*), void* context)
{
    function(context);
}

#endif

namespace
{

struct GuardedCall
{
    void (*function)(void*);
    void* context;
    bool returned;
};

void CallCatching(void* call)
{
    auto* guarded = static_cast<GuardedCall*>(call);
    try
    {
        guarded->function(guarded->context);
        guarded->returned = true;
    }
    catch (...)
    {
        // `returned` is already false.
    }
}

} // namespace

bool exception_guard_detail::Call(void (*function)(void*), void* context)
{
    // Exceptions from our own compiler need a C++ catch: its unwinder looks for its own handlers and skips frames with
    // any other kind.
    GuardedCall call{function, context, false};
    CallUnderHandler(&CallCatching, &call);
    return call.returned;
}
