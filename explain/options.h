// What kelo-explain is asked to do.
#pragma once

#include <optional>
#include <string>

struct ExplainOptions
{
    std::string logPath; // "-" for standard input
    std::size_t run = 0; // the one to tell of, from 1; 0: the one that matters most
    bool isAll = false;
    bool isJson = false;
    bool isReference = false;
    std::string htmlPath; // empty for none
    bool isCauseWanted = false;
    std::string draftPath;    // where to write a drafted description; empty for nowhere
    std::string machinePath;  // the description to rehearse on; empty for none
    unsigned codePage = 1252; // of a log that is not UTF-8
};

struct ParsedExplainOptions
{
    std::optional<ExplainOptions> options;
    int exitStatus = 0;
};

ParsedExplainOptions ParseExplainOptions(int argc, char** argv);
