// Conversions between the two kinds of text: ANSI (the system's code page) and UTF-16.
#pragma once

#include <string>
#include <string_view>

// Converts UTF-16 to the system's ANSI code page (WideCharToMultiByte, CP_ACP). Windows replaces characters that the
// code page lacks. Empty when the conversion fails or memory runs out. Logs nothing.
std::string ToNarrow(std::wstring_view text);

// Converts the system's ANSI code page to UTF-16 (MultiByteToWideChar, CP_ACP). Empty when the conversion fails or
// memory runs out. Logs nothing.
std::wstring ToWide(std::string_view text);
