// The vocabulary of expected runs: the lines in the script of a simulated run, and lists of them.
//
// A script lists what a run did, one line each: calls with their arguments and results, and messages of the log. A
// test writes a call with Call(...), a message as "log: text", and puts lines and other scripts together in braces:
//
//     const Script kDeleted = {Call("DeleteFileA", {kTsp1}, 1), "log: RemoveTSP1File - Deleted Tsp<x>_x64.dll"};
//     ExpectRun(CallFunction(machine, "RemoveTSP1File", {"0"}), "0", {BeginOfRemoval(0, kTsp1), kDeleted});
#pragma once

#include "winsim/base/json.h"

#include <initializer_list>
#include <string>
#include <vector>

// One line, or all lines of another script.
class ScriptPart
{
public:
    ScriptPart(const char* line) : m_lines{line} {}
    ScriptPart(std::string line) : m_lines{std::move(line)} {}
    ScriptPart(std::vector<std::string> lines) : m_lines(std::move(lines)) {}

    const std::vector<std::string>& Lines() const { return m_lines; }

private:
    std::vector<std::string> m_lines;
};

class Script : public std::vector<std::string>
{
public:
    Script() = default;
    Script(std::initializer_list<ScriptPart> parts) { Append(parts); }
    Script(const char* line) : Script({line}) {}
    Script(const std::string& line) : Script({line}) {}
    Script(const std::vector<std::string>& lines) : std::vector<std::string>(lines) {}
    Script(const_iterator first, const_iterator last) : std::vector<std::string>(first, last) {}

    void Append(std::initializer_list<ScriptPart> parts)
    {
        for (const ScriptPart& part : parts)
            insert(end(), part.Lines().begin(), part.Lines().end());
    }
};

// The line of a call: its name, its arguments, the result (null for none), and its outputs by name.
std::string Call(const std::string& name, std::initializer_list<winsim::Json> in = {},
                 const winsim::Json& result = nullptr, const winsim::Json& out = winsim::Json::object());
// The same for arguments that are known only when the test runs.
std::string CallLine(const std::string& name, const std::vector<winsim::Json>& in, const winsim::Json& result,
                     const winsim::Json& out);

// The same call with another result, as when it fails: it has no outputs.
std::string Failing(const std::string& call, const winsim::Json& result = nullptr);

// The same lines, repeated the given number of times.
Script Times(std::size_t count, const Script& lines);

// The same script with other lines instead of one of its lines, which occurs once.
Script Replaced(const Script& script, const std::string& line, const Script& lines);

// The lines before a line of the script.
Script Before(const Script& script, const std::string& line);

// The lines of the calls with a name.
Script CallsOf(const std::string& name, const Script& script);

// How many times a call occurs in a script.
std::size_t CountOf(const std::string& name, const Script& script);

// The messages of a script, without "log: ".
Script LogOf(const Script& script);
