// The toolkit's two key storage providers in Windows' cryptography configuration (CNG).
#pragma once

#include <windows.h>

// What RegisterKsps returns after a failure.
inline constexpr DWORD kKspRegistrationFailed = 0xFFFFFFFE;

// Registers and removes the key storage providers "Kelo TCG Enabled KSP" and "Kelo TCG-Enabled Strong Authentication
// KSP", both in KeloKSP.dll. Has no state: each step loads bcrypt.dll and frees it, and the program also starts on a
// Windows without CNG.
class CKspRegistration
{
public:
    // Registers both providers, on Windows Vista or later. Logs each provider and its success, or that Windows is too
    // old.
    // Returns  0                       both are registered, now or before; or Windows is older
    //          kKspRegistrationFailed  a provider could not be registered; the next one was not tried
    DWORD RegisterKsps() const;

    // Removes both providers, on Windows Vista or later. Always returns 0. Logs each provider and its success, or that
    // Windows is too old.
    // Required: the text for an old Windows is that of the registration.
    DWORD UnregisterKsps() const;

    // Register one provider and its context function. Log each failure.
    // Return  0                                          registered
    //         STATUS_OBJECT_NAME_COLLISION (0xC0000035)  the provider is there already; its context function is then
    //                                                    not added
    //         any other status                           a CNG call failed with it
    //         E_FAIL                                     no bcrypt.dll, or it lacks the function that is to be called
    DWORD RegisterTcgKsp() const;
    DWORD RegisterStrongAuthKsp() const;

    // Remove one provider: its context function and, if that succeeded, the provider. Log each failure. Return 0, the
    // status of the CNG call that failed, or E_FAIL as above.
    DWORD UnregisterTcgKsp() const;
    DWORD UnregisterStrongAuthKsp() const;
};
