// Proves that a COM apartment is entered and left in pairs.
#include "tests/support/simulated_run.h"

#include <gtest/gtest.h>

namespace
{

TEST(CComInitializer, EntersAndLeavesTheApartment)
{
    ExpectRun(CallFunction("CComInitializer"), "", {Call("CoInitializeEx", {nullptr, 0}, 0), Call("CoUninitialize")});
}

TEST(CComInitializer, LeavesWhatItCouldNotEnter)
{
    ExpectRun(CallFunction("CComInitializer", {}, {.faults = {"CoInitializeEx=0x80010106"}}), "",
              {Call("CoInitializeEx", {nullptr, 0}, -2147417850), Call("CoUninitialize")});
}

} // namespace
