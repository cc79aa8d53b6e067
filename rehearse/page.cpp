// Makes the page of a rehearsal.
#include "rehearse/page.h"

#include "report/page.h"
#include "winsim/toolkit/install_log.h"

#include <fmt/format.h>

std::string PageReport(const Options& options, const winsim::Machine& before, const winsim::Outcome& outcome)
{
    std::string log;
    for (const std::string& line : winsim::LogLines(before, outcome.machine))
        log += line + "\n";
    const report::Story story = report::Tell(report::ReadLogLines(log));
    report::PageRun run{.story = &story, .command = options.exportName};
    for (const std::string& argument : options.arguments)
        run.command += (run.command.empty() ? "" : " ") + argument;
    run.command += fmt::format(" on {}: exit code {}", options.machinePath, outcome.exitCode);
    run.calls = CallsOf(outcome, story, report::CallChoice::Own);
    for (const winsim::Change& change : Compare(before, outcome.machine))
        run.changes.push_back({change.kind, change.area, change.item});
    return report::Page("Rehearsal: " + before.title, {run}, 0);
}
