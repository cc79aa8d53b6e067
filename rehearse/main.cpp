// kelo-rehearse: runs an action or an export of the installer program on described machines and reports the runs.
#include "rehearse/exit_status.h"
#include "rehearse/many.h"
#include "rehearse/options.h"
#include "rehearse/page.h"
#include "rehearse/rehearsal.h"
#include "rehearse/report.h"
#include "report/page.h"
#include "winsim/toolkit/secrets.h"

#include <fstream>
#include <iostream>

namespace
{

void Save(const winsim::Machine& machine, const std::string& path)
{
    std::ofstream file(path);
    file << winsim::HideAllSecrets(machine.ToJson()).dump(2) << "\n";
    if (!file.flush())
        throw std::runtime_error(path + ": cannot be written");
}

// Shows a run that was made elsewhere.
int Show(const Options& options, const winsim::Machine& machine)
{
    try
    {
        std::ifstream file(options.seenPath);
        const auto seen = winsim::Json::parse(file);
        std::cout << TextReportOf(seen, options, report::Style::OfStandardOutput(), machine);
        return ExitStatusOf(seen);
    }
    catch (const winsim::Json::exception& error)
    {
        throw std::runtime_error(options.seenPath + ": " + error.what());
    }
}

int RehearseOne(const Options& options)
{
    const winsim::Machine machine = winsim::Machine::FromFile(options.machinePath);
    if (!options.seenPath.empty())
        return Show(options, machine);
    const winsim::Outcome outcome = Rehearse(options, machine);

    if (!options.savePath.empty())
        Save(outcome.machine, options.savePath);
    if (!options.htmlPath.empty())
        report::WriteText(options.htmlPath, PageReport(options, machine, outcome));
    if (options.isJson)
        std::cout << JsonReport(machine, outcome).dump(2, ' ', false, winsim::Json::error_handler_t::replace) << "\n";
    else
        std::cout << TextReport(options, report::Style::OfStandardOutput(), machine, outcome);
    return ExitStatusOf(outcome);
}

} // namespace

int main(int argc, char** argv)
{
    const ParsedOptions parsed = ParseOptions(argc, argv);
    if (!parsed.options)
        return parsed.exitStatus;
    try
    {
        return parsed.options->isForMany ? RehearseMany(*parsed.options) : RehearseOne(*parsed.options);
    }
    catch (const std::exception& error)
    {
        std::cerr << "kelo-rehearse: " << error.what() << "\n";
        return exit_status::kUsageError;
    }
}
