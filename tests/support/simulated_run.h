// Running the program, or one of its functions, on a described machine inside a test.
#pragma once

#include "winsim/process/program.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// What a test looks at. A violation of handle or memory rules fails the test that ran it.
struct SimulatedRun
{
    std::string result;                   // of a function, as text
    int exitCode = 0;                     // of the program
    std::vector<std::string> log;         // the messages it logged, without their headers
    std::vector<std::string> script;      // every call with arguments and result, and every message, in order, but for
                                          // those that make sure of paths and owners before a name is used
    std::vector<std::string> startScript; // the same of static initialisation, before it
    std::vector<std::string> endScript;   // and of static destruction, behind it
    winsim::Machine before;
    winsim::Outcome outcome;
    std::vector<bool> isPrecaution; // of each of the outcome's calls: whether the scripts leave it out for that

    const winsim::Machine& After() const { return outcome.machine; }
};

struct SimulatedRunOptions
{
    std::vector<std::string> faults = {};    // CALL[#N]=ERROR
    std::vector<std::string> meanwhile = {}; // CALL[#N]=ACT[; ACT...]
    bool recordsParameters = true;           // otherwise there are no scripts, and a run takes half the time
    bool mayBeEndless = false;               // a run that waits for ever fails the test otherwise
    bool mayViolate = false;                 // so does one that violates the rules of handles and memory
};

// A machine from the text of a description, such as R"({"windows": {"version": "6.1"}})".
winsim::Machine MachineOf(std::string_view description);

// Runs the program from start to end with the given arguments.
SimulatedRun RunProgram(const winsim::Machine& machine, const std::vector<std::string>& arguments,
                        const SimulatedRunOptions& options = {});

// Has an installer load the program as a library and call one of its exports, whose result is the exit code. The script
// of static initialisation is that of loading the library.
SimulatedRun RunExport(const winsim::Machine& machine, const std::string& name,
                       const SimulatedRunOptions& options = {});

// Calls one function in a process of its own. Its script leaves out what happens before and after the call.
SimulatedRun CallFunction(const winsim::Machine& machine, const std::string& name,
                          const std::vector<std::string>& arguments = {}, const SimulatedRunOptions& options = {});
