// Proves that COM apartments and variants behave as Windows documents them.
#include "tests/winsim/support.h"

#include <objbase.h>
#include <oleauto.h>

namespace
{

TEST(CoInitializeEx, CountsHowOftenAThreadEnters)
{
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_FALSE);
    CoUninitialize();
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_FALSE);
    CoUninitialize();
    CoUninitialize();
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
    CoUninitialize();
}

TEST(CoInitializeEx, RefusesTheOtherModelWhileInOne)
{
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), RPC_E_CHANGED_MODE);
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_FALSE);
    CoUninitialize();
    CoUninitialize();
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
    CoUninitialize();
}

// ---- Variants ----

VARIANT VariantOf(VARTYPE type)
{
    VARIANT variant{};
    variant.vt = type;
    return variant;
}

TEST(VariantClear, FreesATextAndLeavesNothing)
{
    VARIANT variant = VariantOf(VT_BSTR);
    variant.bstrVal = SysAllocString(L"text");
    EXPECT_EQ(VariantClear(&variant), S_OK);
    EXPECT_EQ(variant.vt, VT_EMPTY);
    EXPECT_EQ(VariantClear(&variant), S_OK);
    variant = VariantOf(VT_BSTR);
    EXPECT_EQ(VariantClear(&variant), S_OK);
}

TEST(VariantClear, LeavesAloneWhatAVariantOnlyPointsAt)
{
    LONG value = 5;
    VARIANT variant = VariantOf(VT_I4 | VT_BYREF);
    variant.plVal = &value;
    EXPECT_EQ(VariantClear(&variant), S_OK);
    EXPECT_EQ(variant.vt, VT_EMPTY);
    EXPECT_EQ(value, 5);
}

// Nobody deletes it through its interface, which has no virtual destructor on Windows.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
struct CountedObject final : IUnknown
{
    HRESULT STDAPICALLTYPE QueryInterface(REFIID, void**) override { return E_FAIL; }
    ULONG STDAPICALLTYPE AddRef() override { return ++references; }
    ULONG STDAPICALLTYPE Release() override { return --references; }

    ULONG references = 2;
};
#pragma GCC diagnostic pop

TEST(VariantClear, ReleasesAnObject)
{
    CountedObject object;
    for (const int type : {VT_UNKNOWN, VT_DISPATCH})
    {
        VARIANT variant = VariantOf(static_cast<VARTYPE>(type));
        variant.punkVal = &object;
        EXPECT_EQ(VariantClear(&variant), S_OK);
        variant = VariantOf(static_cast<VARTYPE>(type));
        EXPECT_EQ(VariantClear(&variant), S_OK);
    }
    EXPECT_EQ(object.references, 0u);
}

TEST(VariantClear, RefusesTypesThatThereAreNot)
{
    for (const int type :
         {15, 24, 35, 37, 71, 73, 0xFFF, VT_I4 | VT_VECTOR, VT_I4 | 0x8000, VT_EMPTY | VT_BYREF, VT_NULL | VT_ARRAY})
    {
        VARIANT variant = VariantOf(static_cast<VARTYPE>(type));
        EXPECT_EQ(VariantClear(&variant), DISP_E_BADVARTYPE) << type;
        EXPECT_EQ(variant.vt, type);
    }
}

} // namespace
