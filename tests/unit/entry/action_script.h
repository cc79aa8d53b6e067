// The lines around the steps of an action, for tests that compare whole runs.
#pragma once

#include "tests/support/windows_script.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using Words = std::vector<std::string>;

inline constexpr char kProgramPath[] = R"(C:\Program Files\Kelo Systems Corp\Toolkit\KeloCustomAction.exe)";

// The program splits its command line.
inline Script StartOf(const Words& words)
{
    Words all{kProgramPath};
    all.insert(all.end(), words.begin(), words.end());
    const std::string line = winsim::JoinCommandLine(all);
    return {Call("GetCommandLineW", {}, line),
            Call("CommandLineToArgvW", {line}, "block#1", {{"pNumArgs", all.size()}, {"argv", all}})};
}

// The lines at the beginning of every action. `words` follow the program's path, as the code page shows them.
inline Script HeadOf(const Words& words)
{
    Script head{"log: ============= Begin-> Kelo CSP (x64) Custom Action ===================",
                "log: command line argc: " + std::to_string(words.size() + 1)};
    if (words.empty())
        return head;
    head.push_back(std::string("log: command line argv[0]: ") + kProgramPath);
    for (std::size_t i = 0; i < words.size(); ++i)
        head.push_back("log: command line argv[" + std::to_string(i + 1) + "]: " + words[i]);
    return head;
}

inline const Script kEnd = {"log: ============= Kelo CSP Custom Action <-End ===================",
                            Call("printf", {"Done!"}, 5)};

// Expects that a run of the program with `words` consists of these steps and the lines around every action.
inline void ExpectAction(const SimulatedRun& run, const Words& words, const Script& steps, int exitCode = 0)
{
    ExpectRun(run, std::to_string(exitCode), {StartOf(words), HeadOf(words), steps, kEnd});
    EXPECT_EQ(run.outcome.standardOutput, "Done!");
}

// Expects that a run ended after the lines at the beginning of every action, with at most one more message.
inline void ExpectRefused(const SimulatedRun& run, const Words& words, const Script& message)
{
    ExpectRun(run, "-1", {StartOf(words), HeadOf(words), message});
    EXPECT_EQ(run.outcome.standardOutput, "");
}
