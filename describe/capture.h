// The capture of a machine: what each reader adds to, and the readers.
#pragma once

#include "describe/anonymous_sids.h"
#include "describe/asked.h"
#include "describe/notes.h"
#include "winsim/machine/machine.h"

#include <string>

namespace describe
{

struct CaptureOptions
{
    std::string program; // the installer program's own file; empty: where the toolkit's registry value says
    bool askDetectionLibraries = false;
};

struct Capture
{
    CaptureOptions options;
    winsim::Machine machine; // as far as it was read
    Notes notes;
    AnonymousSids sids;
    Places places;
    bool isElevated = false; // whether this process has the rights that the installer gives to the program
};

// Each reads an area of the machine, and notes what it could not read. The order counts: later ones use what earlier
// ones read.
void ReadWindows(Capture& capture);
void ReadToken(Capture& capture);
void ReadFolders(Capture& capture);
void ReadRegistry(Capture& capture);
void ReadServices(Capture& capture);
void ReadProgram(Capture& capture); // where it is, and where the toolkit is
void ReadFiles(Capture& capture);
void ReadLibraries(Capture& capture);
void ReadProcesses(Capture& capture);
void ReadSmartCards(Capture& capture);
void ReadCng(Capture& capture);
void ReadWmi(Capture& capture);

// The description of this machine, checked as kelo-rehearse checks it. Throws winsim::DescriptionError if it would not
// take it.
winsim::Json Describe(const CaptureOptions& options);

} // namespace describe
