// Install logs from rehearsals on the described machines.
#pragma once

#include "report/story.h"
#include "winsim/process/program.h"

#include <string>
#include <vector>

// The result of a rehearsal on a machine of machines/.
struct Rehearsed
{
    std::string log; // its lines, each with a newline
    int exitCode;
};

// Runs the program, or without arguments its export, with faults in the form CALL[#N]=ERROR.
Rehearsed Rehearse(const std::string& machineFile, const std::vector<std::string>& arguments,
                   const std::vector<std::string>& faults = {});

// The story of a log with one run.
report::Story StoryOf(const std::string& log);
