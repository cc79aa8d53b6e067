// The data that the installer package passes to a deferred action.
#pragma once

#include "tpm/secret_text.h"

#include <windows.h>

#include <msi.h>

#include <optional>
#include <string_view>

// Reads the installer property CustomActionData (UTF-16) of an install session (MsiGetPropertyW, first for the length
// and then for the text). Nothing when a call fails, when the text has grown between the calls, or when memory runs
// out. Logs nothing.
std::optional<CSecretText> ReadCustomActionData(MSIHANDLE install);

// Returns the value after the first `key` in `data` (case counts), up to the next " /" or the end, not trimmed;
// `defaultValue` when the key is missing. The result is a view of `data` or of `defaultValue`. Logs nothing.
std::wstring_view GetCustomActionValue(std::wstring_view key, std::wstring_view data, std::wstring_view defaultValue);

// Whether `data` begins with `flag`, in any letter case. Logs nothing.
// Required: a flag anywhere else in the data does not count.
bool HasCustomActionFlag(std::wstring_view flag, std::wstring_view data);
