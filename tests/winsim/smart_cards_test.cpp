// Proves that the smart-card resource manager's calls behave as Windows documents them.
#include "tests/winsim/support.h"

#include <winscard.h>

namespace
{

constexpr char kNoManager[] = "Wine 8 has no resource manager";

// The calls' results are LONGs, and their names unsigned in some headers.
DWORD Status(LONG result)
{
    return static_cast<DWORD>(result);
}

TEST(SCardEstablishContext, NeedsAPlaceAndAScope)
{
    if (IsOnWine())
        GTEST_SKIP() << kNoManager;
    SCARDCONTEXT context = 0;
    EXPECT_EQ(Status(SCardEstablishContext(SCARD_SCOPE_USER, nullptr, nullptr, nullptr)),
              static_cast<DWORD>(SCARD_E_INVALID_PARAMETER));
    EXPECT_EQ(Status(SCardEstablishContext(3, nullptr, nullptr, &context)), static_cast<DWORD>(SCARD_E_INVALID_VALUE));
}

TEST(SCardListReadersW, NeedsAPlaceForTheLength)
{
    if (IsOnWine())
        GTEST_SKIP() << kNoManager;
    SCARDCONTEXT context = 0;
    if (SCardEstablishContext(SCARD_SCOPE_USER, nullptr, nullptr, &context) != SCARD_S_SUCCESS)
        GTEST_SKIP() << "the resource manager does not run";
    EXPECT_EQ(Status(SCardListReadersW(context, nullptr, nullptr, nullptr)),
              static_cast<DWORD>(SCARD_E_INVALID_PARAMETER));
    EXPECT_EQ(SCardReleaseContext(context), SCARD_S_SUCCESS);
}

TEST(SCardListReadersW, TellsTheLengthAndFillsThatMuch)
{
    if (IsOnWine())
        GTEST_SKIP() << kNoManager;
    SCARDCONTEXT context = 0;
    if (SCardEstablishContext(SCARD_SCOPE_USER, nullptr, nullptr, &context) != SCARD_S_SUCCESS)
        GTEST_SKIP() << "the resource manager does not run";
    DWORD length = 0;
    if (SCardListReadersW(context, nullptr, nullptr, &length) == SCARD_S_SUCCESS)
    {
        std::wstring readers(length, L'x');
        DWORD less = length - 1;
        EXPECT_EQ(Status(SCardListReadersW(context, nullptr, readers.data(), &less)),
                  static_cast<DWORD>(SCARD_E_INSUFFICIENT_BUFFER));
        EXPECT_EQ(less, length);
        EXPECT_EQ(SCardListReadersW(context, L"SCard$AllReaders\0", readers.data(), &length), SCARD_S_SUCCESS);
        EXPECT_EQ(readers.size(), length);
        EXPECT_EQ(Shown(readers.data() + length - 2, 2), "<0000><0000>");
    }
    EXPECT_EQ(SCardReleaseContext(context), SCARD_S_SUCCESS);
}

} // namespace
