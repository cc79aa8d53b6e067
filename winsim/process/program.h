// Running a program on a simulated machine.
#pragma once

#include "winsim/machine/machine.h"
#include "winsim/process/gate.h"
#include "winsim/process/process_code.h"
#include "winsim/process/program_rules.h"

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace winsim
{

// A process that waits so long on a machine on which nothing more is to happen by itself waits for ever: it is ended. A
// single wait counts for a quarter of it at most.
inline constexpr std::uint64_t kForEverMs = std::uint64_t{20} * 60 * 1000;

struct RunOptions
{
    std::vector<std::string> arguments;        // UTF-8, without the program's own path
    std::optional<std::u16string> commandLine; // as it stands, in place of the arguments
    std::vector<Fault> faults;
    std::vector<Meanwhile> meanwhile; // what another process does at certain calls
    bool recordCalls = true;
    bool foldRepeats = false; // calls that repeat are recorded once (winsim/process/repeats.h)
    // The calls whose parameters are recorded too, beside those that fail by plan; not given: every call's.
    std::optional<std::set<std::string, std::less<>>> parametersOf;
};

// What a run was.
struct Outcome
{
    int exitCode = 0; // of a process that died what Windows gives it; of an endless one -1, as it was ended
    Machine machine;  // afterwards
    std::string standardOutput;
    std::vector<CallRecord> calls;
    std::vector<Repeat> repeats;         // which of these calls were made again and again
    std::vector<unsigned> faultsReached; // how many calls each of the run's faults had
    std::size_t bodyBegin = 0;           // where in `calls` static initialisation ends and the entry begins
    std::size_t bodyEnd = 0;             // where the entry ends and static destruction begins
    std::map<std::string, unsigned, std::less<>> callCounts;
    std::vector<TriedAct> triedActs;     // what the other process did or could not do
    std::vector<std::string> images;     // the files that were loaded and started, by their own paths
    std::vector<std::string> violations; // handles and memory treated wrongly
    std::uint64_t clockMs = 0;           // how long it took
    bool isEndless = false;              // it was ended for waiting for ever, or for calling on while no time passes
    std::optional<std::string> death;    // what it died of, such as "access violation"; not given: it did not
};

// A program built as a shared object. Each run loads it anew, so that its static objects are made, used and destroyed
// once in each simulated process, as on Windows.
class Program
{
public:
    // The path of the shared object, and what is known of the program.
    explicit Program(std::string path, const ProgramRules& rules = {}) : m_path(std::move(path)), m_rules(rules) {}

    // Starts the program with a command line, from static initialisation to static destruction. Throws
    // std::runtime_error when the shared object cannot be loaded.
    Outcome Run(const Machine& machine, const RunOptions& options) const;

    // Has the installer load the program as a library and call one of its exports with an install session: function
    // `name`, whose result comes back as the outcome's exit code. Throws std::runtime_error also when the image has no
    // such export.
    Outcome RunExport(const Machine& machine, const RunOptions& options, const std::string& name) const;

    // Starts a process of the program's image that, instead of the program's own entry, makes one of the calls that a
    // test image offers: function `name` with `arguments` (UTF-8). The text of its result comes back in `result`.
    // Throws std::runtime_error also when the image offers no such call.
    Outcome Call(const Machine& machine, const RunOptions& options, const std::string& name,
                 const std::vector<std::string>& arguments, std::string& result) const;

private:
    // `find(image)` finds an entry and gives what calls it and returns its exit code.
    template <typename Find>
    Outcome RunEntry(const Machine& machine, const RunOptions& options, Find find) const;

    std::string m_path;
    ProgramRules m_rules;
};

// Words as Windows' start-up code puts them into a command line: those that need it in quotation marks.
std::string JoinCommandLine(const std::vector<std::string>& words);

} // namespace winsim
