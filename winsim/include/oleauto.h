// COM's strings and variants, for the simulated machine.
#pragma once

#include "unknwn.h"
#include "winsim_types.h"

using OLECHAR = WCHAR;
using BSTR = OLECHAR*;
using VARTYPE = unsigned short;
using VARIANT_BOOL = SHORT;

inline constexpr VARIANT_BOOL VARIANT_TRUE = -1;
inline constexpr VARIANT_BOOL VARIANT_FALSE = 0;

inline constexpr VARTYPE VT_EMPTY = 0;
inline constexpr VARTYPE VT_NULL = 1;
inline constexpr VARTYPE VT_I4 = 3;
inline constexpr VARTYPE VT_BSTR = 8;
inline constexpr VARTYPE VT_DISPATCH = 9;
inline constexpr VARTYPE VT_BOOL = 11;
inline constexpr VARTYPE VT_UNKNOWN = 13;
inline constexpr VARTYPE VT_VOID = 24;
inline constexpr VARTYPE VT_RECORD = 36;
inline constexpr VARTYPE VT_CLSID = 72;
inline constexpr VARTYPE VT_VECTOR = 0x1000;
inline constexpr VARTYPE VT_ARRAY = 0x2000;
inline constexpr VARTYPE VT_BYREF = 0x4000;
inline constexpr VARTYPE VT_TYPEMASK = 0x0FFF;

inline constexpr HRESULT DISP_E_BADVARTYPE = static_cast<HRESULT>(0x80020008);

struct VARIANT
{
    VARTYPE vt;
    WORD wReserved1;
    WORD wReserved2;
    WORD wReserved3;
    union
    {
        LONG lVal;
        VARIANT_BOOL boolVal;
        BSTR bstrVal;
        IUnknown* punkVal;
        LONG* plVal;
        void* twoPointers[2];
    };
};
using VARIANTARG = VARIANT;
static_assert(sizeof(VARIANT) == 24);

extern "C"
{
    BSTR WINAPI SysAllocString(const OLECHAR* psz);
    void WINAPI SysFreeString(BSTR bstrString);
    HRESULT WINAPI VariantClear(VARIANTARG* pvarg);
}
