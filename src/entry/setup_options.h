// The options of a "/Setup".
#pragma once

#include <string>

// What the command line and the registry ask of a set-up.
struct SetupOptions
{
    std::string tssVendor; // ANSI; empty when none was given
    bool installVsc = false;
    bool disableAutoProvisioning = false;
};

// Reads the options of the command line (UTF-16), and the registry value "KlVSC Installed" from an earlier removal.
// Logs each option that takes effect.
SetupOptions ReadSetupOptions(int argc, const wchar_t* const* argv);
