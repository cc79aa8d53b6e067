// Asks a detection library for the state of its stack and of the TPM.
#include "tss/detection_library.h"

#include "log/module_logs.h"
#include "log/platform_event.h"
#include "windows/exception_guard.h"
#include "windows/library_function.h"
#include "windows/unique_handle.h"

namespace
{

constexpr DWORD kIncorrectStateEvent = 1018;

// A function of the detection library.
using Query = int (*)();

constexpr int kTssPresent = 0; // DetectTSS
constexpr int kYes = 1;        // isEnabled, isActivated, isOwned
constexpr int kSrkCorrect = 0; // ValidSRKAuth
constexpr int kSrkIncorrect = 1;

// An SRK in the wrong form is only reported: it does not change the result.
void CheckSrk(HMODULE library)
{
    const Query isOwned = FindFunction<Query>(library, "isOwned");
    if (isOwned == nullptr)
    {
        WriteLog(g_tssLog, "Function isOwned() Not found");
        return;
    }
    if (isOwned() != kYes)
        return;

    const Query validSrkAuth = FindFunction<Query>(library, "ValidSRKAuth");
    if (validSrkAuth == nullptr)
    {
        WriteLog(g_tssLog, "Function ValidSRKAuth() Not found");
        return;
    }
    switch (validSrkAuth())
    {
    case kSrkCorrect:
        WriteLog(g_tssLog, "SRK is in correct auth format");
        break;
    case kSrkIncorrect:
        WriteLog(g_tssLog, "SRK is in incorrect auth format!");
        ReportPlatformEvent(L"The TPM is in an incorrect state. The TPM must be reset to support use by Kelo Software",
                            kIncorrectStateEvent, EVENTLOG_ERROR_TYPE);
        break;
    default:
        WriteLog(g_tssLog, "Cannot determine SRK auth format");
    }
}

DWORD CheckTpm(HMODULE library)
{
    const Query isEnabled = FindFunction<Query>(library, "isEnabled");
    if (isEnabled == nullptr)
    {
        WriteLog(g_tssLog, "Function isEnabled() not found");
        return kFunctionMissing;
    }
    if (isEnabled() != kYes)
    {
        WriteLog(g_tssLog, "TPM is not enabled rc: %d", kTpmNotUsable);
        return kTpmNotUsable;
    }
    WriteLog(g_tssLog, "TPM is enabled");

    const Query isActivated = FindFunction<Query>(library, "isActivated");
    if (isActivated == nullptr)
    {
        WriteLog(g_tssLog, "Function isActivated() Not found");
        return kFunctionMissing;
    }
    const bool activated = isActivated() == kYes;
    if (activated)
        WriteLog(g_tssLog, "TPM is activated");
    else
        WriteLog(g_tssLog, "TPM is not activated rc: %d", kTpmNotUsable);

    // Required: the SRK of a TPM that is not activated is checked too.
    CheckSrk(library);
    return activated ? kUsable : kTpmNotUsable;
}

DWORD CheckStack(HMODULE library)
{
    const Query detectTss = FindFunction<Query>(library, "DetectTSS");
    if (detectTss == nullptr)
    {
        WriteLog(g_tssLog, "Failed to get Function Pointer to DetectTSS()");
        return kFunctionMissing;
    }
    const int answer = detectTss();
    if (answer != kTssPresent)
    {
        WriteLog(g_tssLog, "Failed to Detect TSS rc='%d'", answer);
        return static_cast<DWORD>(answer);
    }
    WriteLog(g_tssLog, "Detected TSS");
    return CheckTpm(library);
}

DWORD LoadFailed(const BoundedPath& path, DWORD error)
{
    WriteLog(g_tssLog, "Failed to Load Library: %s Err: %d", path.Get(), error);
    return kTpmNotUsable;
}

// Loads the library into `library` and asks it. Runs under the guard, so it owns nothing itself.
DWORD LoadAndCheck(const BoundedPath& path, UniqueLibrary& library)
{
    library.Reset(LoadLibraryA(path.Get()));
    if (!library)
        return LoadFailed(path, GetLastError());
    WriteLog(g_tssLog, "Library Loaded, now checking for TSS...");
    return CheckStack(library.Get());
}

} // namespace

DWORD AskDetectionLibrary(const BoundedPath& path)
{
    if (path.IsEmpty())
        return LoadFailed(path, ERROR_FILENAME_EXCED_RANGE);

    UniqueLibrary library;
    DWORD result = kUsable;
    if (CallGuarded([&path, &library, &result] { result = LoadAndCheck(path, library); }))
        return result;
    WriteLog(g_tssLog, "DetectTPMPlatform Exception Caught - Unable to Detect TSS Properly");
    return kTpmNotUsable;
}
