// Leaves the machine as the removed sample package leaves it, whatever happened before.
#include "proof/leftovers.h"
#include "proof/run_program.h"
#include "proof/steps.h"

#include <shlobj.h>

namespace proof
{

namespace
{

constexpr unsigned long kCleanUpLimitMs = 15 * 60 * 1000;

} // namespace

Json CleanUp(const Words& arguments)
{
    Json removed = Json::array();
    const std::wstring folder = StandardFolder(CSIDL_PROGRAM_FILES) + L"\\Kelo Systems Corp";
    if (Exists(folder + L"\\Toolkit\\KeloCustomAction.exe"))
    {
        RunProgram(Quoted(StandardFolder(CSIDL_SYSTEM) + L"\\msiexec.exe") + L" /x " +
                       Quoted(WorkFolder() + L"\\" + arguments.at(0)) + L" /qn /norestart",
                   WorkFolder(), kCleanUpLimitMs);
        removed.push_back("the sample package");
    }
    if (RemoveServicesBelow(folder + L"\\"))
        removed.push_back("the toolkit's service");
    // Stand-ins write beside themselves how they were used, and into the registry.
    RemoveTree(folder);
    RemoveStandInKeys();
    RemoveTree(WorkFolder());
    return {{"removed", removed}};
}

} // namespace proof
