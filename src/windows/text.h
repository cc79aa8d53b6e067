// Conversions between the two kinds of text: ANSI (the system's code page) and UTF-16.
#pragma once

#include <string>
#include <string_view>

// UTF-16 to the system's ANSI code page (WideCharToMultiByte, CP_ACP). A character that the code page lacks
// becomes the one that Windows puts in its place. Empty when the conversion fails, also for want of memory. Logs
// nothing.
std::string ToNarrow(std::wstring_view text);

// The system's ANSI code page to UTF-16 (MultiByteToWideChar, CP_ACP). Empty when the conversion fails,
// also for want of memory. Logs nothing.
std::wstring ToWide(std::string_view text);
