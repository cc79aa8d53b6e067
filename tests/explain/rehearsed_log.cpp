// Makes logs by running the program.
#include "tests/explain/rehearsed_log.h"

#include "winsim/toolkit/install_log.h"
#include "winsim/toolkit/program_image.h"

#include <gtest/gtest.h>

Rehearsed Rehearse(const std::string& machineFile, const std::vector<std::string>& arguments,
                   const std::vector<std::string>& faults)
{
    const winsim::Machine machine = winsim::Machine::FromFile(KELO_ROOT "/machines/" + machineFile);
    winsim::RunOptions options;
    options.arguments = arguments;
    options.recordCalls = false;
    for (const std::string& fault : faults)
        options.faults.push_back(winsim::ParseFault(fault));
    const winsim::Outcome outcome =
        arguments.empty()
            ? winsim::ImageBeside("KeloCustomActionLibrary.so").RunExport(machine, options, "SRK_Auth_Change")
            : winsim::ImageBeside("KeloCustomAction.so").Run(machine, options);
    Rehearsed rehearsed{"", outcome.exitCode};
    for (const std::string& line : winsim::LogLines(machine, outcome.machine))
        rehearsed.log += line + "\n";
    return rehearsed;
}

report::Story StoryOf(const std::string& log)
{
    std::vector<report::Story> stories = report::TellAll(report::ReadLogLines(log));
    EXPECT_EQ(1u, stories.size());
    return stories.empty() ? report::Story{} : std::move(stories.front());
}
