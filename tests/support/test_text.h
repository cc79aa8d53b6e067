// Conversions between UTF-8, in which tests give texts, and the wide texts of the program under test. There is one
// implementation for the simulated machine, of which nothing shows among its calls, and one for Windows.
#pragma once

#include <string>

std::wstring WideOfUtf8(const std::string& utf8);
std::string Utf8OfWide(const std::wstring& wide);
