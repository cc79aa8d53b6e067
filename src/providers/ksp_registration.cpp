// Registers and removes the key storage providers.
#include "providers/ksp_registration.h"

#include "providers/providers_log.h"
#include "windows/library_function.h"
#include "windows/unique_handle.h"
#include "windows/windows_version.h"

#include <bcrypt.h>
#include <ncrypt.h>

#include <functional>

namespace
{

constexpr wchar_t kTcgKsp[] = L"Kelo TCG Enabled KSP";
constexpr wchar_t kStrongAuthKsp[] = L"Kelo TCG-Enabled Strong Authentication KSP";

constexpr DWORD kSuccess = 0;
constexpr DWORD kAlreadyRegistered = 0xC0000035; // STATUS_OBJECT_NAME_COLLISION
constexpr DWORD kCannotCall = static_cast<DWORD>(E_FAIL);

constexpr ULONG kKeepExisting = 0; // not CRYPT_OVERWRITE

// The registration record, the same for both providers. Nobody writes to it: Windows' structures merely ask for
// writable pointers.
wchar_t g_image[] = L"KeloKSP.dll";
wchar_t g_function[] = L"KEY_STORAGE";
PWSTR g_functions[] = {g_function};
CRYPT_INTERFACE_REG g_interface = {NCRYPT_KEY_STORAGE_INTERFACE, CRYPT_LOCAL, 1, g_functions};
PCRYPT_INTERFACE_REG g_interfaces[] = {&g_interface};
CRYPT_IMAGE_REG g_userModeImage = {g_image, 1, g_interfaces};
CRYPT_PROVIDER_REG g_registration = {0, nullptr, &g_userModeImage, nullptr};

using RegisterProviderFunction = NTSTATUS(WINAPI*)(LPCWSTR, ULONG, PCRYPT_PROVIDER_REG);
using UnregisterProviderFunction = NTSTATUS(WINAPI*)(LPCWSTR);
using AddContextFunctionProviderFunction = NTSTATUS(WINAPI*)(ULONG, LPCWSTR, ULONG, LPCWSTR, LPCWSTR, ULONG);
using RemoveContextFunctionProviderFunction = NTSTATUS(WINAPI*)(ULONG, LPCWSTR, ULONG, LPCWSTR, LPCWSTR);

UniqueLibrary LoadCng()
{
    UniqueLibrary library{LoadLibraryW(L"bcrypt.dll")};
    if (!library)
        WriteLog(g_providersLog, "CNG bcrypt library not found");
    return library;
}

// A CNG function, or null with a line. The line's text has no place for the last error that comes with it.
template <typename Function>
Function FindCngFunction(const UniqueLibrary& library, const char* name, LogFormat<DWORD> missing)
{
    const auto function = FindFunction<Function>(library.Get(), name);
    if (function == nullptr)
        WriteLog(g_providersLog, missing, GetLastError());
    return function;
}

DWORD Register(const wchar_t* provider)
{
    const UniqueLibrary library = LoadCng();
    if (!library)
        return kCannotCall;
    const auto registerProvider = FindCngFunction<RegisterProviderFunction>(
        library, "BCryptRegisterProvider", " Failed to GetProcAddress for BCryptRegisterProvider");
    const auto addContextFunction = FindCngFunction<AddContextFunctionProviderFunction>(
        library, "BCryptAddContextFunctionProvider", " Failed to GetProcAddress for BCryptAddContextFunctionProvider");
    if (registerProvider == nullptr)
        return kCannotCall;
    NTSTATUS status = registerProvider(provider, kKeepExisting, &g_registration);
    if (status != 0)
    {
        WriteLog(g_providersLog, "BCryptRegisterProvider failed with error code 0x%08x\n", status);
        return static_cast<DWORD>(status);
    }
    // A missing second function is meant to be found out only here.
    if (addContextFunction == nullptr)
        return kCannotCall;
    // At the bottom: the providers never take precedence over the system's own.
    status = addContextFunction(CRYPT_LOCAL, nullptr, NCRYPT_KEY_STORAGE_INTERFACE, g_function, provider,
                                CRYPT_PRIORITY_BOTTOM);
    if (status != 0)
        WriteLog(g_providersLog, "BCryptAddContextFunctionProvider failed with error code 0x%08x\n", status);
    return static_cast<DWORD>(status);
}

// Takes away in the reverse order of Register.
DWORD Unregister(const wchar_t* provider)
{
    const UniqueLibrary library = LoadCng();
    if (!library)
        return kCannotCall;
    const auto unregisterProvider = FindCngFunction<UnregisterProviderFunction>(
        library, "BCryptUnregisterProvider", " Failed to GetProcAddress for BCryptUnregisterProvider");
    const auto removeContextFunction = FindCngFunction<RemoveContextFunctionProviderFunction>(
        library, "BCryptRemoveContextFunctionProvider",
        " Failed to GetProcAddress for BCryptRemoveContextFunctionProvider");
    if (removeContextFunction == nullptr)
        return kCannotCall;
    NTSTATUS status = removeContextFunction(CRYPT_LOCAL, nullptr, NCRYPT_KEY_STORAGE_INTERFACE, g_function, provider);
    if (status != 0)
    {
        WriteLog(g_providersLog, "BCryptRemoveContextFunctionProvider failed with error code 0x%08x\n", status);
        return static_cast<DWORD>(status);
    }
    if (unregisterProvider == nullptr)
        return kCannotCall;
    status = unregisterProvider(provider);
    if (status != 0)
        WriteLog(g_providersLog, "BCryptUnregisterProvider failed with error code 0x%08x\n", status);
    return static_cast<DWORD>(status);
}

bool HasCng()
{
    if (IsWindowsVersionAtLeast(6, 0))
        return true;
    WriteLog(g_providersLog, "Kelo KSPs will not be installed, target system is not Vista+");
    return false;
}

// What is done with one provider, in the order of registration and of removal alike.
struct Provider
{
    const wchar_t* name;
    DWORD (CKspRegistration::*registerStep)() const;
    DWORD (CKspRegistration::*unregisterStep)() const;
    LogFormat<const wchar_t*> alreadyRegistered;
};

// The second text is meant to lack a word.
constexpr Provider kProviders[] = {
    {kTcgKsp, &CKspRegistration::RegisterTcgKsp, &CKspRegistration::UnregisterTcgKsp, "Already registered KSP %S\n"},
    {kStrongAuthKsp, &CKspRegistration::RegisterStrongAuthKsp, &CKspRegistration::UnregisterStrongAuthKsp,
     "Already registered %S\n"},
};

} // namespace

