// What the fuzz targets share: texts out of raw input, the program on a simulated machine, and what must hold.
#pragma once

#include "winsim/process/program.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// The characters of the longest line, with its newline.
constexpr std::size_t kLongestLine = 511;

// The lines of an input, without their ends, as texts that a machine can hold: UTF-8 (with lone surrogates), without
// zeros.
std::vector<std::string> LinesOf(const std::uint8_t* data, std::size_t size);

// The whole input as such a text.
std::string TextOf(const std::uint8_t* data, std::size_t size);

// Ends the fuzzer, which then keeps the input, with the two when they are not the same.
void ExpectSame(std::string_view what, std::string_view expected, std::string_view actual);
void ExpectSame(std::string_view what, const std::vector<std::string>& expected,
                const std::vector<std::string>& actual);

// A run of the program, or of one of its functions, in which nothing was done that must not be done: see Judge().
struct FuzzedRun
{
    winsim::Outcome outcome;
    std::string result;             // of a function
    std::vector<std::string> lines; // of the log, each with its header and its newline (UTF-8)

    // The lines without headers and newlines.
    std::vector<std::string> Messages() const;
    // The records of one call, in their order.
    std::vector<winsim::CallRecord> CallsOf(std::string_view name) const;
};

// Each ends the fuzzer when the run treats a handle or memory wrongly, waits for ever, ends with a code that it must
// not have, or hands a line to the log that is too long, has no header or does not end in a newline. `calls` names the
// calls whose parameters are to be looked at.
FuzzedRun CallFunction(const winsim::Machine& machine, const std::string& name,
                       const std::vector<std::string>& arguments, const std::set<std::string, std::less<>>& calls = {});
FuzzedRun RunProgram(const winsim::Machine& machine, winsim::RunOptions options,
                     const std::set<std::string, std::less<>>& calls = {});
FuzzedRun RunEntryPoint(const winsim::Machine& machine, const std::set<std::string, std::less<>>& calls = {});

// The line that a log has to write for a message: header and message (both in ANSI), one newline, at most 511
// characters.
std::string LogLine(const std::string& header, const std::string& message);
