// The smart-card resource manager, for the simulated machine.
#pragma once

#include "winsim_types.h"

using SCARDCONTEXT = ULONG_PTR;
using LPSCARDCONTEXT = SCARDCONTEXT*;

inline constexpr DWORD SCARD_SCOPE_USER = 0;
inline constexpr DWORD SCARD_SCOPE_TERMINAL = 1;
inline constexpr DWORD SCARD_SCOPE_SYSTEM = 2;

inline constexpr DWORD SCARD_AUTOALLOCATE = 0xFFFFFFFF;

inline constexpr LONG SCARD_S_SUCCESS = 0;
inline constexpr DWORD SCARD_E_INVALID_HANDLE = 0x80100003;
inline constexpr DWORD SCARD_E_INVALID_PARAMETER = 0x80100004;
inline constexpr DWORD SCARD_E_NO_MEMORY = 0x80100006;
inline constexpr DWORD SCARD_E_INSUFFICIENT_BUFFER = 0x80100008;
inline constexpr DWORD SCARD_E_INVALID_VALUE = 0x80100011;
inline constexpr DWORD SCARD_E_NO_SERVICE = 0x8010001D;
inline constexpr DWORD SCARD_E_SERVICE_STOPPED = 0x8010001E;
inline constexpr DWORD SCARD_E_NO_READERS_AVAILABLE = 0x8010002E;

extern "C"
{
    LONG WINAPI SCardEstablishContext(DWORD dwScope, LPCVOID pvReserved1, LPCVOID pvReserved2,
                                      LPSCARDCONTEXT phContext);
    LONG WINAPI SCardReleaseContext(SCARDCONTEXT hContext);
    LONG WINAPI SCardListReadersW(SCARDCONTEXT hContext, LPCWSTR mszGroups, LPWSTR mszReaders, LPDWORD pcchReaders);
}
