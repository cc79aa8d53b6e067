// Which failing call a log can come from, found by rehearsing every single failure.
#pragma once

#include "report/story.h"
#include "report/terminal.h"
#include "winsim/process/program.h"

#include <functional>
#include <string>
#include <vector>

// One call of the run whose failure gives a log, with the ways of failing that do. The calls that open one of the
// program's logs are one: the "opening of a log", numbered in the order of the openings.
struct Cause
{
    std::string call;                  // its name
    unsigned occurrence = 1;           // which call of that name, from 1; 0 for every one
    std::vector<std::string> failures; // as --fault of kelo-rehearse takes them: "OpenServiceW#2=5"
};

struct CauseSearch
{
    std::size_t tried = 0;         // failures rehearsed
    bool isWithoutFailure = false; // without any failure the log is the same
    std::vector<Cause> causes;     // in the order of the run, those that only tidy up or write the log last
};

// How well logs tell failures apart.
struct CauseFigures
{
    std::size_t tried = 0;        // single failures
    std::size_t traced = 0;       // those whose log is not that of a run without failures
    std::size_t medianCauses = 0; // of those: how many calls could have failed, in the middle
};

// The figures of several actions together, from the number of causes of each traced failure.
CauseFigures FiguresOf(std::size_t tried, std::vector<std::size_t> causes);

// What a rehearsal logs, as it can be compared with another's: equal lines in a row are one, and numbers of processes
// and threads are left out.
std::vector<std::string> ComparableLines(const report::Story& story);

// What was found, for programs.
winsim::Json JsonOf(const CauseSearch& search);

// The same for people: each call with its failures and the command that rehearses the first of them.
std::string ShowCauses(const report::Style& style, const CauseSearch& search, const std::string& machinePath,
                       const std::vector<std::string>& arguments);

// A rehearsal of the action that is looked for, on the described machine.
class CauseFinder
{
public:
    // The arguments (UTF-8) begin with the action; without any it is the exported entry point.
    CauseFinder(winsim::Machine machine, std::vector<std::string> arguments);

    // Calls use(call, failure, lines) for each single failure of each call of a run without failures; `call` counts the
    // calls of one name from 1.
    using Use =
        std::function<void(const Cause& call, const std::string& failure, const std::vector<std::string>& lines)>;
    std::size_t ForEachFailure(const Use& use) const;

    // What the action logs on the machine when no call fails, with the times and headers of the machine.
    std::string LogWithoutFailure() const { return LogWith({}); }

    // The same for each failure that lasts: every call of a name fails, which `call` tells by the number 0.
    std::size_t ForEachLastingFailure(const Use& use) const;

    // The calls whose failure gives the log of this story; if there is none, those of which every one fails. A log that
    // is cut off at its end or its beginning has to be part of theirs.
    CauseSearch Find(const report::Story& story) const;

    // For each failure that leaves a trace, how many calls could have failed as its log is. Returns the number of
    // failures tried.
    std::size_t CountCauses(std::vector<std::size_t>& counts) const;

    CauseFigures Measure() const;

private:
    winsim::Outcome RunWithoutFailure() const;
    std::string LogWith(const std::vector<std::string>& faults) const;
    std::vector<std::string> LinesWith(const std::vector<std::string>& faults) const;

    winsim::Machine m_machine;
    std::vector<std::string> m_arguments;
};
