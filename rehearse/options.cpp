// Reads kelo-rehearse's command line.
#include "rehearse/options.h"

#include "rehearse/choices.h"
#include "rehearse/exit_status.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <filesystem>
#include <iostream>

namespace
{

constexpr char kDescription[] =
    "Runs an action of the Kelo Toolkit's installer program on a described Windows machine, without Windows.";

constexpr char kFooter[] = R"(Everything after -- is the program's own command line:
  kelo-rehearse machines/windows-7-toolkit.json -- /Setup /TSS_VENDOR=KELO
  kelo-rehearse --save after.json machines/windows-7-toolkit.json -- /Setup
  kelo-rehearse after.json -- /Uninstall
  kelo-rehearse --fault OpenServiceW#2=ERROR_ACCESS_DENIED machines/windows-7-toolkit.json -- /Setup
  kelo-rehearse --export SRK_Auth_Change machines/srk-upgrade.json
  kelo-rehearse machines -- /Setup

Exit status of a single machine:
  0  the program succeeded
  1  the program ended with -1; with --export, the entry point returned anything but 0
  2  a usage error, or a bad description
  3  the program would wait for ever
  4  the program died of an exception or a fault
Exit status of many: 0 if each has its line, whatever it says; 2 otherwise.

--json prints exitCode, end, noResult, log, repeatedLines, stdout, events, calls, repeatedCalls, faults, changes, clockMs,
violations and notSimulated. Of many machines, each line has file, line, title, arguments, export, exitCode, status, stack,
lastStep, firstFailedCall, result, changes and digest. docs/rehearsal.md describes both. docs/machine.md describes how to write MACHINE.json.

Passwords (the text after "/PASSWORD=" in installer data, and after "/P:" in a command line) are shown and saved as
stars.)";

// --choices: the choices are printed, and nothing is rehearsed.
class CallForChoices : public CLI::Success
{
public:
    CallForChoices() : CLI::Success("CallForChoices", "", CLI::ExitCodes::Success) {}
};

// The program's own arguments follow "--" and may look like options of this tool.
std::vector<std::string> TakeProgramArguments(std::vector<std::string>& words)
{
    const auto separator = std::find(words.begin(), words.end(), "--");
    if (separator == words.end())
        return {};
    std::vector<std::string> arguments(separator + 1, words.end());
    words.erase(separator, words.end());
    return arguments;
}

constexpr char kMany[] = "For many machines (any of these options prints a line even for a single one)";

constexpr std::uint64_t kMostLines = 1'000'000'000'000;

void AddOptionsForMany(CLI::App& app, Options& options)
{
    app.add_option("--jobs", options.jobs, "Rehearse on N machines at the same time (one for each processor)")
        ->type_name("N")
        ->check(CLI::Range(1, 1024))
        ->group(kMany);
    app.add_option("--limit", options.limitSeconds, "Give up a machine after so much real time (60)")
        ->type_name("SECONDS")
        ->check(CLI::Range(1, 86400))
        ->group(kMany);
    app.add_option("--first-line", options.firstLine,
                   "The number of the first line of standard input (1), for input that was cut into blocks")
        ->type_name("N")
        ->check(CLI::Range(std::uint64_t{1}, kMostLines))
        ->group(kMany);
}

// Whether the command line asks for a line for each machine.
bool IsForMany(const CLI::App& app, const std::vector<std::string>& paths)
{
    const auto options = app.get_options([](const CLI::Option* option) { return option->get_group() == kMany; });
    const bool isAsked = std::any_of(options.begin(), options.end(), [](const auto* one) { return one->count() != 0; });
    std::error_code error;
    return isAsked || paths.size() != 1 || paths.front() == "-" || std::filesystem::is_directory(paths.front(), error);
}

// Options that show one run.
constexpr const char* kForOne[] = {"--json", "--trace", "--verbose", "--save", "--seen"};

