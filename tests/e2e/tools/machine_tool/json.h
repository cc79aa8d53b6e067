// Texts as JSON.
#pragma once

#include <string>

std::string Quoted(const std::wstring& text);
std::string Quoted(const wchar_t* text);            // a null pointer becomes an empty text
std::string QuotedList(const wchar_t* multiString); // a list
