// Proves how long a bounded path may be, and that a longer path becomes empty rather than cut short.
#include "tests/support/simulated_run.h"

#include <gtest/gtest.h>

namespace
{

std::string PathOf(const std::vector<std::string>& pieces)
{
    return CallFunction("BoundedPath", pieces).result;
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
