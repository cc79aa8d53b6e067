// Runs the program's image.
#include "rehearse/rehearsal.h"

#include "winsim/toolkit/program_image.h"

winsim::Outcome Rehearse(const Options& options, const winsim::Machine& machine)
{
    winsim::RunOptions run;
    run.arguments = options.arguments;
    run.faults = options.faults;
    run.meanwhile = options.meanwhile;
    run.foldRepeats = true;
    if (options.exportName.empty())
        return winsim::ImageBeside("KeloCustomAction.so").Run(machine, run);
    return winsim::ImageBeside("KeloCustomActionLibrary.so").RunExport(machine, run, options.exportName);
}
