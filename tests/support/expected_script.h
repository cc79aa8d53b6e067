// Expected scripts of simulated runs: putting them together, and comparing them.
#pragma once

#include "tests/support/simulated_run.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

using Script = std::vector<std::string>;

// Script and lists of lines, one behind the other.
template <typename... Parts>
Script Joined(const Parts&... parts)
{
    Script all;
    const auto append = [&all](const auto& part) {
        if constexpr (std::is_convertible_v<decltype(part), std::string>)
            all.push_back(part);
        else
            all.insert(all.end(), part.begin(), part.end());
    };
    (append(parts), ...);
    return all;
}

inline Script Joined(const std::vector<Script>& parts)
{
    Script all;
    for (const Script& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

inline Script Times(std::size_t count, const Script& lines)
{
    Script all;
    for (; count > 0; --count)
        all.insert(all.end(), lines.begin(), lines.end());
    return all;
}

// How often a call stands in a script.
inline std::size_t CountOf(const std::string& call, const Script& script)
{
    return static_cast<std::size_t>(std::count_if(
        script.begin(), script.end(), [&](const std::string& line) { return line.starts_with(call + "("); }));
}

// The messages of a script.
inline Script LogOf(const Script& script)
{
    constexpr std::string_view kMark = "log: ";
    Script messages;
    for (const std::string& line : script)
    {
        if (line.starts_with(kMark))
            messages.push_back(line.substr(kMark.size()));
    }
    return messages;
}

// Compares line by line: a long script is not worth printing as a whole.
inline void ExpectLines(const Script& actual, const Script& expected, const char* what)
{
    const auto [difference, wanted] = std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end());
    if (difference == actual.end() && wanted == expected.end())
        return;
    ADD_FAILURE() << what << " differs at line " << difference - actual.begin() + 1 << " of " << actual.size()
                  << ", wanted " << expected.size()
                  << "\n  is:     " << (difference == actual.end() ? "(the end)" : *difference)
                  << "\n  wanted: " << (wanted == expected.end() ? "(the end)" : *wanted)
                  << "\n  before: " << (difference == actual.begin() ? "(nothing)" : *(difference - 1));
}

// The function's result, every call and message it made, and the log that it left behind.
inline void ExpectRun(const SimulatedRun& run, const std::string& result, const Script& script)
{
    EXPECT_EQ(run.result, result);
    ExpectLines(run.script, script, "the script");
    ExpectLines(run.log, LogOf(script), "the log");
}
