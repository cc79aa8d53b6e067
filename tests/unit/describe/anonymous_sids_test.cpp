// A description tells nothing about users and groups.
#include "describe/anonymous_sids.h"

#include <gtest/gtest.h>

namespace
{

using describe::AnonymousSids;

TEST(AnonymousSids, WellKnownOnesStay)
{
    AnonymousSids sids;
    for (const char* sid : {"S-1-1-0", "S-1-5-18", "S-1-5-32-544", "S-1-5-80-956008885-3418522649-1831038044-1-2"})
        EXPECT_EQ(sids.Anonymous(sid), sid);
}

TEST(AnonymousSids, DomainsGetNumbersAndUsersKeepTheirs)
{
    AnonymousSids sids;
    EXPECT_EQ(sids.Anonymous("S-1-5-21-111-222-333-1001"), "S-1-5-21-0-0-1-1001");
    EXPECT_EQ(sids.Anonymous("S-1-5-21-444-555-666-512"), "S-1-5-21-0-0-2-512");
    EXPECT_EQ(sids.Anonymous("S-1-5-21-111-222-333-1002"), "S-1-5-21-0-0-1-1002");
}

TEST(AnonymousSids, UsersOfTheCloudGetNumbers)
{
    AnonymousSids sids;
    EXPECT_EQ(sids.Anonymous("S-1-12-1-11-22-33-44"), "S-1-5-21-0-0-0-1001");
    EXPECT_EQ(sids.Anonymous("S-1-12-1-55-66-77-88"), "S-1-5-21-0-0-0-1002");
    EXPECT_EQ(sids.Anonymous("S-1-12-1-11-22-33-44"), "S-1-5-21-0-0-0-1001");
}

} // namespace
