// The virtual smart card's installer.
#pragma once

// Installs and removes the toolkit's TPM-backed virtual smart card.
class CTPMSmartCard
{
public:
    // Whether this is a 32-bit process on 64-bit Windows (IsWow64Process). A failing call is logged, with its
    // last error, and answered with false.
    static bool IsWOW64Process();

    // Whether this is Windows Vista (6.0) or later. Logs a line when it is not.
    static bool IsVistaOrLater();

    // Whether the smart-card steps may run: on Windows Vista or later and, unless `allowWow64` is set, not in a
    // 32-bit process on 64-bit Windows. Logs a line when they may not.
    static bool IsSupportedConfiguration(bool allowWow64);
};
