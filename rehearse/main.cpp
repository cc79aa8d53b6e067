// kelo-rehearse: runs an action of the installer program on a described machine and tells what it did.
#include "rehearse/options.h"
#include "rehearse/report.h"
#include "winsim/core/program.h"

#include <filesystem>
#include <fstream>
#include <iostream>

namespace
{

constexpr int kUsageError = 2;

// The program lies beside this one.
std::string ProgramPath()
{
    return (std::filesystem::read_symlink("/proc/self/exe").parent_path() / "KeloCustomAction.so").string();
}

// What a shell makes of an exit code.
int ExitStatus(int exitCode)
{
    return exitCode & 0xFF;
}

void Save(const winsim::Machine& machine, const std::string& path)
{
    std::ofstream file(path);
    file << machine.ToJson().dump(2) << "\n";
    if (!file.flush())
        throw std::runtime_error(path + ": cannot be written");
}

int Rehearse(const Options& options)
{
    const winsim::Machine machine = winsim::Machine::FromFile(options.machinePath);
    winsim::RunOptions run;
    run.arguments = options.arguments;
    run.faults = options.faults;
    run.recordCalls = options.isJson || options.trace != Trace::None;
    const winsim::Outcome outcome = winsim::Program(ProgramPath()).Run(machine, run);

    if (!options.savePath.empty())
        Save(outcome.machine, options.savePath);
    if (options.isJson)
        std::cout << JsonReport(machine, outcome).dump(2, ' ', false, winsim::Json::error_handler_t::replace) << "\n";
    else
        std::cout << TextReport(options, machine, outcome);
    return ExitStatus(outcome.exitCode);
}

} // namespace

int main(int argc, char** argv)
{
    const ParsedOptions parsed = ParseOptions(argc, argv);
    if (!parsed.options)
        return parsed.exitStatus;
    try
    {
        return Rehearse(*parsed.options);
    }
    catch (const std::exception& error)
    {
        std::cerr << "kelo-rehearse: " << error.what() << "\n";
        return kUsageError;
    }
}
