// Windows' basic types and status values, for the simulated machine.
#pragma once

#include <cstddef>
#include <cstdint>

#define WINAPI
#define STDAPICALLTYPE
#define __stdcall
#define __declspec(attribute)

// A simulated program is compiled with a wchar_t of 16 bits, as on Windows. The simulated machine itself is not, and
// uses char16_t for the same 16 bits.
#ifdef WINSIM_HOST
using WCHAR = char16_t;
#else
using WCHAR = wchar_t;
static_assert(sizeof(wchar_t) == 2, "compile with -fshort-wchar");
#endif

using BOOL = int;
using BOOLEAN = unsigned char;
using BYTE = unsigned char;
using CHAR = char;
using WORD = std::uint16_t;
using USHORT = std::uint16_t;
using SHORT = std::int16_t;
using DWORD = std::uint32_t;
using UINT = std::uint32_t;
using INT = std::int32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using LONGLONG = std::int64_t;
using ULONGLONG = std::uint64_t;
using DWORDLONG = std::uint64_t;
using DWORD_PTR = std::uintptr_t;
using UINT_PTR = std::uintptr_t;
using ULONG_PTR = std::uintptr_t;
using LONG_PTR = std::intptr_t;
using SIZE_T = std::size_t;
using LSTATUS = LONG;
using HRESULT = LONG;
using NTSTATUS = LONG;
using LANGID = WORD;
using LCID = DWORD;
using REGSAM = DWORD;
using ACCESS_MASK = DWORD;

using LPVOID = void*;
using PVOID = void*;
using LPCVOID = const void*;
using LPSTR = char*;
using PSTR = char*;
using LPCSTR = const char*;
using LPWSTR = WCHAR*;
using PWSTR = WCHAR*;
using LPCWSTR = const WCHAR*;
using PCWSTR = const WCHAR*;
using PBOOL = BOOL*;
using LPBOOL = BOOL*;
using LPBYTE = BYTE*;
using PUCHAR = BYTE*;
using LPUINT = UINT*;
using PUINT = UINT*;
using LPDWORD = DWORD*;
using PDWORD = DWORD*;
using PULONG = ULONG*;

using HANDLE = void*;
using PHANDLE = HANDLE*;
using HLOCAL = HANDLE;

struct HKEY__;
using HKEY = HKEY__*;
using PHKEY = HKEY*;
struct HINSTANCE__;
using HINSTANCE = HINSTANCE__*;
using HMODULE = HINSTANCE;
struct HWND__;
using HWND = HWND__*;

struct FILETIME
{
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};
using PFILETIME = FILETIME*;

struct SECURITY_ATTRIBUTES
{
    DWORD nLength;
    LPVOID lpSecurityDescriptor;
    BOOL bInheritHandle;
};
using LPSECURITY_ATTRIBUTES = SECURITY_ATTRIBUTES*;

inline constexpr BOOL FALSE = 0;
inline constexpr BOOL TRUE = 1;
inline constexpr int MAX_PATH = 260;

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005);
inline constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057);
inline constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000E);

constexpr bool SUCCEEDED(HRESULT result)
{
    return result >= 0;
}

constexpr HRESULT HRESULT_FROM_WIN32(DWORD error)
{
    return static_cast<HRESULT>(error == 0 ? 0 : 0x80070000 | (error & 0xFFFF));
}

constexpr bool FAILED(HRESULT result)
{
    return result < 0;
}

inline constexpr LONG ERROR_SUCCESS = 0;
inline constexpr LONG ERROR_INVALID_FUNCTION = 1;
inline constexpr LONG ERROR_FILE_NOT_FOUND = 2;
inline constexpr LONG ERROR_PATH_NOT_FOUND = 3;
inline constexpr LONG ERROR_ACCESS_DENIED = 5;
inline constexpr LONG ERROR_INVALID_HANDLE = 6;
inline constexpr LONG ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr LONG ERROR_NOT_SAME_DEVICE = 17;
inline constexpr LONG ERROR_SHARING_VIOLATION = 32;
inline constexpr LONG ERROR_FILE_EXISTS = 80;
inline constexpr LONG ERROR_INVALID_PARAMETER = 87;
inline constexpr LONG ERROR_CALL_NOT_IMPLEMENTED = 120;
inline constexpr LONG ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr LONG ERROR_BAD_NETPATH = 53;
inline constexpr LONG ERROR_INVALID_NAME = 123;
inline constexpr LONG ERROR_MOD_NOT_FOUND = 126;
inline constexpr LONG ERROR_PROC_NOT_FOUND = 127;
inline constexpr LONG ERROR_DIR_NOT_EMPTY = 145;
inline constexpr LONG ERROR_BAD_ARGUMENTS = 160;
inline constexpr LONG ERROR_BAD_PATHNAME = 161;
inline constexpr LONG ERROR_ALREADY_EXISTS = 183;
inline constexpr LONG ERROR_BAD_EXE_FORMAT = 193;
inline constexpr LONG ERROR_ENVVAR_NOT_FOUND = 203;
inline constexpr LONG ERROR_FILENAME_EXCED_RANGE = 206;
inline constexpr LONG ERROR_MORE_DATA = 234;
inline constexpr LONG ERROR_UNTRUSTED_MOUNT_POINT = 448;
inline constexpr LONG ERROR_INVALID_ADDRESS = 487;
inline constexpr LONG ERROR_NOACCESS = 998;
inline constexpr LONG ERROR_INVALID_FLAGS = 1004;
inline constexpr LONG ERROR_BADKEY = 1010;
inline constexpr LONG ERROR_KEY_DELETED = 1018;
inline constexpr LONG ERROR_NO_UNICODE_TRANSLATION = 1113;
inline constexpr LONG ERROR_TOO_MANY_LINKS = 1142;
inline constexpr LONG ERROR_OLD_WIN_VERSION = 1150;
inline constexpr LONG ERROR_NOT_ALL_ASSIGNED = 1300;
inline constexpr LONG ERROR_INVALID_OWNER = 1307;
inline constexpr LONG ERROR_NO_SUCH_PRIVILEGE = 1313;
inline constexpr LONG ERROR_INVALID_ACL = 1336;
inline constexpr LONG ERROR_INVALID_SID = 1337;
inline constexpr LONG ERROR_RESOURCE_DATA_NOT_FOUND = 1812;
inline constexpr LONG ERROR_RESOURCE_TYPE_NOT_FOUND = 1813;
inline constexpr LONG ERROR_RESOURCE_NAME_NOT_FOUND = 1814;
inline constexpr LONG ERROR_CANT_RESOLVE_FILENAME = 1921;
