// Sets the machine up for a TCG software stack.
#include "tss/setup_tcg_dll.h"

#include "log/module_logs.h"
#include "platform/service_binary_path.h"
#include "platform/stack_names.h"
#include "service/toolkit_service.h"
#include "tss/config_access.h"
#include "tss/copy_tcg_dll.h"
#include "tss/detect_tpm_platform.h"
#include "tss/ntru_tsp_library.h"
#include "tss/shim_files.h"
#include "tss/unblock_tpm_commands.h"
#include "windows/unique_handle.h"
#include "windows/windows_version.h"

#include <cstring>
#include <string>

namespace
{

constexpr int kNtruNotPresent = -1;

// Puts in place the library through which applications find a stack that no detection has found usable.
void PlaceKeloLibrary(const char* target)
{
    RemoveTSP1File(kTspiSlot);
    std::wstring serviceFolder;
    if (GetServiceBinaryPath(kKeloService, serviceFolder))
        return;
    WriteLog(g_tssLog, "Kelo TSS not present so copy 'shim' TSPI.dll");
    // Required: the shim comes from the NTRU folder here too.
    CopyShimFile(target, kNtru12Vendor, kTspiSlot);
}

void PlaceNtruLibrary(const char* target)
{
    WriteLog(g_tssLog, "remove old TSP1.dll found in System32 directory...");
    RemoveTSP1File(kTsp1Slot);
    WriteLog(g_tssLog, "if NTRU present and older version then copy to system32 directory...");
    if (CopyTSP1FileImp() != kNtruNotPresent)
        return;
    WriteLog(g_tssLog, "NTRU not present so copy 'shim' TSP1.dll");
    CopyShimFile(target, kNtru12Vendor, kTsp1Slot);
}

// A stack that can be chosen.
struct Stack
{
    const char* vendor;
    const wchar_t* toolkitVendor; // what the toolkit's service calls it
    const wchar_t* serviceName;
    DWORD shimSlot;
    LogFormat<> foundLine;
    void (*placeLibrary)(const char* target);
};

// In the order in which they are tried.
constexpr Stack kStacks[] = {
    {kKeloVendor, kKeloServiceVendor, kKeloService, kTspiSlot, "Found Kelo TSS", &PlaceKeloLibrary},
    {kNtru12Vendor, kNtruServiceVendor, kNtruService, kTsp1Slot, "Found NTRU TSS", &PlaceNtruLibrary},
};

void UnblockCommands()
{
    if (GetWindowsMajorVersion() <= kMajorVersionBeforeVista)
    {
        WriteLog(g_tssLog, "Not Vista+ OS");
        return;
    }
    const int result = UnblockTpmCommands();
    if (result < 0)
        WriteLog(g_tssLog, "Failed to Unblock Commands for Vista+");
    else if (result == 0)
        WriteLog(g_tssLog, "Commands blocked on Vista+"); // Required: although they were unblocked
}

void OpenConfiguration()
{
    if (SetPolicyDirectoryAccess() == 0)
        WriteLog(g_tssLog, "Unable to Set security on the Policy Directory");
    if (SetConfigFileAccess() == 0)
        WriteLog(g_tssLog, "Unable to Set Security on the file Kelo_Config.ini");
}

// What follows every choice of a stack.
void InstallFor(const Stack& stack, const char* target)
{
    CopyTCGDLL(target, stack.vendor);
    InstallTkService(stack.toolkitVendor, target);
}

// Sets up the first stack that is usable. `resultCode` gets the last detection's result code.
bool SetUpUsableStack(const char* target, DWORD& resultCode)
{
    for (const Stack& stack : kStacks)
    {
        if (!DetectTPMPlatform(target, stack.vendor, &resultCode))
            continue;
        RemoveTSP1File(stack.shimSlot);
        InstallFor(stack, target);
        return true;
    }
    return false;
}

// The one stack whose service is installed; null when there is none or more than one.
const char* FindSingleInstalledStack()
{
    constexpr DWORD access = SERVICE_QUERY_CONFIG | SERVICE_QUERY_STATUS | SERVICE_START;
    const UniqueServiceHandle manager{OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS)};
    if (!manager)
        return nullptr;
    int count = 0;
    const char* found = nullptr;
    for (const Stack& stack : kStacks)
    {
        if (!UniqueServiceHandle{OpenServiceW(manager.Get(), stack.serviceName, access)})
            continue;
        WriteLog(g_tssLog, stack.foundLine);
        ++count;
        found = stack.vendor;
    }
    return count == 1 ? found : nullptr;
}

// The stack to set up when none is usable: the requested one, unless another is the only one installed; null without a
// request.
const char* ChooseDefault(const char* vendor)
{
    const char* found = FindSingleInstalledStack();
    if (vendor == nullptr || found == nullptr || std::strcmp(found, vendor) == 0)
        return vendor;
    WriteLog(g_tssLog, "Found a single TCS = %s that is different than the default %s. Set the default to its TSS",
             found, vendor);
    return found;
}

bool SetUpDefaultStack(const char* target, const char* vendor)
{
    for (const Stack& stack : kStacks)
    {
        if (_stricmp(vendor, stack.vendor) != 0)
            continue;
        WriteLog(g_tssLog, "--------------------------------------------");
        WriteLog(g_tssLog, "Set to default TPM Platform: %s", vendor);
        stack.placeLibrary(target);
        InstallFor(stack, target);
        return true;
    }
    return false;
}

DWORD SetUpStack(const char* target, const char* requestedVendor)
{
    DWORD resultCode = 0;
    if (SetUpUsableStack(target, resultCode))
        return resultCode;
    const char* vendor = ChooseDefault(requestedVendor);
    if (vendor == nullptr)
    {
        WriteLog(g_tssLog, "No default TSS vendor platform specified AND no valid TSS & TPM state detected --> Unable "
                           "to install Toolkit!");
        return resultCode;
    }
    if (SetUpDefaultStack(target, vendor))
        return 0;
    WriteLog(g_tssLog, "No default TPM platform specified - installation will fail.");
    return resultCode;
}

} // namespace

DWORD SetupTCGDLL(const char* target, const char* vendor)
{
    WriteLog(g_tssLog, "===================================================");
    WriteLog(g_tssLog, "SetupTCGDLL() -->");
    if (target != nullptr)
        WriteLog(g_tssLog, "Target: %s", target);
    if (vendor != nullptr)
        WriteLog(g_tssLog, "TSS_VENDOR: %s", vendor);
    else
        WriteLog(g_tssLog, "No TSS_VENDOR parameter specified only install if a TSS and proper TPM state is found.");

    UnblockCommands();
    OpenConfiguration();
    const DWORD resultCode = SetUpStack(target != nullptr ? target : "", vendor);

    WriteLog(g_tssLog, "<-- SetupTCGDLL()");
    return resultCode;
}

int UninstallTCGDLL()
{
    WriteLog(g_tssLog, "===================================================");
    WriteLog(g_tssLog, "UninstallTCGDLL() -->");
    WriteLog(g_tssLog, "Remove TSP1_x64 and/or TSPI_x64 from System32");
    RemoveTSP1File(kTsp1Slot);
    RemoveTSP1File(kTspiSlot);
    WriteLog(g_tssLog, "<-- UninstallTCGDLL()");
    return 0;
}
