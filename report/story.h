// The story of a run, as its log tells it: what was requested, what the result was and why, and what each step did.
#pragma once

#include "catalogue/matcher.h"
#include "report/log_lines.h"

#include <optional>
#include <string>
#include <vector>

namespace report
{

// How a step or a run went, from good to bad.
enum class Level
{
    Done,
    Untold, // the log does not say
    Noise,
    Warning,
    Missing, // something should be there but is not
    Failed,
};

// "done", "FAILED" and so on: readable without colour.
std::string NameOf(Level level);

// A line and its meaning.
struct StoryLine : LogLine
{
    const catalogue::Text* text = nullptr; // null: not a text of the program
    std::vector<std::string> values = {};
    catalogue::Kind kind = catalogue::Kind::Progress; // in this run: an expected error turns a warning into noise
    std::size_t step = 0;                             // the index of its step
};

// How bad a line is.
Level LevelOf(const StoryLine& line);

// The meaning of a line's numbers: "error 1060 ERROR_SERVICE_DOES_NOT_EXIST: there is no such service".
std::vector<std::string> NumbersOf(const StoryLine& line);

struct StoryStep
{
    const catalogue::Step* step = nullptr; // null: before the first known step
    Level level = Level::Done;
    std::vector<std::size_t> lines = {}; // indices
    std::string note = {};               // what is missing, or not logged
    std::string subject = {};            // the object of the step, such as the stack that it tries

    std::string Name() const { return step != nullptr ? step->name : "(lines before any step)"; }
};

// Something to know about a run: a line with a failure or a warning, or a missing line.
struct Problem
{
    Level level = Level::Warning;
    std::optional<std::size_t> line = {}; // the index
    std::string step = {};
    std::string what = {}; // the line, or what is missing
    std::string meaning = {};
    std::vector<std::string> numbers = {}; // as NumbersOf returns them
    std::string causes = {};
    std::string toDo = {};
};

struct Story
{
    std::optional<catalogue::Action> action = {};
    std::string actionSwitch = {};         // "/Setup", or the export's name, or "" if the log does not show it
    std::vector<std::string> options = {}; // those on the command line
    std::string stack = {};                // the chosen stack; empty if none is
    unsigned long thread = 0;
    std::optional<std::int64_t> beginMs = {};
    std::optional<std::int64_t> endMs = {};
    bool hasBegin = false;
    bool hasEnd = false;
    std::optional<int> exitCode = {};         // as inferred, or as known
    std::optional<std::size_t> deciding = {}; // the index of the line that decides the result
    Level level = Level::Done;
    std::string headline = {};     // "FAILED: no stack is usable and none was asked for"
    std::string inferredFrom = {}; // the facts that the result is inferred from
    std::vector<StoryLine> lines = {};
    std::vector<StoryStep> steps = {};
    std::vector<Problem> problems = {}; // in the order of the lines

    std::optional<std::size_t> first = {}; // the index of the problem to look at first

    // The problem to look at first; null if there is none.
    const Problem* FirstProblem() const;
    std::int64_t DurationMs() const { return beginMs && endMs ? *endMs - *beginMs : 0; }
};

// Whether the run had a result although its log stops early.
bool IsBrokenOff(const Story& story);

// The index of the step that decides the result.
std::optional<std::size_t> DecidingStep(const Story& story);

// The known facts of an observed run.
struct KnownEnd
{
    std::string actionSwitch = {};    // "/Setup", or the export's name
    std::optional<int> exitCode = {}; // nothing: there is no result
    std::string noResult = {};        // why there is no result
};

// Tells the story of one run from its lines. Equal lines in a row become one.
Story Tell(std::vector<LogLine> lines);

// The same for a run whose end is known, whatever its log shows.
Story Tell(std::vector<LogLine> lines, const KnownEnd& end);

// The runs in a log. A run is the lines of one thread of a process from one begin line to the next. Lines before a
// thread's first begin line form a run whose beginning is not in the log. Unreadable lines belong to the run of the
// line before or, at the beginning, to the first run. Lines that a mail program wrapped are joined.
std::vector<Story> TellAll(std::vector<LogLine> lines);

} // namespace report
