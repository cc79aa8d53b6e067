// Proves which exceptions the guard around other programs' code catches, and that it leaves already handled ones alone.
// Faults and other compilers' exceptions exist only on Windows and are tested with the real image.
#include "tests/support/simulated_run.h"

#include <gtest/gtest.h>

namespace
{

SimulatedRun Guard(const char* act, const winsim::Machine& machine = MachineOf("{}"))
{
    return CallFunction(machine, "CallGuarded", {act});
}

TEST(CallGuarded, ACallThatReturnsIsLeftAlone)
{
    ExpectRun(Guard("return"), "begun, ended, true", {});
}

TEST(CallGuarded, AnExceptionOfAnyKindEndsTheCallAlone)
{
    ExpectRun(Guard("throw an exception"), "begun, false", {});
    ExpectRun(Guard("throw a number"), "begun, false", {});
}

TEST(CallGuarded, AnExceptionThatIsHandledWithinTheCallDoesNotCount)
{
    ExpectRun(Guard("guard a throw"), "begun, false, ended, true", {});
}

// The calls that load a library and find its export, around a call of it.
Script WithLibrary(const std::string& call)
{
    return {Call("LoadLibraryA", {R"(C:\Guarded.dll)"}, "library#1"),
            Call("GetProcAddress", {"library#1", "Export"}, "Guarded.dll!Export"), call,
            Call("FreeLibrary", {"library#1"}, 1)};
}

winsim::Machine MachineWithExport(const winsim::Json& answer)
{
    return winsim::Machine::FromJson({{"libraries", {{R"(C:\Guarded.dll)", {{"exports", {{"Export", answer}}}}}}}});
}

TEST(CallGuarded, WhateverComesOutOfALibraryIsCaughtAndTheLibraryCanBeFreed)
{
    for (const char* thing : {"access violation", "division by zero", "C++ exception", "number"})
        ExpectRun(Guard("call the export", MachineWithExport({{"throws", thing}})), "begun, false",
                  WithLibrary(Call("Guarded.dll!Export", {}, nullptr, {{"exception", thing}})));
}

TEST(CallGuarded, ALibraryThatAnswersIsLeftAlone)
{
    ExpectRun(Guard("call the export", MachineWithExport(7)), "begun, 7, ended, true",
              WithLibrary(Call("Guarded.dll!Export", {}, 7)));
}

} // namespace
