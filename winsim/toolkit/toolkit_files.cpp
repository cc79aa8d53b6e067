// Looks for the toolkit's files.
#include "winsim/toolkit/toolkit_files.h"

#include <algorithm>
#include <iterator>

namespace winsim
{

namespace
{

constexpr const char* kFiles[] = {
    R"(\KELO\stkprobe.dll)",  R"(\NTRU12\stkprobe.dll)",         R"(\KlPCR.exe)",
    R"(\CertJobPlanner.dll)", R"(\TPM_VSCard\DriverStager.exe)",
};

} // namespace

std::string ToolkitFolder(const Machine& machine)
{
    return Files::ParentOf(Files::Normalize(machine.process.path));
}

bool LacksToolkit(const Machine& machine)
{
    const std::string folder = ToolkitFolder(machine);
    return std::none_of(std::begin(kFiles), std::end(kFiles),
                        [&](const char* file) { return machine.files.Find(folder + file) != nullptr; });
}

} // namespace winsim
