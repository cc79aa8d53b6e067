// Closing handles.
#include "winsim/process/gate.h"
#include "winsim/process/kernel_objects.h"
#include "winsim/process/open_files.h"
#include "winsim/process/simulation.h"

#include "winbase.h"

using winsim::Call;
using winsim::Simulation;

BOOL WINAPI CloseHandle(HANDLE hObject)
{
    Call call{__func__};
    call.In("hObject", hObject);
    return call.SuccessOfClosing([&]() -> DWORD {
        // This value also means the current process, whose handle need not be closed.
        if (hObject == INVALID_HANDLE_VALUE)
            return ERROR_SUCCESS;
        // Other kinds of handles have their own functions for closing.
        const bool isClosed =
            Simulation::Current()
                .handles.CloseAnyOf<winsim::OpenFile, winsim::OpenProcessHandle, winsim::OpenThread, winsim::OpenToken>(
                    hObject, "kernel object", call.Name());
        Simulation::Current().EndPendingDeletions();
        return isClosed ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
    });
}
