// Shell folders, for the simulated machine.
#pragma once

#include "winsim_types.h"

inline constexpr int CSIDL_COMMON_APPDATA = 0x0023;
inline constexpr int CSIDL_WINDOWS = 0x0024;
inline constexpr int CSIDL_SYSTEM = 0x0025;
inline constexpr int CSIDL_PROGRAM_FILES = 0x0026;
inline constexpr int CSIDL_FLAG_DONT_VERIFY = 0x4000;
inline constexpr int CSIDL_FLAG_CREATE = 0x8000;
inline constexpr DWORD SHGFP_TYPE_CURRENT = 0;

extern "C"
{
    HRESULT WINAPI SHGetFolderPathA(HWND hwnd, int csidl, HANDLE hToken, DWORD dwFlags, LPSTR pszPath);
    HRESULT WINAPI SHGetFolderPathW(HWND hwnd, int csidl, HANDLE hToken, DWORD dwFlags, LPWSTR pszPath);
    BOOL WINAPI SHGetSpecialFolderPathW(HWND hwnd, LPWSTR pszPath, int csidl, BOOL fCreate);
    int WINAPI SHCreateDirectoryExA(HWND hwnd, LPCSTR pszPath, const SECURITY_ATTRIBUTES* psa);
    int WINAPI SHCreateDirectoryExW(HWND hwnd, LPCWSTR pszPath, const SECURITY_ATTRIBUTES* psa);
}
