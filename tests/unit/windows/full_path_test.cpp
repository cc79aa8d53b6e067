// Proves which paths are full: those that name the same place whatever drive and directory are current.
#include "tests/support/simulated_run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

std::string IsFull(const std::string& path)
{
    return CallFunction("IsFullPath", {path}).result;
}

TEST(IsFullPath, ADriveAndItsRootBeginAFullPath)
{
    for (const char* path :
         {R"(C:\)", R"(C:\Toolkit\)", R"(a:\b)", R"(c:\)", R"(z:\a)", R"(Z:\a)", "C:/Toolkit/", R"(A:\..\b)"})
        EXPECT_EQ(IsFull(path), "true") << path;
}

TEST(IsFullPath, AShareBeginsAFullPath)
{
    for (const char* path : {R"(\\server\share)", R"(\\server\share\)", R"(\\server\share\Toolkit\)", "//server/share/",
                             R"(\\?\C:\Toolkit\)", R"(\\?\UNC\server\share\)"})
        EXPECT_EQ(IsFull(path), "true") << path;
}

TEST(IsFullPath, NothingElseDoes)
{
    for (const char* path : {"",
                             "C",
                             "C:",
                             "C:Toolkit\\",
                             "C:..\\",
                             "Toolkit",
                             "Toolkit\\",
                             "..\\Toolkit\\",
                             ".\\",
                             "\\",
                             "\\Toolkit\\",
                             "/Toolkit/",
                             "\\Toolkit\\bin\\",
                             "a\\server\\share\\",
                             "\\\\",
                             "\\\\server",
                             "\\\\server\\",
                             "\\\\\\share\\",
                             "\\\\server\\\\",
                             "1:\\",
                             "::\\",
                             "[:\\",
                             "`:\\",
                             "{:\\",
                             "@:\\",
                             "\u00C4:\\",
                             "CC:\\Toolkit\\",
                             " C:\\"})
        EXPECT_EQ(IsFull(path), "false") << path;
}

} // namespace
