// Proves that a COM apartment is entered and left in pairs.
#include "tests/support/simulated_run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using testing::ElementsAre;

TEST(CComInitializer, EntersAndLeavesTheApartment)
{
    const SimulatedRun run = CallFunction("CComInitializer");
    EXPECT_THAT(run.script, ElementsAre(Call("CoInitializeEx", {nullptr, 0}, 0), Call("CoUninitialize")));
}

TEST(CComInitializer, LeavesWhatItCouldNotEnter)
{
    const SimulatedRun run = CallFunction("CComInitializer", {}, {.faults = {"CoInitializeEx=0x80010106"}});
    EXPECT_THAT(run.script, ElementsAre(Call("CoInitializeEx", {nullptr, 0}, -2147417850), Call("CoUninitialize")));
}

} // namespace