DWORD CKspRegistration::RegisterKsps() const
{
    if (!HasCng())
        return kSuccess;
    for (const Provider& provider : kProviders)
    {
        WriteLog(g_providersLog, "Register the %S\n", provider.name);
        const DWORD status = std::invoke(provider.registerStep, this);
        if (status == kSuccess)
            WriteLog(g_providersLog, "Successfully registered %S\n", provider.name);
        else if (status == kAlreadyRegistered)
            WriteLog(g_providersLog, provider.alreadyRegistered, provider.name);
        else
            return kKspRegistrationFailed;
    }
    return kSuccess;
}

DWORD CKspRegistration::UnregisterKsps() const
{
    if (!HasCng())
        return kSuccess;
    for (const Provider& provider : kProviders)
    {
        WriteLog(g_providersLog, "Unregister the %S\n", provider.name);
        if (std::invoke(provider.unregisterStep, this) == kSuccess)
            WriteLog(g_providersLog, "Successfully un-registered %S\n", provider.name);
    }
    return kSuccess;
}

DWORD CKspRegistration::RegisterTcgKsp() const
{
    return Register(kTcgKsp);
}

DWORD CKspRegistration::RegisterStrongAuthKsp() const
{
    return Register(kStrongAuthKsp);
}

DWORD CKspRegistration::UnregisterTcgKsp() const
{
    return Unregister(kTcgKsp);
}

DWORD CKspRegistration::UnregisterStrongAuthKsp() const
{
    return Unregister(kStrongAuthKsp);
}
