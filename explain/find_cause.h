// Finds the failing calls that can have caused a log, by rehearsing every single failure.
#pragma once

#include "report/story.h"
#include "report/terminal.h"
#include "winsim/process/program.h"

#include <functional>
#include <string>
#include <vector>

// One call of the run whose failure gives the log, with the ways of failing that do. All calls that open one of the
// program's logs count as one: the "opening of a log", numbered in the order of the openings.
struct Cause
{
    std::string call;                  // its name
    unsigned occurrence = 1;           // the number of the call among those of its name, from 1; 0 for all of them
    std::vector<std::string> failures; // as kelo-rehearse's --fault takes them: "OpenServiceW#2=5"
};

struct CauseSearch
{
    std::size_t tried = 0;         // number of rehearsed failures
    bool isWithoutFailure = false; // the log is the same without any failure
    std::vector<Cause> causes;     // in the order of the run; calls that only tidy up or write the log come last
};

// How well logs distinguish failures.
struct CauseFigures
{
    std::size_t tried = 0;        // number of single failures
    std::size_t traced = 0;       // those whose log differs from the log without failures
    std::size_t medianCauses = 0; // of these: the median number of calls that could have failed
};

// The figures of several actions together, from the number of causes of each traced failure.
CauseFigures FiguresOf(std::size_t tried, std::vector<std::size_t> causes);

// The lines of a rehearsal's log in a form that can be compared: equal lines in a row become one, and process and
// thread numbers are left out.
std::vector<std::string> ComparableLines(const report::Story& story);

// The result of a search, for programs.
winsim::Json JsonOf(const CauseSearch& search);

// The result for people: each call with its failures and the command that rehearses the first of them.
std::string ShowCauses(const report::Style& style, const CauseSearch& search, const std::string& machinePath,
                       const std::vector<std::string>& arguments);

// Rehearses the action to explain on the described machine.
class CauseFinder
{
public:
    // The arguments (UTF-8) begin with the action; without arguments, the exported entry point is rehearsed.
    CauseFinder(winsim::Machine machine, std::vector<std::string> arguments);

    // Calls use(call, failure, lines) for each single failure of each call in a run without failures. `call` numbers
    // the calls of one name from 1.
    using Use =
        std::function<void(const Cause& call, const std::string& failure, const std::vector<std::string>& lines)>;
    std::size_t ForEachFailure(const Use& use) const;

    // The log of the action on the machine when no call fails, with the machine's times and headers.
    std::string LogWithoutFailure() const { return LogWith({}); }

    // The same for each lasting failure, where every call of a name fails: `call` then has the number 0.
    std::size_t ForEachLastingFailure(const Use& use) const;

    // Finds the calls whose failure gives this story's log or, if there are none, the names whose calls must all fail.
    // A log that is cut off at its beginning or end must be a part of the log that the failure gives.
    CauseSearch Find(const report::Story& story) const;

    // For each failure that leaves a trace, counts the calls that could have failed to give the same log. Returns the
    // number of failures tried.
    std::size_t CountCauses(std::vector<std::size_t>& counts) const;

    CauseFigures Measure() const;

private:
    winsim::Outcome RunWithoutFailure() const;
    std::string LogWith(const std::vector<std::string>& faults) const;
    std::vector<std::string> LinesWith(const std::vector<std::string>& faults) const;

    winsim::Machine m_machine;
    std::vector<std::string> m_arguments;
};
