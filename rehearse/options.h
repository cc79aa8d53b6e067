// The options of kelo-rehearse.
#pragma once

#include "winsim/process/gate.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

enum class Trace
{
    None,
    Calls, // without text conversions and memory
    All
};

struct Options
{
    std::string machinePath;               // of a single machine
    std::vector<std::string> machinePaths; // of many: files, folders, and "-" for standard input
    bool isForMany = false;                // whether a line for each machine is printed instead of a report
    std::size_t jobs = 0;                  // how many machines are rehearsed on at the same time; 0: one a processor
    unsigned limitSeconds = 60;            // of real time, for each of many machines
    std::size_t firstLine = 1;             // the number of the first line of standard input
    std::vector<std::string> arguments;    // for the program, UTF-8
    std::string exportName;                // the exported entry point to call instead of the program; empty for none
    bool isJson = false;
    bool isVerbose = false;
    Trace trace = Trace::None;
    std::string savePath; // empty for none
    std::string htmlPath; // likewise
    std::string seenPath; // likewise
    std::vector<winsim::Fault> faults;
    std::vector<winsim::Meanwhile> meanwhile;
};

// The options; or none and an exit status, after the help or an error was printed.
struct ParsedOptions
{
    std::optional<Options> options;
    int exitStatus = 0;
};

ParsedOptions ParseOptions(int argc, char** argv);
