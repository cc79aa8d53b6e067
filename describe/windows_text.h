// Text for Windows and text of descriptions: UTF-16 as wide characters, and UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace describe
{

std::string FromWide(std::wstring_view wide);
std::wstring ToWide(std::string_view utf8);

} // namespace describe
