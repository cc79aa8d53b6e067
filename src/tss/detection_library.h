// What a stack's detection library says of the stack and of the TPM.
#pragma once

#include "windows/bounded_path.h"

#include <windows.h>

// Result codes of detection.
inline constexpr DWORD kUsable = 0;
inline constexpr DWORD kTpmNotUsable = 10015;
inline constexpr DWORD kFunctionMissing = 10016;

// Loads the library at `path` (LoadLibraryA), asks it through its exports "DetectTSS", "isEnabled", "isActivated",
// "isOwned" and "ValidSRKAuth", in this order, and frees it. kUsable when a stack is present and the TPM is enabled
// and activated; kTpmNotUsable when the library cannot be loaded or `path` is empty, when the TPM is not enabled or
// not activated, and when an exception of any kind came out of the library; kFunctionMissing when one of the first
// three exports is missing; else what "DetectTSS" answered. Logs each answer and each failure; reports an incorrect
// SRK authorization to the event log.
DWORD AskDetectionLibrary(const BoundedPath& path);
