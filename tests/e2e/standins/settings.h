// The registry values by which tests tell stand-ins how to behave, and in which stand-ins keep their state. Each
// stand-in has a key, named after its file.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

// Nothing when there is no such number.
std::optional<DWORD> ReadNumber(const std::wstring& standIn, const std::wstring& name);
void WriteNumber(const std::wstring& standIn, const std::wstring& name, DWORD number);

// Empty when there is no such text.
std::wstring ReadText(const std::wstring& standIn, const std::wstring& name);

// Empty when there is no such list.
std::vector<std::wstring> ReadTexts(const std::wstring& standIn, const std::wstring& name);
void WriteTexts(const std::wstring& standIn, const std::wstring& name, const std::vector<std::wstring>& texts);

// A list of texts as Windows has it: each with a zero after it, and one more at the end.
std::wstring MultiString(const std::vector<std::wstring>& texts);
