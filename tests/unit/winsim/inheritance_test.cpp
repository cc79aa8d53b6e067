// Proves who owns a new object and what it inherits, where the machine's description says less than Windows knows.
#include "tests/unit/winsim/access_lists.h"
#include "winsim/machine/inheritance.h"

#include <gtest/gtest.h>

namespace
{

using winsim::AccessEntry;
using winsim::kFileKind;
using winsim::kKeyKind;
using winsim::ReplaceList;
using winsim::Security;
using winsim::SecurityOfNew;
using winsim::Token;

constexpr char kUser[] = "S-1-5-21-1-2-3-1001";
constexpr char kAdministrators[] = "S-1-5-32-544";
constexpr char kSystem[] = "S-1-5-18";
constexpr char kCreatorOwner[] = "S-1-3-0";
constexpr char kCreatorGroup[] = "S-1-3-1";
constexpr std::uint32_t kInherited = 0x10;

const Token kOrdinary{.user = kUser, .groups = {"S-1-5-32-545"}, .privileges = {}, .enabled = {}};
const Token kElevated{.user = kUser, .groups = {kAdministrators}, .privileges = {}, .enabled = {}};

TEST(NewObject, BelongsToItsCreatorOrTheAdministrators)
{
    EXPECT_EQ(SecurityOfNew({}, kOrdinary, kFileKind).owner, kUser);
    EXPECT_EQ(SecurityOfNew({}, kElevated, kFileKind).owner, kAdministrators);
}

TEST(NewObject, HasNoListWhenItsContainerHasNone)
{
    EXPECT_EQ(SecurityOfNew({}, kOrdinary, kKeyKind).access, std::nullopt);
}

TEST(NewObject, GetsTheDefaultListWhenNothingIsHandedDown)
{
    const std::vector<AccessEntry> expected = {{kUser, 0xF003F, 0, false}, {kSystem, 0xF003F, 0, false}};
    EXPECT_EQ(SecurityOfNew(WithList({{kAdministrators, 1, 0, false}}), kOrdinary, kKeyKind).access, expected);
}

TEST(NewObject, InheritsWhatIsForItsCreatorAsItsOwners)
{
    const Security container = WithList({{kCreatorOwner, 1, 1, false}, {kCreatorGroup, 1, 3, true}});
    const std::vector<AccessEntry> onFile = {{kUser, 1, kInherited, false}};
    EXPECT_EQ(SecurityOfNew(container, kOrdinary, kFileKind).access, onFile);
    const std::vector<AccessEntry> onKey = {{kCreatorOwner, 1, 9 | kInherited, false},
                                            {kCreatorGroup, 1, 11 | kInherited, true}};
    EXPECT_EQ(SecurityOfNew(container, kOrdinary, kKeyKind).access, onKey);
}

TEST(ReplacedList, KeepsWhatAContainerWithoutADescribedListHandedDown)
{
    Security security = WithList({{kUser, 1, 0, false}, {kSystem, 1, kInherited, false}});
    const Security container;
    const std::vector<AccessEntry> expected = {{kAdministrators, 2, 0, false}, {kSystem, 1, kInherited, false}};
    for (const Security* one : {&container, static_cast<const Security*>(nullptr)})
    {
        ReplaceList(security, {{kAdministrators, 2, 0, false}}, one, kFileKind);
        EXPECT_EQ(security.access, expected);
    }
}

} // namespace
