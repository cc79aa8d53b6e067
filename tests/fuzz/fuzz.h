// Shared by the fuzz targets: texts from raw input, the program on a simulated machine, and the rules for its runs.
#pragma once

#include "winsim/process/program.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// The length of the longest line, including its newline.
constexpr std::size_t kLongestLine = 511;

// The lines of an input, without their ends, as texts that a machine can contain: UTF-8 (with lone surrogates), without
// zeros.
std::vector<std::string> LinesOf(const std::uint8_t* data, std::size_t size);

// The whole input as such a text.
std::string TextOf(const std::uint8_t* data, std::size_t size);

// If the two are not the same, ends the fuzzer, which then keeps the input.
void ExpectSame(std::string_view what, std::string_view expected, std::string_view actual);
void ExpectSame(std::string_view what, const std::vector<std::string>& expected,
                const std::vector<std::string>& actual);

// A run of the program, or of one of its functions, that broke no rule: see Judge().
struct FuzzedRun
{
    winsim::Outcome outcome;
    std::string result;             // of a function
    std::vector<std::string> lines; // of the log, each with its header and its newline (UTF-8)

    // The lines without headers and newlines.
    std::vector<std::string> Messages() const;
    // The records of one call, in order.
    std::vector<winsim::CallRecord> CallsOf(std::string_view name) const;
};

// Each ends the fuzzer if the run misuses a handle or memory, waits for ever, ends with a forbidden code, or passes a
// line to the log that is too long, has no header or does not end in a newline. `calls` names the calls whose
// parameters are needed.
FuzzedRun CallFunction(const winsim::Machine& machine, const std::string& name,
                       const std::vector<std::string>& arguments, const std::set<std::string, std::less<>>& calls = {});
FuzzedRun RunProgram(const winsim::Machine& machine, winsim::RunOptions options,
                     const std::set<std::string, std::less<>>& calls = {});
FuzzedRun RunEntryPoint(const winsim::Machine& machine, const std::set<std::string, std::less<>>& calls = {});

// The line that a log must write for a message: header and message (both in ANSI), one newline, at most 511 characters.
std::string LogLine(const std::string& header, const std::string& message);
