// The service control manager, for the simulated machine.
#pragma once

#include "winsim_types.h"

struct SC_HANDLE__;
using SC_HANDLE = SC_HANDLE__*;
using LPSC_HANDLE = SC_HANDLE*;

inline constexpr DWORD SC_MANAGER_CONNECT = 0x0001;
inline constexpr DWORD SC_MANAGER_ALL_ACCESS = 0xF003F;

inline constexpr DWORD SERVICE_QUERY_CONFIG = 0x0001;
inline constexpr DWORD SERVICE_CHANGE_CONFIG = 0x0002;
inline constexpr DWORD SERVICE_QUERY_STATUS = 0x0004;
inline constexpr DWORD SERVICE_START = 0x0010;
inline constexpr DWORD SERVICE_STOP = 0x0020;
inline constexpr DWORD SERVICE_ALL_ACCESS = 0xF01FF;

inline constexpr DWORD SERVICE_STOPPED = 1;
inline constexpr DWORD SERVICE_START_PENDING = 2;
inline constexpr DWORD SERVICE_STOP_PENDING = 3;
inline constexpr DWORD SERVICE_RUNNING = 4;
inline constexpr DWORD SERVICE_CONTINUE_PENDING = 5;
inline constexpr DWORD SERVICE_PAUSE_PENDING = 6;
inline constexpr DWORD SERVICE_PAUSED = 7;

inline constexpr DWORD SERVICE_CONTROL_STOP = 1;
inline constexpr DWORD SERVICE_ACCEPT_STOP = 1;

inline constexpr DWORD SERVICE_BOOT_START = 0;
inline constexpr DWORD SERVICE_SYSTEM_START = 1;
inline constexpr DWORD SERVICE_AUTO_START = 2;
inline constexpr DWORD SERVICE_DEMAND_START = 3;
inline constexpr DWORD SERVICE_DISABLED = 4;
inline constexpr DWORD SERVICE_NO_CHANGE = 0xFFFFFFFF;
inline constexpr DWORD SERVICE_WIN32_OWN_PROCESS = 0x10;
inline constexpr DWORD SERVICE_ERROR_NORMAL = 1;

inline constexpr DWORD SERVICE_CONFIG_DESCRIPTION = 1;

enum SC_STATUS_TYPE
{
    SC_STATUS_PROCESS_INFO = 0
};

struct SERVICE_STATUS
{
    DWORD dwServiceType;
    DWORD dwCurrentState;
    DWORD dwControlsAccepted;
    DWORD dwWin32ExitCode;
    DWORD dwServiceSpecificExitCode;
    DWORD dwCheckPoint;
    DWORD dwWaitHint;
};
using LPSERVICE_STATUS = SERVICE_STATUS*;

struct SERVICE_STATUS_PROCESS
{
    DWORD dwServiceType;
    DWORD dwCurrentState;
    DWORD dwControlsAccepted;
    DWORD dwWin32ExitCode;
    DWORD dwServiceSpecificExitCode;
    DWORD dwCheckPoint;
    DWORD dwWaitHint;
    DWORD dwProcessId;
    DWORD dwServiceFlags;
};
static_assert(sizeof(SERVICE_STATUS_PROCESS) == 36);

struct QUERY_SERVICE_CONFIGW
{
    DWORD dwServiceType;
    DWORD dwStartType;
    DWORD dwErrorControl;
    LPWSTR lpBinaryPathName;
    LPWSTR lpLoadOrderGroup;
    DWORD dwTagId;
    LPWSTR lpDependencies;
    LPWSTR lpServiceStartName;
    LPWSTR lpDisplayName;
};
using LPQUERY_SERVICE_CONFIGW = QUERY_SERVICE_CONFIGW*;

struct SERVICE_DESCRIPTIONW
{
    LPWSTR lpDescription;
};

inline constexpr LONG ERROR_INVALID_SERVICE_CONTROL = 1052;
inline constexpr LONG ERROR_SERVICE_REQUEST_TIMEOUT = 1053;
inline constexpr LONG ERROR_SERVICE_ALREADY_RUNNING = 1056;
inline constexpr LONG ERROR_SERVICE_DISABLED = 1058;
inline constexpr LONG ERROR_SERVICE_DOES_NOT_EXIST = 1060;
inline constexpr LONG ERROR_SERVICE_CANNOT_ACCEPT_CTRL = 1061;
inline constexpr LONG ERROR_SERVICE_NOT_ACTIVE = 1062;
inline constexpr LONG ERROR_DATABASE_DOES_NOT_EXIST = 1065;
inline constexpr LONG ERROR_SERVICE_DEPENDENCY_FAIL = 1068;
inline constexpr LONG ERROR_SERVICE_MARKED_FOR_DELETE = 1072;
inline constexpr LONG ERROR_SERVICE_DEPENDENCY_DELETED = 1075;
inline constexpr LONG ERROR_DEPENDENT_SERVICES_RUNNING = 1051;
inline constexpr LONG ERROR_INVALID_LEVEL = 124;

extern "C"
{
    SC_HANDLE WINAPI OpenSCManagerW(LPCWSTR lpMachineName, LPCWSTR lpDatabaseName, DWORD dwDesiredAccess);
    SC_HANDLE WINAPI OpenServiceW(SC_HANDLE hSCManager, LPCWSTR lpServiceName, DWORD dwDesiredAccess);
    BOOL WINAPI CloseServiceHandle(SC_HANDLE hSCObject);
    BOOL WINAPI QueryServiceStatus(SC_HANDLE hService, LPSERVICE_STATUS lpServiceStatus);
    BOOL WINAPI QueryServiceStatusEx(SC_HANDLE hService, SC_STATUS_TYPE InfoLevel, LPBYTE lpBuffer, DWORD cbBufSize,
                                     LPDWORD pcbBytesNeeded);
    BOOL WINAPI QueryServiceConfigW(SC_HANDLE hService, LPQUERY_SERVICE_CONFIGW lpServiceConfig, DWORD cbBufSize,
                                    LPDWORD pcbBytesNeeded);
    BOOL WINAPI ChangeServiceConfigW(SC_HANDLE hService, DWORD dwServiceType, DWORD dwStartType, DWORD dwErrorControl,
                                     LPCWSTR lpBinaryPathName, LPCWSTR lpLoadOrderGroup, LPDWORD lpdwTagId,
                                     LPCWSTR lpDependencies, LPCWSTR lpServiceStartName, LPCWSTR lpPassword,
                                     LPCWSTR lpDisplayName);
    BOOL WINAPI ChangeServiceConfig2W(SC_HANDLE hService, DWORD dwInfoLevel, LPVOID lpInfo);
    BOOL WINAPI StartServiceA(SC_HANDLE hService, DWORD dwNumServiceArgs, LPCSTR* lpServiceArgVectors);
    BOOL WINAPI StartServiceW(SC_HANDLE hService, DWORD dwNumServiceArgs, LPCWSTR* lpServiceArgVectors);
    BOOL WINAPI ControlService(SC_HANDLE hService, DWORD dwControl, LPSERVICE_STATUS lpServiceStatus);
    BOOL WINAPI DeleteService(SC_HANDLE hService);
}
