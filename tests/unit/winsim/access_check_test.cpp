// Proves who is granted which rights on the simulated machine, by the rules of Windows' access check.
#include "tests/unit/winsim/access_lists.h"

#include <gtest/gtest.h>

namespace
{

using winsim::AccessEntry;
using winsim::kFileRights;
using winsim::kKeyRights;
using winsim::Security;
using winsim::Token;

constexpr std::uint32_t kQueryValue = 0x1;
constexpr std::uint32_t kSetValue = 0x2;
constexpr std::uint32_t kReadControl = 0x20000;
constexpr std::uint32_t kWriteDac = 0x40000;
constexpr std::uint32_t kWriteOwner = 0x80000;
constexpr std::uint32_t kGenericAll = 0x10000000;
constexpr std::uint32_t kGenericRead = 0x80000000;
constexpr std::uint32_t kInheritOnly = 8;

const Token kAdministrator{.user = "S-1-5-21-1-2-3-1001",
                           .groups = {"S-1-5-32-544", "S-1-1-0"},
                           .privileges = {"SeTakeOwnershipPrivilege"},
                           .enabled = {}};

bool Grants(const Security& security, std::uint32_t rights, const Token& token = kAdministrator)
{
    return security.Grants(token, rights, kKeyRights);
}

TEST(AccessCheck, WithoutAListEverybodyMayDoAll)
{
    EXPECT_TRUE(Grants({}, 0xF003F));
}

TEST(AccessCheck, AnEmptyListGrantsNothing)
{
    EXPECT_FALSE(Grants(WithList({}), kQueryValue));
}

TEST(AccessCheck, OnlyEntriesOfTheTokensOwnCount)
{
    EXPECT_FALSE(Grants(WithList({{"S-1-5-18", kGenericAll, 0, false}}), kQueryValue));
    EXPECT_TRUE(Grants(WithList({{"S-1-1-0", kGenericAll, 0, false}}), kQueryValue));
    EXPECT_TRUE(Grants(WithList({{"S-1-5-21-1-2-3-1001", kQueryValue, 0, false}}), kQueryValue));
}

TEST(AccessCheck, GrantsAddUp)
{
    const Security security = WithList({{"S-1-1-0", kQueryValue, 0, false}, {"S-1-5-32-544", kSetValue, 0, false}});
    EXPECT_TRUE(Grants(security, kQueryValue | kSetValue));
    EXPECT_FALSE(Grants(security, kQueryValue | kSetValue | kWriteDac));
}

TEST(AccessCheck, TheFirstEntryThatSpeaksOfARightDecides)
{
    const AccessEntry grant{"S-1-5-32-544", kSetValue, 0, false};
    const AccessEntry denial{"S-1-1-0", kSetValue, 0, true};
    EXPECT_TRUE(Grants(WithList({grant, denial}), kSetValue));
    EXPECT_FALSE(Grants(WithList({denial, grant}), kSetValue));
}

TEST(AccessCheck, EntriesForObjectsBelowDoNotCount)
{
    EXPECT_FALSE(Grants(WithList({{"S-1-1-0", kGenericAll, kInheritOnly, false}}), kQueryValue));
}

TEST(AccessCheck, GenericRightsStandForThoseOfTheKindOfObject)
{
    const Security security = WithList({{"S-1-1-0", kGenericRead, 0, false}});
    EXPECT_TRUE(security.Grants(kAdministrator, 0x20019, kKeyRights));
    EXPECT_FALSE(security.Grants(kAdministrator, kSetValue, kKeyRights));
    EXPECT_TRUE(security.Grants(kAdministrator, 0x120089, kFileRights));
    EXPECT_TRUE(security.Grants(kAdministrator, kGenericRead, kFileRights));
    EXPECT_FALSE(security.Grants(kAdministrator, kGenericAll, kFileRights));
}

TEST(AccessCheck, TheOwnerMayReadAndReplaceTheList)
{
    Security security = WithList({});
    security.deniedAccess = kWriteDac;
    EXPECT_FALSE(Grants(security, kWriteDac));
    security.owner = "S-1-5-32-544";
    EXPECT_TRUE(Grants(security, kReadControl | kWriteDac));
    EXPECT_FALSE(Grants(security, kWriteOwner));
    EXPECT_FALSE(Grants(security, kQueryValue));
}

TEST(AccessCheck, TheEnabledPrivilegeTakesTheOwnershipAlone)
{
    Security security = WithList({});
    security.deniedAccess = kWriteOwner;
    Token token = kAdministrator;
    EXPECT_FALSE(Grants(security, kWriteOwner, token));
    token.Enable("SeTakeOwnershipPrivilege", true);
    EXPECT_TRUE(Grants(security, kWriteOwner, token));
    EXPECT_FALSE(Grants(security, kWriteOwner | kWriteDac, token));
    token.privileges.clear();
    EXPECT_FALSE(Grants(security, kWriteOwner, token));
}

TEST(AccessCheck, RightsThatAreDeniedOutrightOutweighTheList)
{
    Security security = WithList({{"S-1-1-0", kGenericAll, 0, false}});
    security.deniedAccess = kSetValue;
    EXPECT_TRUE(Grants(security, kQueryValue));
    EXPECT_FALSE(Grants(security, kQueryValue | kSetValue));
    EXPECT_FALSE(Grants(security, kGenericAll));
}

} // namespace
