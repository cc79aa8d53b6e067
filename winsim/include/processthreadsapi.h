// Processes, for the simulated machine.
#pragma once

#include "winsim_types.h"

struct STARTUPINFOW
{
    DWORD cb;
    LPWSTR lpReserved;
    LPWSTR lpDesktop;
    LPWSTR lpTitle;
    DWORD dwX;
    DWORD dwY;
    DWORD dwXSize;
    DWORD dwYSize;
    DWORD dwXCountChars;
    DWORD dwYCountChars;
    DWORD dwFillAttribute;
    DWORD dwFlags;
    WORD wShowWindow;
    WORD cbReserved2;
    LPBYTE lpReserved2;
    HANDLE hStdInput;
    HANDLE hStdOutput;
    HANDLE hStdError;
};
using LPSTARTUPINFOW = STARTUPINFOW*;
static_assert(sizeof(STARTUPINFOW) == 104);

struct PROCESS_INFORMATION
{
    HANDLE hProcess;
    HANDLE hThread;
    DWORD dwProcessId;
    DWORD dwThreadId;
};
using LPPROCESS_INFORMATION = PROCESS_INFORMATION*;

// Only those that the simulated machine supports.
enum PROCESS_MITIGATION_POLICY
{
    ProcessDEPPolicy = 0,
    ProcessRedirectionTrustPolicy = 16
};

inline constexpr DWORD PROCESS_TERMINATE = 0x0001;
inline constexpr DWORD PROCESS_VM_READ = 0x0010;
inline constexpr DWORD PROCESS_QUERY_INFORMATION = 0x0400;
inline constexpr DWORD PROCESS_QUERY_LIMITED_INFORMATION = 0x1000;
inline constexpr DWORD SYNCHRONIZE = 0x00100000;
inline constexpr DWORD CREATE_NO_WINDOW = 0x08000000;
inline constexpr DWORD CREATE_DEFAULT_ERROR_MODE = 0x04000000;
inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_TIMEOUT = 258;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;
inline constexpr DWORD STILL_ACTIVE = 259;
inline constexpr LONG ERROR_DIRECTORY = 267;

extern "C"
{
    BOOL WINAPI CreateProcessW(LPCWSTR lpApplicationName, LPWSTR lpCommandLine,
                               LPSECURITY_ATTRIBUTES lpProcessAttributes, LPSECURITY_ATTRIBUTES lpThreadAttributes,
                               BOOL bInheritHandles, DWORD dwCreationFlags, LPVOID lpEnvironment,
                               LPCWSTR lpCurrentDirectory, LPSTARTUPINFOW lpStartupInfo,
                               LPPROCESS_INFORMATION lpProcessInformation);
    DWORD WINAPI WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds);
    BOOL WINAPI GetExitCodeProcess(HANDLE hProcess, LPDWORD lpExitCode);
    HANDLE WINAPI OpenProcess(DWORD dwDesiredAccess, BOOL bInheritHandle, DWORD dwProcessId);
    BOOL WINAPI SetProcessMitigationPolicy(PROCESS_MITIGATION_POLICY MitigationPolicy, PVOID lpBuffer, SIZE_T dwLength);
    BOOL WINAPI TerminateProcess(HANDLE hProcess, UINT uExitCode);
    [[noreturn]] void WINAPI ExitProcess(UINT uExitCode);
}
