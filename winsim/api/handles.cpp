// Closing handles.
#include "winsim/api/kernel_objects.h"
#include "winsim/process/gate.h"
#include "winsim/process/open_files.h"
#include "winsim/process/simulation.h"

#include "winbase.h"

#include <algorithm>
#include <iterator>

using winsim::Call;
using winsim::Simulation;

namespace
{

// Handles of other kinds have a closing function of their own.
constexpr const char* kKinds[] = {winsim::kFile, winsim::kProcess, winsim::kThread, winsim::kToken};

} // namespace

BOOL WINAPI CloseHandle(HANDLE hObject)
{
    Call call{"CloseHandle"};
    call.In("hObject", hObject);
    const auto fault = call.Fault();
    // The same value stands for the process itself, which there is nothing to close of, and for no file.
    if (hObject == INVALID_HANDLE_VALUE)
        return fault ? call.Fail(FALSE, *fault) : call.Done(TRUE);
    Simulation& simulation = Simulation::Current();
    const std::string kind = simulation.handles.KindOf(hObject);
    const auto* known = std::find(std::begin(kKinds), std::end(kKinds), kind);
    const char* const expected = known != std::end(kKinds) ? *known : "kernel object";
    if (!simulation.handles.Close(hObject, expected, "CloseHandle"))
        return call.Fail(FALSE, ERROR_INVALID_HANDLE);
    return fault ? call.Fail(FALSE, *fault) : call.Done(TRUE);
}
