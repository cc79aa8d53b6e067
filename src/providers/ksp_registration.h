// The toolkit's two key storage providers in Windows' cryptography configuration (CNG).
#pragma once

#include <windows.h>

// What RegisterKsps returns after a real failure.
inline constexpr DWORD kKspRegistrationFailed = 0xFFFFFFFE;

// Registers and removes the key storage providers "Kelo TCG Enabled KSP" and "Kelo TCG-Enabled Strong
// Authentication KSP", both served by KeloKSP.dll. Keeps no state: each step loads bcrypt.dll and frees it, so the
// program also starts on a Windows without CNG.
class CKspRegistration
{
public:
    // Registers both providers, on Windows Vista or later. 0 when both are registered now or were before, and on an
    // older Windows; kKspRegistrationFailed when a provider could not be registered: the ones behind it are then
    // not tried. Logs each provider and its success, or that Windows is too old.
    DWORD RegisterKsps() const;

    // Removes both providers, on Windows Vista or later. Always 0. Logs each provider and its success, or that
    // Windows is too old (in the words of the registration).
    DWORD UnregisterKsps() const;

    // Register one provider and its context function. 0, or the status of the CNG call that failed:
    // STATUS_OBJECT_NAME_COLLISION (0xC0000035) when the provider is there already, whose context function is then
    // not looked after. E_FAIL without bcrypt.dll, and when it lacks a function, in place of that function's
    // call. Logs each failure.
    DWORD RegisterTcgKsp() const;
    DWORD RegisterStrongAuthKsp() const;

    // Remove one provider: its context function first, and when that failed nothing else. 0, the status of the CNG
    // call that failed, or E_FAIL as above. Logs each failure.
    DWORD UnregisterTcgKsp() const;
    DWORD UnregisterStrongAuthKsp() const;
};
