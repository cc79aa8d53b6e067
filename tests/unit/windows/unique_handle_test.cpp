// Proves that the owner of a handle closes it.
#include "tests/support/windows_script.h"

#include <gtest/gtest.h>

namespace
{

TEST(UniqueHandle, ClosesItsHandleBeforeWindowsGivesItAnother)
{
    const std::string open = OpenKey("SOFTWARE");
    ExpectRun(CallFunction(MachineOf(R"({"registry": {"HKLM\\SOFTWARE": {}}})"), "PutTwoKeys"), "",
              {open, kCloseKey, open, kCloseKey});
}

} // namespace
