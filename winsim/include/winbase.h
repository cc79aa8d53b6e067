// Processes, time, memory and environment, for the simulated machine.
#pragma once

#include "processthreadsapi.h"
#include "winsim_types.h"

#include <cstdarg>

struct SYSTEMTIME
{
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek;
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
};
using LPSYSTEMTIME = SYSTEMTIME*;

struct TIME_ZONE_INFORMATION
{
    LONG Bias;
    WCHAR StandardName[32];
    SYSTEMTIME StandardDate;
    LONG StandardBias;
    WCHAR DaylightName[32];
    SYSTEMTIME DaylightDate;
    LONG DaylightBias;
};
using LPTIME_ZONE_INFORMATION = TIME_ZONE_INFORMATION*;

inline constexpr DWORD TIME_ZONE_ID_UNKNOWN = 0;
inline constexpr DWORD TIME_ZONE_ID_STANDARD = 1;
inline constexpr DWORD TIME_ZONE_ID_DAYLIGHT = 2;
inline constexpr DWORD TIME_ZONE_ID_INVALID = 0xFFFFFFFF;
inline constexpr DWORD INFINITE = 0xFFFFFFFF;
inline constexpr UINT LMEM_FIXED = 0x0000;
inline constexpr UINT LMEM_ZEROINIT = 0x0040;
inline constexpr UINT LPTR = LMEM_FIXED | LMEM_ZEROINIT;

// -1 as a handle. A variable, because a pointer made from a number cannot be a constant.
inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(static_cast<LONG_PTR>(-1));

extern "C"
{
    int WINAPI WinMain(HINSTANCE hInstance, HINSTANCE hPrevInstance, LPSTR lpCmdLine, int nShowCmd);

    void WINAPI GetSystemTime(LPSYSTEMTIME lpSystemTime);
    DWORD WINAPI GetTimeZoneInformation(LPTIME_ZONE_INFORMATION lpTimeZoneInformation);
    DWORD WINAPI GetTickCount();
    void WINAPI Sleep(DWORD dwMilliseconds);

    HANDLE WINAPI GetCurrentProcess();
    DWORD WINAPI GetCurrentProcessId();
    DWORD WINAPI GetCurrentThreadId();
    LPWSTR WINAPI GetCommandLineW();
    BOOL WINAPI IsWow64Process(HANDLE hProcess, PBOOL Wow64Process);
    BOOL WINAPI CloseHandle(HANDLE hObject);

    HLOCAL WINAPI LocalAlloc(UINT uFlags, SIZE_T uBytes);
    HLOCAL WINAPI LocalFree(HLOCAL hMem);

    UINT WINAPI GetWindowsDirectoryA(LPSTR lpBuffer, UINT uSize);
    UINT WINAPI GetSystemDirectoryA(LPSTR lpBuffer, UINT uSize);
    UINT WINAPI GetSystemDirectoryW(LPWSTR lpBuffer, UINT uSize);
    DWORD WINAPI GetEnvironmentVariableA(LPCSTR lpName, LPSTR lpBuffer, DWORD nSize);

    HANDLE WINAPI RegisterEventSourceW(LPCWSTR lpUNCServerName, LPCWSTR lpSourceName);
    BOOL WINAPI ReportEventW(HANDLE hEventLog, WORD wType, WORD wCategory, DWORD dwEventID, PVOID lpUserSid,
                             WORD wNumStrings, DWORD dwDataSize, LPCWSTR* lpStrings, LPVOID lpRawData);
    BOOL WINAPI DeregisterEventSource(HANDLE hEventLog);
}

inline constexpr WORD EVENTLOG_SUCCESS = 0x0000;
inline constexpr WORD EVENTLOG_ERROR_TYPE = 0x0001;
inline constexpr WORD EVENTLOG_WARNING_TYPE = 0x0002;
inline constexpr WORD EVENTLOG_INFORMATION_TYPE = 0x0004;

inline constexpr DWORD FORMAT_MESSAGE_ALLOCATE_BUFFER = 0x00000100;
inline constexpr DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x00000200;
inline constexpr DWORD FORMAT_MESSAGE_FROM_STRING = 0x00000400;
inline constexpr DWORD FORMAT_MESSAGE_FROM_HMODULE = 0x00000800;
inline constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x00001000;
inline constexpr DWORD FORMAT_MESSAGE_ARGUMENT_ARRAY = 0x00002000;
inline constexpr DWORD FORMAT_MESSAGE_MAX_WIDTH_MASK = 0x000000FF;

extern "C"
{
    DWORD WINAPI FormatMessageA(DWORD dwFlags, LPCVOID lpSource, DWORD dwMessageId, DWORD dwLanguageId, LPSTR lpBuffer,
                                DWORD nSize, va_list* Arguments);
    DWORD WINAPI FormatMessageW(DWORD dwFlags, LPCVOID lpSource, DWORD dwMessageId, DWORD dwLanguageId, LPWSTR lpBuffer,
                                DWORD nSize, va_list* Arguments);
}

// Fills memory with zeros, even if the compiler sees that nothing reads it again.
inline PVOID SecureZeroMemory(PVOID destination, SIZE_T length)
{
    volatile auto* bytes = static_cast<volatile BYTE*>(destination);
    for (SIZE_T i = 0; i < length; ++i)
        bytes[i] = 0;
    return destination;
}

inline void ZeroMemory(void* destination, SIZE_T length)
{
    __builtin_memset(destination, 0, length);
}
