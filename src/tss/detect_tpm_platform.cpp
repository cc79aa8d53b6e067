// Finds out whether a TCG software stack and its TPM are usable.
#include "tss/detect_tpm_platform.h"

#include "log/module_logs.h"
#include "platform/processes.h"
#include "platform/service_control.h"
#include "platform/stack_names.h"
#include "tss/detection_library.h"
#include "tss/probe_library_path.h"
#include "tss/shim_files.h"
#include "windows/windows_version.h"

#include <cstring>

namespace
{

// A program of the toolkit that must not run during detection.
struct LeftoverProcess
{
    const char* imageName;
    LogFormat<const char*> logLine;
};

constexpr LeftoverProcess kLeftoverProcesses[] = {
    {"PatchAgent.exe", "kill PatchAgent.exe --> %s"},
    {"VaultCourier.exe", "kill VaultCourier.exe --> %s"},
};

// The shim that must not stand in for a stack during detection.
struct OldShim
{
    const char* vendor;
    LogFormat<> logLine;
    DWORD slot;
};

constexpr OldShim kOldShims[] = {
    {kNtru12Vendor, "Remove old Tsp1_x64.dll", kTsp1Slot},
    {kKeloVendor, "Remove old Tspi_x64.dll", kTspiSlot},
};

// Required: NTRU's processes and service are cleaned up once in a process.
bool g_ntruCleanedUp = false;

// The text, or what the log shows in place of a null one.
const char* Shown(const char* text)
{
    return text != nullptr ? text : "(null)";
}

bool Is(const char* vendor, const char* identifier)
{
    return std::strcmp(vendor, identifier) == 0;
}

void KillLeftoverProcesses()
{
    WriteLog(g_tssLog, "Try to kill Kelo services left behind in previous installation");
    for (const LeftoverProcess& leftover : kLeftoverProcesses)
    {
        const bool killed = KillProcessByName(leftover.imageName);
        WriteLog(g_tssLog, leftover.logLine, killed ? "OK" : "ERROR");
    }
}

bool RestartNtruService()
{
    if (!IsServiceRunning(kNtruService))
    {
        WriteLog(g_tssLog, "NTRU service not running");
        return true;
    }
    WriteLog(g_tssLog, "restarting NTRU TSS service...");
    if (!RestartServiceByName(kNtruService))
    {
        WriteLog(g_tssLog, "Unable to restart NTRU TSS service");
        return false;
    }
    WriteLog(g_tssLog, "NTRU TSS service restarted");
    return true;
}

// False when the stack's service could not be restarted.
bool CleanUpNtruOnce(const char* vendor)
{
    if (g_ntruCleanedUp || !(Is(vendor, kNtruVendor) || Is(vendor, kNtru12Vendor)))
        return true;
    g_ntruCleanedUp = true;
    KillLeftoverProcesses();
    return RestartNtruService();
}

void RemoveOldShim(const char* vendor)
{
    for (const OldShim& shim : kOldShims)
    {
        if (!Is(vendor, shim.vendor))
            continue;
        WriteLog(g_tssLog, shim.logLine);
        RemoveTSP1File(shim.slot);
    }
}

void CleanUpKelo(const char* vendor)
{
    if (!Is(vendor, kKeloVendor) || GetWindowsMajorVersion() <= kMajorVersionBeforeVista)
        return;
    KillLeftoverProcesses();
    WriteLog(g_tssLog, "Restart Kelo Service");
    RestartServiceByName(kKeloService);
}

// False when there is to be no detection.
bool CleanUp(const char* vendor)
{
    if (!CleanUpNtruOnce(vendor))
        return false;
    RemoveOldShim(vendor);
    CleanUpKelo(vendor);
    return true;
}

} // namespace

bool DetectTPMPlatform(const char* target, const char* vendor, DWORD* resultCode)
{
    WriteLog(g_tssLog, "--------------------------------------------");
    WriteLog(g_tssLog, "DetectTPMPlatform(%s,%s)", Shown(target), Shown(vendor));
    const BoundedPath path = ProbeLibraryPath(target, vendor);

    UINT savedErrorMode = 0;
    *resultCode = kTpmNotUsable;
    if (vendor == nullptr || CleanUp(vendor))
    {
        savedErrorMode = SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
        WriteLog(g_tssLog, "Load %s", path.Get());
        *resultCode = AskDetectionLibrary(path);
    }
    // Required: without a saved mode, the mode becomes 0.
    SetErrorMode(savedErrorMode);
    return *resultCode == kUsable;
}
