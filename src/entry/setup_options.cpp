// Reads the options of a "/Setup".
#include "entry/setup_options.h"

#include "entry/options.h"
#include "log/module_logs.h"
#include "platform/product_registry.h"
#include "windows/unique_handle.h"

namespace
{

// Whether the virtual smart card was there when the toolkit was last removed.
// Required: no line says that the key could not be opened.
bool WasVscInstalled()
{
    UniqueRegistryKey key;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, kCommonKey, 0, KEY_ALL_ACCESS, key.Put()) != ERROR_SUCCESS)
        return false;

    const auto installed = ReadDword(key.Get(), kVscInstalledValue);
    if (!installed)
    {
        WriteLog(g_entryLog, "VSC was not previously fully installed");
        return false;
    }
    if (*installed == 0)
        return false;
    WriteLog(g_entryLog, "When Toolkit was last uninstalled... the VSC was present, so must reinstall...");
    return true;
}

} // namespace

SetupOptions ReadSetupOptions(int argc, const wchar_t* const* argv)
{
    SetupOptions options;
    if (GetOptionValue("/TSS_VENDOR=", options.tssVendor, argc, argv))
        WriteLog(g_entryLog, "TSS Vendor: %s", options.tssVendor.c_str());

    // Any text after the equals sign sets a flag.
    std::string value;
    if (GetOptionValue("/TPM_VSC=", value, argc, argv))
    {
        WriteLog(g_entryLog, "TPM VSC Flag set... install VSC");
        options.installVsc = true;
    }
    if (WasVscInstalled())
        options.installVsc = true;

    if (GetOptionValue("/TPM_WIN8=", value, argc, argv))
    {
        WriteLog(g_entryLog, "TPM_WIN8 flag set, disable Win8 AutoProvisioning");
        options.disableAutoProvisioning = true;
    }
    if (GetOptionValue("/ProductType=", value, argc, argv) && value.find("Enterprise") != std::string::npos)
    {
        WriteLog(g_entryLog, "ProductType flag set, disable Win8 AutoProvisioning");
        options.disableAutoProvisioning = true;
    }
    return options;
}
