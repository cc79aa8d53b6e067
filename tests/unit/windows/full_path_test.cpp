// Proves which paths are full: those that name the same place whatever drive and directory are current.
#include "tests/support/simulated_run.h"

#include <gtest/gtest.h>

#include <tuple>

namespace
{

void ExpectEachIs(const char* answer, std::initializer_list<const char*> paths)
{
    for (const char* path : paths)
        EXPECT_EQ(CallFunction("IsFullPath", {path}).result, answer) << path;
}

TEST(IsFullPath, ADriveAndItsRootBeginAFullPath)
{
    ExpectEachIs("true",
                 {R"(C:\)", R"(C:\Toolkit\)", R"(a:\b)", R"(c:\)", R"(z:\a)", R"(Z:\a)", "C:/Toolkit/", R"(A:\..\b)"});
}

TEST(IsFullPath, AShareBeginsAFullPath)
{
    ExpectEachIs("true", {R"(\\server\share)", R"(\\server\share\)", R"(\\server\share\Toolkit\)", "//server/share/",
                          R"(\\?\C:\Toolkit\)", R"(\\?\UNC\server\share\)"});
}

TEST(IsFullPath, NothingElseDoes)
{
    ExpectEachIs("false", {"", "Toolkit", R"(Toolkit\)", R"(..\Toolkit\)", R"(.\)", R"(a\server\share\)"});
    ExpectEachIs("false", {R"(\)", R"(\Toolkit\)", "/Toolkit/", R"(\Toolkit\bin\)"});
    ExpectEachIs("false", {R"(\\)", R"(\\server)", R"(\\server\)", R"(\\\share\)", R"(\\server\\)"});
    ExpectEachIs("false",
                 {"C", "C:", R"(C:Toolkit\)", R"(C:..\)", R"(CC:\Toolkit\)", R"(CC\Toolkit\)", R"( C:\)", "\u00C4:\\"});
    ExpectEachIs("false", {R"(1:\)", R"(::\)", R"([:\)", R"(`:\)", R"({:\)", R"(@:\)"});
}

TEST(IsFullPath, NothingAfterThePathIsLookedAt)
{
    constexpr std::tuple<const char*, const char*, const char*> kRows[] = {
        {R"(C:\)", "3", "true"},    {R"(C:\)", "2", "false"},   {R"(C:\)", "1", "false"},
        {R"(C:\)", "0", "false"},   {R"(\\a\b)", "5", "true"},  {R"(\\a\b)", "4", "false"},
        {R"(\\a\b)", "3", "false"}, {R"(\\a\b)", "2", "false"}, {R"(\\a\b)", "1", "false"},
    };
    for (const auto& [path, length, answer] : kRows)
        EXPECT_EQ(CallFunction("IsFullPath", {path, length}).result, answer) << path << " " << length;
}

} // namespace
