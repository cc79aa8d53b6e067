// The options of the command line.
#pragma once

#include <string>

// Finds the first argument from argument 2 on that holds `prefix` (ANSI, such as "/TSS_VENDOR=", case-sensitive)
// anywhere. True, with the argument's text from position length(prefix) on in `value` (ANSI), when that argument
// is longer than the prefix; false, with `value` untouched, when it is not, when no argument holds the prefix,
// and when memory runs out.
// `argv` is UTF-16 and is converted to the ANSI code page before it is searched. Logs nothing.
bool GetOptionValue(const char* prefix, std::string& value, int argc, const wchar_t* const* argv);
