// A library that stays with a process to its end, and notes beside itself what error mode the process ends with.
#include "tests/e2e/standins/own_files.h"

#include "standin_names.h"

BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, void*)
{
    if (reason == DLL_PROCESS_DETACH)
        AppendLine(Beside(names::kWitnessNotes, library), "error mode " + std::to_string(GetErrorMode()));
    return TRUE;
}
