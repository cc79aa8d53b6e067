// KeloDescribe: reads a Windows machine and writes a description of it that kelo-rehearse takes. Changes nothing.
#include "describe/capture.h"
#include "describe/windows_headers.h"
#include "describe/windows_text.h"

#include <CLI/CLI.hpp>

#include <shellapi.h>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <optional>

namespace
{

constexpr int kDone = 0;
constexpr int kFailed = 2;

struct Options
{
    describe::CaptureOptions capture;
    std::string outPath;
};

std::vector<std::string> Arguments()
{
    int count = 0;
    wchar_t** const words = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::string> arguments;
    // In reverse order, as the parser takes them.
    for (int i = count - 1; i > 0; --i)
        arguments.push_back(describe::FromWide(words[i]));
    LocalFree(words);
    return arguments;
}

// Nothing if there is nothing to do: after a wrong argument, or for --help.
std::optional<Options> ParseOptions(int& exitStatus)
{
    Options options;
    CLI::App app{
        "Reads this machine, and writes a description of it for kelo-rehearse: what the installer program may\n"
        "ask of Windows, and nothing else. It changes nothing. Start it as administrator to read everything.",
        "KeloDescribe"};
    app.add_option("FILE", options.outPath, "file to write the description to (JSON)")->required();
    app.add_flag("--probe", options.capture.askDetectionLibraries,
                 "also ask the toolkit's detection libraries about the TPM; this runs their code");
    app.add_option("--program", options.capture.program,
                   "full path at which the installer program is or will be; otherwise KeloCustomAction.exe in the\n"
                   "toolkit's folder");
    try
    {
        app.parse(Arguments());
        return options;
    }
    catch (const CLI::ParseError& error)
    {
        exitStatus = app.exit(error) == 0 ? kDone : kFailed;
        return std::nullopt;
    }
}

void Write(const std::string& path, const std::string& text)
{
    std::ofstream file(describe::ToWide(path).c_str(), std::ios::binary);
    file << text;
    if (!file.flush())
        throw std::runtime_error(path + ": cannot be written");
}

// The last line: what was not read, by its place.
void Report(const std::string& path, const winsim::Json& notes)
{
    std::string places;
    for (const winsim::Json& note : notes)
    {
        const std::string text = note.get<std::string>();
        places += (places.empty() ? "" : ", ") + text.substr(0, text.find(": "));
    }
    std::cout << path << " describes this machine. Not read (see \"notes\" in it): " << places << "\n";
}

} // namespace

int main()
{
    SetConsoleOutputCP(CP_UTF8);
    int exitStatus = kDone;
    const std::optional<Options> options = ParseOptions(exitStatus);
    if (!options)
        return exitStatus;
    try
    {
        const winsim::Json description = describe::Describe(options->capture);
        Write(options->outPath, description.dump(2) + "\n");
        Report(options->outPath, description["notes"]);
        return kDone;
    }
    catch (const std::exception& error)
    {
        std::cerr << "KeloDescribe: " << error.what() << "\n";
        return kFailed;
    }
}
