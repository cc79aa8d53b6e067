// COM: apartments and objects, for the simulated machine.
#pragma once

#include "unknwn.h"
#include "winsim_types.h"

inline constexpr DWORD COINIT_MULTITHREADED = 0x0;
inline constexpr DWORD COINIT_APARTMENTTHREADED = 0x2;
inline constexpr DWORD COINIT_DISABLE_OLE1DDE = 0x4;
inline constexpr DWORD COINIT_SPEED_OVER_MEMORY = 0x8;
inline constexpr DWORD CLSCTX_INPROC_SERVER = 0x1;
inline constexpr DWORD CLSCTX_LOCAL_SERVER = 0x4;

inline constexpr DWORD RPC_C_AUTHN_WINNT = 10;
inline constexpr DWORD RPC_C_AUTHZ_NONE = 0;
inline constexpr DWORD RPC_C_AUTHN_LEVEL_NONE = 1;
inline constexpr DWORD RPC_C_AUTHN_LEVEL_CALL = 3;
inline constexpr DWORD RPC_C_AUTHN_LEVEL_PKT_PRIVACY = 6;
inline constexpr DWORD RPC_C_IMP_LEVEL_IDENTIFY = 2;
inline constexpr DWORD RPC_C_IMP_LEVEL_IMPERSONATE = 3;
inline constexpr DWORD RPC_C_IMP_LEVEL_DELEGATE = 4;
inline constexpr DWORD EOAC_NONE = 0;

using RPC_AUTH_IDENTITY_HANDLE = void*;

inline constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001);
inline constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002);
inline constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003);
inline constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFF);
inline constexpr HRESULT RPC_E_CHANGED_MODE = static_cast<HRESULT>(0x80010106);
inline constexpr HRESULT CLASS_E_NOAGGREGATION = static_cast<HRESULT>(0x80040110);
inline constexpr HRESULT REGDB_E_CLASSNOTREG = static_cast<HRESULT>(0x80040154);
inline constexpr HRESULT CO_E_NOTINITIALIZED = static_cast<HRESULT>(0x800401F0);

extern "C"
{
    HRESULT WINAPI CoInitializeEx(LPVOID pvReserved, DWORD dwCoInit);
    void WINAPI CoUninitialize();
    HRESULT WINAPI CoCreateInstance(REFCLSID rclsid, LPUNKNOWN pUnkOuter, DWORD dwClsContext, REFIID riid, LPVOID* ppv);
    HRESULT WINAPI CoSetProxyBlanket(IUnknown* pProxy, DWORD dwAuthnSvc, DWORD dwAuthzSvc, LPWSTR pServerPrincName,
                                     DWORD dwAuthnLevel, DWORD dwImpLevel, RPC_AUTH_IDENTITY_HANDLE pAuthInfo,
                                     DWORD dwCapabilities);
}
