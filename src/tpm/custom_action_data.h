// What the installer package hands to a deferred action.
#pragma once

#include "tpm/secret_text.h"

#include <windows.h>

#include <msi.h>

#include <optional>
#include <string_view>

// The installer property CustomActionData (UTF-16) of an install session (MsiGetPropertyW, asked for the length
// and then for the text). Nothing when it cannot be read: when either call fails otherwise than the first one is
// meant to, when the text has grown between them, and when there is no memory for it. Logs nothing.
std::optional<CSecretText> ReadCustomActionData(MSIHANDLE install);

// The value behind the first place in `data` where `key` stands, in this letter case, up to the next " /" or to the
// end; `defaultValue` when the key is not there. The value is not trimmed, and is part of `data` or of
// `defaultValue`. Logs nothing.
std::wstring_view GetCustomActionValue(std::wstring_view key, std::wstring_view data, std::wstring_view defaultValue);

// Whether `data` begins with `flag`, in any letter case. A flag further inside is not seen. Logs nothing.
bool HasCustomActionFlag(std::wstring_view flag, std::wstring_view data);
