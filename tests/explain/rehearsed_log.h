// Install logs from rehearsals on the described machines.
#pragma once

#include "winsim/process/program.h"

#include <string>
#include <vector>

// What a rehearsal on a machine of machines/ gave.
struct Rehearsed
{
    std::string log; // its lines, each with a newline
    int exitCode;
};

// Runs the program, or without arguments its export, with CALL[#N]=ERROR faults.
Rehearsed Rehearse(const std::string& machineFile, const std::vector<std::string>& arguments,
                   const std::vector<std::string>& faults = {});
