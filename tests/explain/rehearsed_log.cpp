// Makes logs by running the program.
#include "tests/explain/rehearsed_log.h"

#include "winsim/toolkit/install_log.h"

#include <filesystem>

Rehearsed Rehearse(const std::string& machineFile, const std::vector<std::string>& arguments,
                   const std::vector<std::string>& faults)
{
    const auto folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    const winsim::Machine machine = winsim::Machine::FromFile(KELO_ROOT "/machines/" + machineFile);
    winsim::RunOptions options;
    options.arguments = arguments;
    options.recordCalls = false;
    for (const std::string& fault : faults)
        options.faults.push_back(winsim::ParseFault(fault));
    const winsim::Outcome outcome =
        arguments.empty() ? winsim::Program((folder / "KeloCustomActionLibrary.so").string())
                                .RunExport(machine, options, "SRK_Auth_Change")
                          : winsim::Program((folder / "KeloCustomAction.so").string()).Run(machine, options);
    Rehearsed rehearsed{"", outcome.exitCode};
    for (const std::string& line : winsim::LogLines(machine, outcome.machine))
        rehearsed.log += line + "\n";
    return rehearsed;
}
