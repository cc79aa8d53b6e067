// Files beside a stand-in.
#pragma once

#include <windows.h>

#include <filesystem>
#include <string>

// The path of a library, or of the program that this process runs.
std::filesystem::path OwnPath(HMODULE library = nullptr);

// The path of a file beside that library or program.
std::filesystem::path Beside(const wchar_t* name, HMODULE library = nullptr);

// Adds a line to a file.
void AppendLine(const std::filesystem::path& file, const std::string& line);
