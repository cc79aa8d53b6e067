// The state of a TCG software stack and of the TPM, from the stack's detection library.
#pragma once

#include "windows/bounded_path.h"

#include <windows.h>

// Result codes of detection.
inline constexpr DWORD kUsable = 0;
inline constexpr DWORD kTpmNotUsable = 10015;
inline constexpr DWORD kFunctionMissing = 10016;

// Loads the library at `path` (LoadLibraryA), asks its exports "DetectTSS", "isEnabled", "isActivated", "isOwned" and
// "ValidSRKAuth", in this order, and frees it. Logs each answer and each failure; reports an incorrect SRK
// authorization to the event log.
// Returns  kUsable           a stack is present, and the TPM is enabled and activated
//          kTpmNotUsable     the library cannot be loaded, or `path` is empty; the TPM is not enabled or not activated;
//                            or an exception of any kind came out of the library
//          kFunctionMissing  one of the first three exports is missing
//          any other value   the answer of "DetectTSS"
DWORD AskDetectionLibrary(const BoundedPath& path);
