// Proves which paths are full, and what becomes of a path that does not fit its buffer.
#include "tests/support/simulated_run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

std::string IsFull(const std::string& path)
{
    return CallFunction(MachineOf("{}"), "IsFullPath", {path}).result;
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

// ---- Bounded paths ----

std::string PathOf(const std::vector<std::string>& pieces)
{
    return CallFunction(MachineOf("{}"), "BoundedPath", pieces).result;
}

TEST(BoundedPath, Holds239Characters)
{
    EXPECT_EQ(PathOf({std::string(239, 'a')}), std::string(239, 'a'));
    EXPECT_EQ(PathOf({std::string(238, 'a'), "b"}), std::string(238, 'a') + "b");
    EXPECT_EQ(PathOf({std::string(239, 'a'), "", ""}), std::string(239, 'a'));
    EXPECT_EQ(PathOf({"a", std::string(237, 'b'), "c"}), "a" + std::string(237, 'b') + "c");
}

TEST(BoundedPath, IsEmptyOnceAPieceDoesNotFit)
{
    EXPECT_EQ(PathOf({std::string(240, 'a')}), "");
    EXPECT_EQ(PathOf({std::string(5000, 'a'), "b"}), "");
    EXPECT_EQ(PathOf({std::string(239, 'a'), "b"}), "");
    EXPECT_EQ(PathOf({"a", std::string(239, 'b'), "c"}), "");
}

TEST(BoundedPath, ThatBeginsEmptyStaysEmpty)
{
    EXPECT_EQ(PathOf({""}), "");
    EXPECT_EQ(PathOf({"", "a"}), "");
}

} // namespace
