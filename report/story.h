// The story of a run, as its log tells it: what was asked, what came of it and why, and what each step did.
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
    Untold, // the log does not tell
    Noise,
    Warning,
    Missing, // something should be there and is not
    Failed,
};

// "done", "FAILED" and so on: readable without colour.
std::string NameOf(Level level);

// A line and what it means.
struct StoryLine : LogLine
{
    const catalogue::Text* text = nullptr; // null: no text of the program
    std::vector<std::string> values = {};
    catalogue::Kind kind = catalogue::Kind::Progress; // here: an expected error makes noise of a warning
    std::size_t step = 0;                             // the index of its step
};

// How bad a line is.
Level LevelOf(const StoryLine& line);

// What the numbers of a line mean: "error 1060 ERROR_SERVICE_DOES_NOT_EXIST: there is no such service".
std::vector<std::string> NumbersOf(const StoryLine& line);

struct StoryStep
{
    const catalogue::Step* step = nullptr; // null: before any step could be told
    Level level = Level::Done;
    std::vector<std::size_t> lines = {}; // indices
    std::string note = {};               // what is missing, or not told
    std::string subject = {};            // what the step is about, such as the stack that is tried

    std::string Name() const { return step != nullptr ? step->name : "(lines before any step)"; }
};

// A thing to know about a run: a line that failed or warns, or one that is missing.
struct Problem
{
    Level level = Level::Warning;
    std::optional<std::size_t> line = {}; // the index
    std::string step = {};
    std::string what = {}; // the line, or what is missing
    std::string meaning = {};
    std::vector<std::string> numbers = {}; // as NumbersOf has them
    std::string causes = {};
    std::string toDo = {};
};

struct Story
{
    std::optional<catalogue::Action> action = {};
    std::string actionSwitch = {};         // "/Setup", or the export's name, or "" when the log does not tell
    std::vector<std::string> options = {}; // those on the command line
    std::string stack = {};                // the chosen one; empty when none is
    unsigned long thread = 0;
    std::optional<std::int64_t> beginMs = {};
    std::optional<std::int64_t> endMs = {};
    bool hasBegin = false;
    bool hasEnd = false;
    std::optional<int> exitCode = {};         // as inferred, or as known
    std::optional<std::size_t> deciding = {}; // the index of the line that decides the result
    Level level = Level::Done;
    std::string headline = {};     // "FAILED: no stack is usable and none was asked for"
    std::string inferredFrom = {}; // what the result is inferred from
    std::vector<StoryLine> lines = {};
    std::vector<StoryStep> steps = {};
    std::vector<Problem> problems = {}; // in the order of the lines

    std::optional<std::size_t> first = {}; // the index of the problem to look at first

    // That problem; null when there is none.
    const Problem* FirstProblem() const;
    std::int64_t DurationMs() const { return beginMs && endMs ? *endMs - *beginMs : 0; }
};

// What is known of a run that somebody watched.
struct KnownEnd
{
    std::string actionSwitch = {};    // "/Setup", or the export's name
    std::optional<int> exitCode = {}; // nothing: there is no result
    std::string noResult = {};        // why there is none
};

// Tells the story of the lines of one run. Equal lines in a row become one.
Story Tell(std::vector<LogLine> lines);

// The same of a run whose end is known, whatever its log tells.
Story Tell(std::vector<LogLine> lines, const KnownEnd& end);

// The runs in a log: each process's lines by its thread, from a begin line to the next. What lies before the first
// begin line of a thread is a run whose beginning is not in the log. Lines that cannot be read belong to the run of the
// line before or, at the front, to the first run. Lines that a mail program wrapped are joined.
std::vector<Story> TellAll(std::vector<LogLine> lines);

} // namespace report
