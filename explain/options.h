// The options of kelo-explain.
#pragma once

#include <optional>
#include <string>

struct ExplainOptions
{
    std::string logPath; // "-" for standard input
    std::size_t run = 0; // the run to explain, from 1; 0: the one that matters most
    bool isAll = false;
    bool isJson = false;
    bool isReference = false;
    std::string htmlPath; // empty for none
    bool isCauseWanted = false;
    std::string draftPath;    // the file for a drafted description; empty for none
    std::string machinePath;  // the description to rehearse on; empty for none
    unsigned codePage = 1252; // of a log that is not UTF-8
};

struct ParsedExplainOptions
{
    std::optional<ExplainOptions> options;
    int exitStatus = 0;
};

ParsedExplainOptions ParseExplainOptions(int argc, char** argv);
