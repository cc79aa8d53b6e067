// The options of the command line.
#pragma once

#include <string>

// Finds the first argument, from argument 2 on, that contains `prefix` (ANSI, such as "/TSS_VENDOR=", case-sensitive)
// anywhere. `argv` (UTF-16) is converted to the ANSI code page before it is searched. Logs nothing.
// Returns  true   `value` (ANSI) is the argument's text from position length(prefix) on
//          false  there is no such argument, it is not longer than the prefix, or memory has run out;
//                 `value` is untouched
bool GetOptionValue(const char* prefix, std::string& value, int argc, const wchar_t* const* argv);
