// Runs the program, or one of its functions, on a described machine inside a test, and checks what it did.
//
// A test builds its machine (MachineOf, Changed), runs once (RunProgram, RunExport, CallFunction), and compares the
// whole run (ExpectRun) or, where the order of calls is not its rule, the whole log (ExpectLog):
//
//     const SimulatedRun run = CallFunction(MachineOf(R"({"windows": {"version": "5.1"}})"), "UnblockTpmCommands");
//     ExpectRun(run, "1", {AskForMajorVersion(), "log: Not VISTA OS"});
#pragma once

#include "tests/support/script.h"
#include "winsim/process/program.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// The results of a run. A violation of handle or memory rules fails the test that made the run.
struct SimulatedRun
{
    std::string result; // of a function, as text; for the program or an export, the exit code
    int exitCode = 0;   // of the program
    Script log;         // the logged messages, without their headers
    Script script;      // every call with arguments and result, and every message, in order, except the calls that
                        // check paths and owners before a name is used
    Script startScript; // the same for static initialisation, before it
    Script endScript;   // the same for static destruction, after it
    winsim::Machine before;
    winsim::Outcome outcome;
    std::vector<bool> isPrecaution; // for each of the outcome's calls: whether it is such a check

    const winsim::Machine& After() const { return outcome.machine; }
};

struct SimulatedRunOptions
{
    std::vector<std::string> faults = {};    // CALL[#N]=ERROR
    std::vector<std::string> meanwhile = {}; // CALL[#N]=ACT[; ACT...]
    bool recordsParameters = true;           // false: no scripts, and a run takes half the time
    bool mayBeEndless = false;               // false: a run that waits for ever fails the test
    bool mayViolate = false;                 // false: a violation of handle or memory rules fails the test
};

// A machine from the text of its description, such as R"({"windows": {"version": "6.1"}})".
winsim::Machine MachineOf(std::string_view description);

// A plain machine with another version of Windows, such as "5.1".
winsim::Machine WindowsOf(const std::string& version);

// The same machine with changes: a merge patch on its description.
winsim::Machine Changed(winsim::Machine machine, const winsim::Json& changes);
winsim::Machine Changed(winsim::Machine machine, const char* changes);

// The text of a file; "(none)" if the file does not exist.
std::string TextOf(const winsim::Machine& machine, const std::string& path);

// Runs the program from start to end with these arguments.
SimulatedRun RunProgram(const winsim::Machine& machine, const std::vector<std::string>& arguments,
                        const SimulatedRunOptions& options = {});

// An installer loads the program as a library and calls one of its exports; the result is the exit code. The script of
// static initialisation is the script of loading the library.
SimulatedRun RunExport(const winsim::Machine& machine, const std::string& name,
                       const SimulatedRunOptions& options = {});

// Calls one function in its own process. The script leaves out everything before and after the call.
SimulatedRun CallFunction(const winsim::Machine& machine, const std::string& name,
                          const std::vector<std::string>& arguments = {}, const SimulatedRunOptions& options = {});

// The same on a plain machine.
SimulatedRun CallFunction(const std::string& name, const std::vector<std::string>& arguments = {},
                          const SimulatedRunOptions& options = {});

// Expects this result, every call and message, and the log that they wrote.
void ExpectRun(const SimulatedRun& run, const std::string& result, const Script& script);

// Expects this result, and the messages of `script` as the whole log.
void ExpectLog(const SimulatedRun& run, const std::string& result, const Script& script);

// Compares line by line, because a long script is not worth printing as a whole.
void ExpectLines(const Script& actual, const Script& expected, const char* what);
