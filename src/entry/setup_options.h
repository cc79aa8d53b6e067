// What a "/Setup" is asked to do.
#pragma once

#include <string>

// The wishes that the command line and the registry express for one set-up.
struct SetupOptions
{
    std::string tssVendor; // ANSI; empty when none was given
    bool installVsc = false;
    bool disableAutoProvisioning = false;
};

// Reads the options of the command line (UTF-16) and the registry value "KlVSC Installed" that an earlier
// removal left behind. Logs each option that takes effect.
SetupOptions ReadSetupOptions(int argc, const wchar_t* const* argv);
