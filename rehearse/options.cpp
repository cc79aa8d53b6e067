// Reads kelo-rehearse's command line.
#include "rehearse/options.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iostream>

namespace
{

constexpr int kUsageError = 2;

constexpr char kDescription[] =
    "Runs an action of the Kelo Toolkit's installer program on a described Windows machine, without Windows.";

constexpr char kFooter[] = R"(Everything behind -- is the program's own command line:
  kelo-rehearse machines/windows-7.json -- /Setup /TSS_VENDOR=KELO
  kelo-rehearse --save after.json machines/windows-7.json -- /Setup
  kelo-rehearse after.json -- /Uninstall
  kelo-rehearse --export SRK_Auth_Change machines/srk-upgrade.json

Exit status: the program's exit code (0, or 255 for -1); with --export, 0 when the exported entry point returned 0 and
1 when it returned anything else (the report and --json tell what); 2 for a usage error or a bad description.

Passwords (what follows "/PASSWORD=" in installer data, and "/P:" in a command line) are shown and saved as stars.)";

// The program's own arguments stand behind "--"; they look like anything.
std::vector<std::string> TakeProgramArguments(std::vector<std::string>& words)
{
    const auto separator = std::find(words.begin(), words.end(), "--");
    if (separator == words.end())
        return {};
    std::vector<std::string> arguments(separator + 1, words.end());
    words.erase(separator, words.end());
    return arguments;
}

} // namespace

ParsedOptions ParseOptions(int argc, char** argv)
{
    std::vector<std::string> words(argv + 1, argv + argc);
    Options options;
    options.arguments = TakeProgramArguments(words);
    std::vector<std::string> faults;
    std::vector<std::string> meanwhile;
    std::string trace;

    CLI::App app{kDescription, "kelo-rehearse"};
    app.footer(kFooter);
    app.add_option("MACHINE.json", options.machinePath, "The machine's description")->required();
    app.add_flag("--json", options.isJson,
                 "Print one JSON object: exitCode, log, stdout, events, calls, changes, clockMs");
    app.add_flag(
           "--trace{calls}", trace,
           "Show every Windows call, with arguments and result; --trace=all shows text conversions and memory too")
        ->check(CLI::IsMember({"calls", "all"}));
    app.add_option("--save", options.savePath, "Write the machine as it is afterwards, ready for the next rehearsal")
        ->type_name("OUT.json");
    app.add_option(
           "--export", options.exportName,
           "Call an exported entry point, as an installer does, instead of running the program; CustomActionData "
           "is the machine's installer.properties.CustomActionData")
        ->type_name("SRK_Auth_Change")
        ->check(CLI::IsMember({"SRK_Auth_Change"}));
    app.add_option("--fault", faults, "Let the Nth call of a name fail with an error, each call without #N")
        ->type_name("CALL[#N]=ERROR")
        ->allow_extra_args(false);
    app.add_option("--meanwhile", meanwhile,
                   "Let another process act on files after the Nth call of a name, or of all calls (*): delete PATH, "
                   "move PATH -> PATH, write PATH -> TEXT, directory PATH, link PATH -> TARGET, filelink PATH -> "
                   "TARGET, hardlink PATH -> FILE, turn PATH -> TARGET")
        ->type_name("CALL[#N]=ACT[; ACT...]")
        ->allow_extra_args(false);

    try
    {
        std::reverse(words.begin(), words.end());
        app.parse(words);
        if (!options.exportName.empty() && !options.arguments.empty())
            throw CLI::ArgumentMismatch("an exported entry point has no command line");
        for (const std::string& fault : faults)
            options.faults.push_back(winsim::ParseFault(fault));
        for (const std::string& acts : meanwhile)
            options.meanwhile.push_back(winsim::ParseMeanwhile(acts));
    }
    catch (const CLI::CallForHelp&)
    {
        std::cout << app.help();
        return {std::nullopt, 0};
    }
    catch (const std::exception& error)
    {
        std::cerr << "kelo-rehearse: " << error.what() << " (--help tells more)\n";
        return {std::nullopt, kUsageError};
    }
    if (!trace.empty())
        options.trace = trace == "all" ? Trace::All : Trace::Calls;
    return {options, 0};
}
