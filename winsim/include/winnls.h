// Code pages, locales and languages, for the simulated machine.
#pragma once

#include "winsim_types.h"

inline constexpr UINT CP_ACP = 0;
inline constexpr UINT CP_OEMCP = 1;
inline constexpr UINT CP_MACCP = 2;
inline constexpr UINT CP_THREAD_ACP = 3;
inline constexpr UINT CP_SYMBOL = 42;
inline constexpr UINT CP_UTF7 = 65000;
inline constexpr UINT CP_UTF8 = 65001;

inline constexpr DWORD MB_PRECOMPOSED = 0x1;
inline constexpr DWORD MB_COMPOSITE = 0x2;
inline constexpr DWORD MB_USEGLYPHCHARS = 0x4;
inline constexpr DWORD MB_ERR_INVALID_CHARS = 0x8;
inline constexpr DWORD WC_DISCARDNS = 0x10;
inline constexpr DWORD WC_SEPCHARS = 0x20;
inline constexpr DWORD WC_DEFAULTCHAR = 0x40;
inline constexpr DWORD WC_ERR_INVALID_CHARS = 0x80;
inline constexpr DWORD WC_COMPOSITECHECK = 0x200;
inline constexpr DWORD WC_NO_BEST_FIT_CHARS = 0x400;

using LCTYPE = DWORD;
inline constexpr LCTYPE LOCALE_ILANGUAGE = 0x00000001;
inline constexpr LCTYPE LOCALE_SISO639LANGNAME = 0x00000059;
inline constexpr LCTYPE LOCALE_RETURN_NUMBER = 0x20000000;
inline constexpr LCTYPE LOCALE_USE_CP_ACP = 0x40000000;
inline constexpr LCTYPE LOCALE_NOUSEROVERRIDE = 0x80000000;
inline constexpr WORD SORT_DEFAULT = 0x0;

constexpr LCID MAKELCID(LANGID language, WORD sortId)
{
    return static_cast<LCID>(sortId) << 16 | language;
}

extern "C"
{
    int WINAPI MultiByteToWideChar(UINT CodePage, DWORD dwFlags, LPCSTR lpMultiByteStr, int cbMultiByte,
                                   LPWSTR lpWideCharStr, int cchWideChar);
    int WINAPI WideCharToMultiByte(UINT CodePage, DWORD dwFlags, LPCWSTR lpWideCharStr, int cchWideChar,
                                   LPSTR lpMultiByteStr, int cbMultiByte, LPCSTR lpDefaultChar,
                                   LPBOOL lpUsedDefaultChar);

    int WINAPI GetLocaleInfoA(LCID Locale, LCTYPE LCType, LPSTR lpLCData, int cchData);
    LANGID WINAPI GetThreadUILanguage();
    LANGID WINAPI GetUserDefaultLangID();
}
