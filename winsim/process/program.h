// Runs a program on a simulated machine.
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

// A process is ended as endless when it has waited for this long on a machine that will not change by itself any more.
// A single wait counts for a quarter of it at most.
inline constexpr std::uint64_t kForEverMs = std::uint64_t{20} * 60 * 1000;

struct RunOptions
{
    std::vector<std::string> arguments;        // UTF-8, without the program's own path
    std::optional<std::u16string> commandLine; // the whole command line, instead of the arguments
    std::vector<Fault> faults;                 // besides those of the machine
    std::vector<Meanwhile> meanwhile;          // what another process does after certain calls
    bool recordCalls = true;
    bool foldRepeats = false; // calls that repeat are recorded once (winsim/process/repeats.h)
    // The calls whose parameters are recorded; those of calls that fail by plan always are. None: all calls.
    std::optional<std::set<std::string, std::less<>>> parametersOf;
};

// The outcome of a run.
struct Outcome
{
    int exitCode = 0; // after a death, the code that Windows gives; -1 for an endless process
    Machine machine;  // after the run
    std::string standardOutput;
    std::vector<CallRecord> calls;
    std::vector<Repeat> repeats;         // which of these calls stand for many
    std::vector<Fault> faults;           // the failures that were planned: the run's own, then the machine's
    std::vector<unsigned> faultsReached; // how many calls each of them decided
    std::size_t bodyBegin = 0;           // where in `calls` static initialisation ends and the entry begins
    std::size_t bodyEnd = 0;             // where the entry ends and static destruction begins
    std::map<std::string, unsigned, std::less<>> callCounts;
    std::vector<TriedAct> triedActs;       // what the other process did or failed to do
    std::vector<std::string> images;       // the real paths of the files that were loaded or started
    std::vector<std::string> violations;   // misused or leaked handles and memory
    std::vector<std::string> notSimulated; // what the calls asked for that is not simulated: the run may differ
    std::uint64_t clockMs = 0;             // how long the run took
    bool isEndless = false;           // it was ended because it waited for ever, or made too many calls without waiting
    std::optional<std::string> death; // what it died of, such as "access violation"; none: it did not die

    // As a compiler would make them, and compiled only once.
    Outcome();
    Outcome(const Outcome& other);
    Outcome(Outcome&& other) noexcept;
    Outcome& operator=(const Outcome& other);
    Outcome& operator=(Outcome&& other) noexcept;
    ~Outcome();
};

// A program built as a shared object. Each run loads it again, so that its static objects are constructed and destroyed
// once in each simulated process, as on Windows.
class Program
{
public:
    // `path` is that of the shared object.
    explicit Program(std::string path, const ProgramRules& rules = {}) : m_path(std::move(path)), m_rules(rules) {}

    // Runs the program with a command line, from static initialisation to static destruction. Throws std::runtime_error
    // if the shared object cannot be loaded.
    Outcome Run(const Machine& machine, const RunOptions& options) const;

    // Loads the program as a library and calls its export `name` with an install session, as an installer does. The
    // export's result is the outcome's exit code. Throws std::runtime_error also if there is no such export.
    Outcome RunExport(const Machine& machine, const RunOptions& options, const std::string& name) const;

    // Runs one of the functions that a test image offers, instead of the program's entry: function `name` with
    // `arguments` (UTF-8). Its result, as text, is stored in `result`. Throws std::runtime_error also if the image has
    // no such function.
    Outcome Call(const Machine& machine, const RunOptions& options, const std::string& name,
                 const std::vector<std::string>& arguments, std::string& result) const;

private:
    // `find(image)` returns a function that calls an entry of the image and returns the exit code.
    template <typename Find>
    Outcome RunEntry(const Machine& machine, const RunOptions& options, Find find) const;

    std::string m_path;
    ProgramRules m_rules;
};

// A command line from which Windows' start-up code gets these words: they are quoted where that is needed.
std::string JoinCommandLine(const std::vector<std::string>& words);

} // namespace winsim