void RefuseOptionsForOne(const CLI::App& app)
{
    for (const char* option : kForOne)
    {
        if (app.count(option) != 0)
            throw CLI::ArgumentMismatch(std::string(option) + " is for a single machine");
    }
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
    app.add_option("MACHINE.json", options.machinePaths,
                   "The machine's description. For several descriptions, a folder of them, or - (standard input, a "
                   "description a line), one line of JSON for each machine is printed")
        ->required();
    app.add_flag("--json", options.isJson, "Print one JSON object instead of the report; its keys are listed below");
    app.add_flag("--trace{calls}", trace,
                 "Show every Windows call, with arguments and result, between the lines of the log; --trace=all adds "
                 "the calls that write the log, convert text or manage memory")
        ->check(CLI::IsMember({"calls", "all"}));
    app.add_flag("--verbose", options.isVerbose,
                 "Show everything in full: every problem, and the meaning of each line of the log");
    app.add_option("--save", options.savePath, "Write the machine as the run left it, ready for the next rehearsal")
        ->type_name("OUT.json");
    app.add_option("--html", options.htmlPath,
                   "Also write a page for a browser: a timeline, the log explained, the calls and the changes")
        ->type_name("OUT.html");
    app.add_option("--seen", options.seenPath,
                   "Rehearse nothing: show a run of the same action that was made elsewhere, such as under Wine; "
                   "docs/rehearsal.md describes the file")
        ->type_name("RUN.json");
    app.add_option("--export", options.exportName,
                   "Call an exported entry point, as an installer does, instead of running the program; it reads its "
                   "CustomActionData from installer.properties in MACHINE.json")
        ->type_name("SRK_Auth_Change")
        ->check(CLI::IsMember({"SRK_Auth_Change"}));
    app.add_option("--fault", faults,
                   "Make the Nth call of a function fail, or every call without #N. ERROR is a number, a name such as "
                   "ERROR_ACCESS_DENIED, \"nothing\" (the call succeeds with an empty result) or \"fault\" (the call "
                   "ends in an access violation). The report names each fault that was not reached. May be repeated")
        ->type_name("CALL[#N]=ERROR")
        ->allow_extra_args(false);
    app.add_option(
           "--meanwhile", meanwhile,
           "Let another process change files after the Nth call of a function, or after the Nth call of any "
           "function if CALL is *. ACT is one of: delete PATH, move PATH -> PATH, write PATH -> TEXT, directory PATH, "
           "link PATH -> TARGET, filelink PATH -> TARGET, hardlink PATH -> FILE, turn PATH -> TARGET. May be "
           "repeated")
        ->type_name("CALL[#N]=ACT[; ACT...]")
        ->allow_extra_args(false);

    AddOptionsForMany(app, options);

    app.add_flag_callback(
        "--choices", [] { throw CallForChoices(); },
        "Print where the installer program departs from the letter of its requirements, and why");

    try
    {
        std::reverse(words.begin(), words.end());
        app.parse(words);
        options.isForMany = IsForMany(app, options.machinePaths);
        if (options.isForMany)
            RefuseOptionsForOne(app);
        else
            options.machinePath = options.machinePaths.front();
        if (!options.exportName.empty() && !options.arguments.empty())
            throw CLI::ArgumentMismatch("an exported entry point has no command line");
        const bool isRehearsed = options.isJson || !trace.empty() || !options.savePath.empty() ||
                                 !options.htmlPath.empty() || !faults.empty() || !meanwhile.empty();
        if (!options.seenPath.empty() && isRehearsed)
            throw CLI::ArgumentMismatch("--seen rehearses nothing; only --verbose goes with it");
        for (const std::string& fault : faults)
            options.faults.push_back(winsim::ParsePossibleFault(fault));
        for (const std::string& acts : meanwhile)
            options.meanwhile.push_back(winsim::ParseMeanwhile(acts));
    }
    catch (const CLI::CallForHelp&)
    {
        std::cout << app.help();
        return {std::nullopt, 0};
    }
    catch (const CallForChoices&)
    {
        std::cout << kChoicesText;
        return {std::nullopt, 0};
    }
    catch (const std::exception& error)
    {
        std::cerr << "kelo-rehearse: " << error.what() << " (--help tells more)\n";
        return {std::nullopt, exit_status::kUsageError};
    }
    if (!trace.empty())
        options.trace = trace == "all" ? Trace::All : Trace::Calls;
    return {options, 0};
}
