// Registers and removes the key storage providers.
#include "providers/ksp_registration.h"

#include "log/module_logs.h"
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

// The registration record of both providers. It is not constant because Windows' structures have pointers to writable
// memory.
wchar_t g_image[] = L"KeloKSP.dll";
wchar_t g_function[] = L"KEY_STORAGE";
PWSTR g_functions[] = {g_function};
CRYPT_INTERFACE_REG g_interface = {NCRYPT_KEY_STORAGE_INTERFACE, CRYPT_LOCAL, 1, g_functions};
PCRYPT_INTERFACE_REG g_interfaces[] = {&g_interface};
CRYPT_IMAGE_REG g_userModeImage = {g_image, 1, g_interfaces};
CRYPT_PROVIDER_REG g_registration = {0, nullptr, &g_userModeImage, nullptr};

// A function of CNG: its name, and the lines for a library without it and for a failing status.
template <typename Function>
struct CngFunction
{
    const char* name;
    LogFormat<DWORD> missing; // Required: the text has no place for the last error that comes with it
    LogFormat<NTSTATUS> failed;
};

constexpr CngFunction<NTSTATUS(WINAPI*)(LPCWSTR, ULONG, PCRYPT_PROVIDER_REG)> kRegisterProvider = {
    "BCryptRegisterProvider", " Failed to GetProcAddress for BCryptRegisterProvider",
    "BCryptRegisterProvider failed with error code 0x%08x\n"};
constexpr CngFunction<NTSTATUS(WINAPI*)(ULONG, LPCWSTR, ULONG, LPCWSTR, LPCWSTR, ULONG)> kAddContextFunction = {
    "BCryptAddContextFunctionProvider", " Failed to GetProcAddress for BCryptAddContextFunctionProvider",
    "BCryptAddContextFunctionProvider failed with error code 0x%08x\n"};
constexpr CngFunction<NTSTATUS(WINAPI*)(LPCWSTR)> kUnregisterProvider = {
    "BCryptUnregisterProvider", " Failed to GetProcAddress for BCryptUnregisterProvider",
    "BCryptUnregisterProvider failed with error code 0x%08x\n"};
constexpr CngFunction<NTSTATUS(WINAPI*)(ULONG, LPCWSTR, ULONG, LPCWSTR, LPCWSTR)> kRemoveContextFunction = {
    "BCryptRemoveContextFunctionProvider", " Failed to GetProcAddress for BCryptRemoveContextFunctionProvider",
    "BCryptRemoveContextFunctionProvider failed with error code 0x%08x\n"};

UniqueLibrary LoadCng()
{
    UniqueLibrary library{LoadLibraryW(L"bcrypt.dll")};
    if (!library)
        WriteLog(g_providersLog, "CNG bcrypt library not found");
    return library;
}

// Null, with a line, when the library lacks the function.
template <typename Function>
Function Find(const UniqueLibrary& library, const CngFunction<Function>& function)
{
    const auto found = FindFunction<Function>(library.Get(), function.name);
    if (found == nullptr)
        WriteLog(g_providersLog, function.missing, GetLastError());
    return found;
}

// The status of a function that Find has looked for; E_FAIL when it was not found.
template <typename Function, typename... Arguments>
DWORD Call(const CngFunction<Function>& function, Function found, Arguments... arguments)
{
    if (found == nullptr)
        return kCannotCall;
    const NTSTATUS status = found(arguments...);
    if (status != 0)
        WriteLog(g_providersLog, function.failed, status);
    return static_cast<DWORD>(status);
}

// Required: the first function is called even if the second is missing.
DWORD Register(const wchar_t* provider)
{
    const UniqueLibrary library = LoadCng();
    if (!library)
        return kCannotCall;
    const auto registerProvider = Find(library, kRegisterProvider);
    const auto addContextFunction = Find(library, kAddContextFunction);
    const DWORD status = Call(kRegisterProvider, registerProvider, provider, kKeepExisting, &g_registration);
    if (status != kSuccess)
        return status;
    // At the bottom: the providers never take precedence over the system's own.
    return Call(kAddContextFunction, addContextFunction, CRYPT_LOCAL, nullptr, NCRYPT_KEY_STORAGE_INTERFACE, g_function,
                provider, CRYPT_PRIORITY_BOTTOM);
}

// The context function, which Register adds last, goes first.
DWORD Unregister(const wchar_t* provider)
{
    const UniqueLibrary library = LoadCng();
    if (!library)
        return kCannotCall;
    const auto unregisterProvider = Find(library, kUnregisterProvider);
    const auto removeContextFunction = Find(library, kRemoveContextFunction);
    const DWORD status = Call(kRemoveContextFunction, removeContextFunction, CRYPT_LOCAL, nullptr,
                              NCRYPT_KEY_STORAGE_INTERFACE, g_function, provider);
    return status == kSuccess ? Call(kUnregisterProvider, unregisterProvider, provider) : status;
}

bool HasCng()
{
    if (IsWindowsVersionAtLeast(6, 0))
        return true;
    WriteLog(g_providersLog, "Kelo KSPs will not be installed, target system is not Vista+");
    return false;
}

// A provider's steps. The registration and the removal take the providers in the same order.
struct Provider
{
    const wchar_t* name;
    DWORD (CKspRegistration::*registerStep)() const;
    DWORD (CKspRegistration::*unregisterStep)() const;
    LogFormat<const wchar_t*> alreadyRegistered;
};

// Required: the second text lacks the word "KSP".
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
