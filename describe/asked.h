// What the program asks Windows for, and therefore what a description holds: registry keys and values, files, services,
// processes and functions, by their names. Everything else on a machine stays there.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace describe
{

// A registry key, and those of its values that the program reads, writes or deletes.
struct AskedKey
{
    const char* path; // such as "HKLM\SOFTWARE"
    std::vector<const char*> values = {};
};

const std::vector<AskedKey>& AskedKeys();

// The folders below which the program looks for files, as full paths without a backslash at the end.
struct Places
{
    std::string windows;
    std::string system;
    std::string programFiles;
    std::string commonAppData;
    std::string program;                  // the program's own file
    std::vector<std::string> packages;    // the toolkit's folders by its registry values
    std::optional<std::string> ntruStack; // the folder of the installed NTRU stack's service
};

// The files and folders that the program reads, makes, changes or deletes, as full paths.
std::vector<std::string> AskedFiles(const Places& places);

// Those of them that are loaded as libraries, and the functions that the program calls in each. A library of texts has
// no functions.
struct AskedLibrary
{
    std::string path;
    std::vector<const char*> functions = {};
    bool isForDetection = false;
};

std::vector<AskedLibrary> AskedLibraries(const Places& places);

// Functions that the program looks up in libraries of Windows, because old versions lack them.
struct AskedSystemLibrary
{
    const char* name;
    std::vector<const char*> functions;
};

const std::vector<AskedSystemLibrary>& AskedSystemLibraries();

// Names of the services and of the programs whose processes the program looks for, and of the environment variables
// that it reads or that belong to the described folders.
std::span<const char* const> AskedServices();
std::span<const char* const> AskedProcesses();
std::span<const char* const> AskedVariables();

} // namespace describe
