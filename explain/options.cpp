// Reads kelo-explain's command line.
#include "explain/options.h"

#include <CLI/CLI.hpp>

#include <iostream>

namespace
{

constexpr int kUsageError = 2;

constexpr char kDescription[] = "Explains an install log of the Kelo Toolkit: whether each run worked, what failed "
                                "first, and what to do now.";

constexpr char kFooter[] = R"(  kelo-explain kelo_install_log.txt
  kelo-explain --all --run 3 kelo_install_log.txt
  kelo-explain --find-cause --machine machines/windows-7-toolkit.json kelo_install_log.txt

The log may be damaged, cut off at either end, quoted or wrapped by a mail program, or written by several programs at
once, and it may be in UTF-8, UTF-16 or any code page. Passwords in it are shown as stars. docs/log.md lists every text.

Exit status: 0, whatever the log says; 2 for a usage error or a log that cannot be read.)";

} // namespace

ParsedExplainOptions ParseExplainOptions(int argc, char** argv)
{
    ExplainOptions options;
    CLI::App app{kDescription, "kelo-explain"};
    app.footer(kFooter);
    auto* const log = app.add_option("LOG", options.logPath, "The install log, or - for standard input");
    app.add_option("--run", options.run, "Explain run N instead of the latest run that did not succeed")
        ->type_name("N")
        ->check(CLI::PositiveNumber);
    app.add_flag("--all", options.isAll, "Explain every run, problem and line of the log");
    app.add_flag("--json", options.isJson, "Print one JSON object");
    app.add_option("--html", options.htmlPath, "Also write a page for a browser: a timeline, and every line explained")
        ->type_name("OUT.html");
    auto* const findCause = app.add_flag(
        "--find-cause", options.isCauseWanted,
        "Rehearse the run's action on the described machine with one call failing at a time, then with every "
        "call of one function failing, and list the failures that give the same log");
    findCause->needs(
        app.add_option("--machine", options.machinePath, "The machine's description")->type_name("M.json"));
    app.add_option("--describe", options.draftPath,
                   "Write a draft of the machine's description from what the log shows")
        ->type_name("OUT.json");
    app.add_option("--code-page", options.codePage, "The code page of a log that is not UTF-8 (1252)")->type_name("N");
    auto* const reference =
        app.add_flag("--reference", options.isReference, "Print the reference of all texts (docs/log.md)");
    try
    {
        app.parse(argc, argv);
        if (log->empty() && reference->empty())
            throw CLI::RequiredError("LOG");
    }
    catch (const CLI::CallForHelp&)
    {
        std::cout << app.help();
        return {std::nullopt, 0};
    }
    catch (const std::exception& error)
    {
        std::cerr << "kelo-explain: " << error.what() << " (--help tells more)\n";
        return {std::nullopt, kUsageError};
    }
    return {options, 0};
}
