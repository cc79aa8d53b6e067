// Finds the machines and runs the program on them.
#include "tests/faults/sweep_case.h"

#include "winsim/toolkit/program_image.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <iterator>
#include <map>
#include <string_view>

namespace
{

constexpr char kExport[] = "SRK_Auth_Change";

const std::vector<std::vector<std::string>> kCommandLines = {
    {"/Setup"},
    {"/Setup", "/TSS_VENDOR=KELO", "/TPM_VSC=1", "/TPM_WIN8=1"},
    {"/Setup", "/TSS_VENDOR=NTRU12", "/ProductType=Enterprise"},
    {"/Commit"},
    {"/Rollback"},
    {"/Uninstall"},
    {}, // the entry point
};

// The machines that the sweep leaves out, because it cannot judge them, or because the program does on them what it
// does on others but for single calls: each machine takes a minute of the processor.
constexpr std::string_view kLeftOut[] = {
    "both-stacks.json",             // as on windows-7-ntru.json
    "card-driver-blocked.json",     // as with a failing CreateProcessW
    "library-faults.json",          // on windows-7-busy.json a library throws
    "library-lacks-function.json",  // as with a failing GetProcAddress
    "library-missing.json",         // as with a failing LoadLibraryA
    "locked-key.json",              // as with a failing LookupPrivilegeValueA on windows-8-denied.json
    "no-log.json",                  // nothing is logged, so no failure is
    "no-stack.json",                // as on windows-7-ntru.json
    "no-toolkit.json",              // most calls are not reached
    "repair.json",                  // as on upgrade.json
    "shim-in-use.json",             // on windows-7-busy.json a shim is in use
    "stack-disabled.json",          // as with a failing StartServiceA
    "toolkit-service-blocked.json", // as with a failing StartServiceW
    "tpm-disabled.json",            // as with another result of isEnabled
    "tpm-not-activated.json",       // as with another result of isActivated
    "tpm-not-owned.json",           // as with another result of isOwned
    "tpm-wrong-srk.json",           // as on windows-8-denied.json
    "windows-10-ntru-hangs.json",   // its runs never end
    "windows-8-wmi-fails.json",     // as with a failing IWbemServices::ExecMethod
};

bool IsSwept(const std::filesystem::path& file)
{
    const std::string name = file.filename().string();
    return file.extension() == ".json" && !name.ends_with("schema.json") &&
           std::find(std::begin(kLeftOut), std::end(kLeftOut), name) == std::end(kLeftOut);
}

std::string NameOf(const std::filesystem::path& machine, const std::vector<std::string>& arguments)
{
    std::string name = machine.stem().string();
    for (const std::string& argument : arguments)
        name += "_" + argument;
    if (arguments.empty())
        name += std::string("_") + kExport;
    const auto isPlain = [](unsigned char c) { return std::isalnum(c) != 0 || c == '_'; };
    std::erase_if(name, [&](char c) { return !isPlain(static_cast<unsigned char>(c)) && c != '-'; });
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

} // namespace

std::vector<SweepCase> AllCases()
{
    std::vector<std::filesystem::path> machines;
    for (const auto& entry : std::filesystem::directory_iterator(KELO_ROOT "/machines"))
    {
        if (IsSwept(entry.path()))
            machines.push_back(entry.path().filename());
    }
    std::sort(machines.begin(), machines.end());
    std::vector<SweepCase> cases;
    for (const std::filesystem::path& machine : machines)
    {
        for (const std::vector<std::string>& arguments : kCommandLines)
            cases.push_back({"machines/" + machine.string(), arguments, NameOf(machine, arguments)});
    }
    return cases;
}

std::size_t FirstTried(const SweepCase& sweepCase, std::size_t stride)
{
    const std::vector<SweepCase> cases = AllCases();
    const auto isIt = [&](const SweepCase& each) { return each.name == sweepCase.name; };
    return static_cast<std::size_t>(std::find_if(cases.begin(), cases.end(), isIt) - cases.begin()) % stride;
}

const winsim::Machine& MachineOf(const SweepCase& sweepCase)
{
    static std::map<std::string, winsim::Machine> read;
    const auto found = read.find(sweepCase.machineFile);
    if (found != read.end())
        return found->second;
    return read[sweepCase.machineFile] = winsim::Machine::FromFile(KELO_ROOT "/" + sweepCase.machineFile);
}

winsim::Outcome Run(const SweepCase& sweepCase, const winsim::Machine& machine,
                    const std::vector<winsim::Fault>& faults, const std::vector<winsim::Meanwhile>& meanwhile)
{
    static const winsim::Program program = winsim::ImageBeside("KeloCustomAction.so");
    static const winsim::Program library = winsim::ImageBeside("KeloCustomActionLibrary.so");
    winsim::RunOptions options;
    options.arguments = sweepCase.arguments;
    options.faults = faults;
    options.meanwhile = meanwhile;
    // Records only the lines and the queries for folders: recording other parameters would only take time.
    options.parametersOf = {"fputs", "SHGetFolderPathA"};
    return sweepCase.IsExport() ? library.RunExport(machine, options, kExport) : program.Run(machine, options);
}

std::string CommandFor(const SweepCase& sweepCase, const std::vector<winsim::Fault>& faults,
                       const std::vector<winsim::Meanwhile>& meanwhile)
{
    std::string command = KELO_REHEARSE;
    for (const winsim::Fault& fault : faults)
        command += " --fault '" + TextOf(fault) + "'";
    for (const winsim::Meanwhile& acts : meanwhile)
        command += " --meanwhile '" + TextOf(acts) + "'";
    if (sweepCase.IsExport())
        return command + " --export " + kExport + " " + sweepCase.machineFile;
    command += " " + sweepCase.machineFile + " --";
    for (const std::string& argument : sweepCase.arguments)
        command += " " + argument;
    return command;
}
