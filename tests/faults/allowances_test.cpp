// Proves that an allowance excuses only the failure that it is meant for, and no similar one.
#include "tests/faults/allowances.h"

#include <gtest/gtest.h>

namespace
{

// A deletion that fails because the file is in use, and a line that the log contains about the reader's library in any
// case.
bool DeletionPassesInSilence(const char* fileName)
{
    const winsim::CallRecord deletion{.name = "DeleteFileW",
                                      .in = {{"lpFileName", std::string(R"(C:\Windows\system32\)") + fileName}},
                                      .result = 0,
                                      .error = 5};
    return PassesInSilence(deletion, "virtual smart card",
                           {"Remove SmartCard - couldn't directly delete the KeloVReaderBody dll, mark for deletion on "
                            "reboot"});
}

TEST(PassesInSilence, AFileThatIsInUseAsEverExcusesItsOwnDeletionAlone)
{
    EXPECT_TRUE(DeletionPassesInSilence("KeloVReaderBody.dll"));
    EXPECT_FALSE(DeletionPassesInSilence("KeloMiniDriverBody64.dll"));
}

} // namespace
