// The configuration of Windows' cryptography (CNG), for the simulated machine.
#pragma once

#include "winsim_types.h"

struct CRYPT_INTERFACE_REG
{
    ULONG dwInterface;
    ULONG dwFlags;
    ULONG cFunctions;
    PWSTR* rgpszFunctions;
};
using PCRYPT_INTERFACE_REG = CRYPT_INTERFACE_REG*;

struct CRYPT_IMAGE_REG
{
    PWSTR pszImage;
    ULONG cInterfaces;
    PCRYPT_INTERFACE_REG* rgpInterfaces;
};
using PCRYPT_IMAGE_REG = CRYPT_IMAGE_REG*;

struct CRYPT_PROVIDER_REG
{
    ULONG cAliases;
    PWSTR* rgpszAliases;
    PCRYPT_IMAGE_REG pUM;
    PCRYPT_IMAGE_REG pKM;
};
using PCRYPT_PROVIDER_REG = CRYPT_PROVIDER_REG*;

static_assert(sizeof(CRYPT_INTERFACE_REG) == 24 && sizeof(CRYPT_IMAGE_REG) == 24 && sizeof(CRYPT_PROVIDER_REG) == 32);

inline constexpr ULONG CRYPT_LOCAL = 1;
inline constexpr ULONG CRYPT_DOMAIN = 2;
inline constexpr ULONG CRYPT_OVERWRITE = 1;
inline constexpr ULONG CRYPT_PRIORITY_TOP = 0x00000000;
inline constexpr ULONG CRYPT_PRIORITY_BOTTOM = 0xFFFFFFFF;

extern "C"
{
    NTSTATUS WINAPI BCryptRegisterProvider(LPCWSTR pszProvider, ULONG dwFlags, PCRYPT_PROVIDER_REG pReg);
    NTSTATUS WINAPI BCryptUnregisterProvider(LPCWSTR pszProvider);
    NTSTATUS WINAPI BCryptAddContextFunctionProvider(ULONG dwTable, LPCWSTR pszContext, ULONG dwInterface,
                                                     LPCWSTR pszFunction, LPCWSTR pszProvider, ULONG dwPosition);
    NTSTATUS WINAPI BCryptRemoveContextFunctionProvider(ULONG dwTable, LPCWSTR pszContext, ULONG dwInterface,
                                                        LPCWSTR pszFunction, LPCWSTR pszProvider);
}
