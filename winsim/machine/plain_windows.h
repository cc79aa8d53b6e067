// The description of a plain Windows 10 machine, which every other description starts from.
#pragma once

namespace winsim
{

// The text of plain_windows_10.json.
extern const char* const kPlainWindowsJson;

} // namespace winsim
