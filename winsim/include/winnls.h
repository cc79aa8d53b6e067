// Code pages, locales and languages, for the simulated machine.
#pragma once

#include "winsim_types.h"

inline constexpr UINT CP_ACP = 0;
inline constexpr UINT CP_UTF8 = 65001;

using LCTYPE = DWORD;
inline constexpr LCTYPE LOCALE_ILANGUAGE = 0x00000001;
inline constexpr LCTYPE LOCALE_SISO639LANGNAME = 0x00000059;
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
