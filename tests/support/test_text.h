// Conversions between UTF-8, which tests use for texts, and the wide texts of the program under test. The
// implementation for the simulated machine makes no recorded calls; there is another one for Windows.
#pragma once

#include <string>

std::wstring WideOfUtf8(const std::string& utf8);
std::string Utf8OfWide(const std::wstring& wide);
