// What the programs of a simulated machine do, and their JSON form.
#include "winsim/machine/programs.h"

#include "winsim/base/fields.h"
#include "winsim/machine/areas.h"
#include "winsim/machine/windows_names.h"

#include <algorithm>

namespace winsim
{

template <>
struct Fields<ProgramRun>
{
    static constexpr char kName[] = "programRun";

    template <typename Visitor>
    static void Visit(Visitor& visit)
    {
        visit(Key{"arguments", "the command line after the program's name, exactly", "any"},
              Member(&ProgramRun::arguments));
        visit(Key{"startError", "error with which starting it fails: a number or a name", "`0`, it starts"},
              Member(&ProgramRun::startError, ErrorForm()));
        visit(Key{"exitCode", "exit code", "`0`"}, Always(&ProgramRun::exitCode));
        visit(Key{"runMs", "how long it runs, in milliseconds", "`0`"}, Member(&ProgramRun::runMs));
        visit(Key{"neverEnds", "whether it runs for ever", "`false`"}, Member(&ProgramRun::neverEnds));
        visit(Key{"effects", "how the machine is changed when it ends: a description", "not at all"},
              Member(&ProgramRun::effects, EffectsForm()));
    }
};

template <>
struct Fields<ProgramFile>
{
    static constexpr char kName[] = "program";

    template <typename Visitor>
    static void Visit(Visitor& visit)
    {
        visit(Key{"runs", "runs by arguments: a list, of which the first with fitting arguments counts",
                  "none; a program without a fitting run ends at once with 0"},
              Always(&ProgramFile::runs));
    }
};

ProgramRun ProgramFile::RunWith(const std::string& arguments) const
{
    const auto fits = [&](const ProgramRun& run) { return !run.arguments || *run.arguments == arguments; };
    const auto run = std::ranges::find_if(runs, fits);
    return run == runs.end() ? ProgramRun() : *run;
}

void ProgramFile::Load(const Reader& reader)
{
    ReadFields(reader, *this);
}

Json ProgramFile::ToJson() const
{
    return JsonOfFields(*this);
}

Json SchemaOfPrograms(Json& definitions)
{
    return SchemaByPath<ProgramFile>(definitions);
}

} // namespace winsim
