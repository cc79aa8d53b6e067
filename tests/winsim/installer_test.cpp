// Proves that asking for an installer's property checks its parameters as Windows documents it. No installation is
// going on.
#include "tests/winsim/support.h"

#include <msi.h>
#include <msiquery.h>

namespace
{

// A handle of no session.
constexpr MSIHANDLE kNoSession = 0;

TEST(MsiGetPropertyW, NeedsASession)
{
    MisusesHandles();
    wchar_t text[8] = L"kept";
    DWORD length = 8;
    EXPECT_EQ(MsiGetPropertyW(kNoSession, L"CustomActionData", text, &length), static_cast<UINT>(ERROR_INVALID_HANDLE));
    EXPECT_EQ(Shown(text), "kept");
    EXPECT_EQ(length, 8u);
}

TEST(MsiGetPropertyW, NeedsAName)
{
    DWORD length = 0;
    EXPECT_EQ(MsiGetPropertyW(kNoSession, nullptr, nullptr, &length), static_cast<UINT>(ERROR_INVALID_PARAMETER));
}

} // namespace
