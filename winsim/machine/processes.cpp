// Keeps the processes and programs of a simulated machine, and their JSON form.
#include "winsim/machine/processes.h"

#include "winsim/base/text.h"
#include "winsim/machine/files.h"

#include <algorithm>

namespace winsim
{

namespace
{

constexpr std::uint32_t kFirstId = 100;
constexpr std::uint32_t kIdStep = 4; // Windows' identifiers are multiples of four

ProgramRun ReadRun(const Reader& reader)
{
    ProgramRun run;
    ObjectReader object{reader};
    object.With("arguments", [&](const Reader& arguments) { run.arguments = arguments.Text(); });
    object.Read("startError", run.startError);
    object.Read("exitCode", run.exitCode);
    object.Read("runMs", run.runMs);
    object.Read("neverEnds", run.neverEnds);
    object.With("effects", [&](const Reader& effects) {
        if (!effects.Value().is_object())
            effects.Fail("not an object");
        run.effects = effects.Value();
    });
    object.Done();
    return run;
}

Json JsonOfRun(const ProgramRun& run)
{
    Json json = Json::object();
    if (run.arguments)
        json["arguments"] = *run.arguments;
    if (run.startError != 0)
        json["startError"] = run.startError;
    json["exitCode"] = run.exitCode;
    if (run.runMs != 0)
        json["runMs"] = run.runMs;
    if (run.neverEnds)
        json["neverEnds"] = true;
    if (!run.effects.is_null())
        json["effects"] = run.effects;
    return json;
}

} // namespace

void Processes::Load(const Reader& reader)
{
    m_processes.clear();
    reader.Elements([&](const Reader& element) {
        RunningProcess process;
        std::uint32_t count = 1;
        ObjectReader object{element};
        process.id = FreeId();
        object.Read("id", process.id);
        object.Read("name", process.name);
        object.Read("deniedAccess", process.deniedAccess);
        object.Read("terminateError", process.terminateError);
        object.Read("count", count);
        object.Done();
        if (Find(process.id) != nullptr)
            element.Fail("the id is another process's");
        for (; count > 0; --count)
        {
            Add(process);
            process.id = FreeId();
        }
    });
}

Json Processes::ToJson() const
{
    Json json = Json::array();
    for (const RunningProcess& process : m_processes)
    {
        Json entry{{"id", process.id}};
        if (!process.name.empty())
            entry["name"] = process.name;
        if (process.deniedAccess != 0)
            entry["deniedAccess"] = process.deniedAccess;
        if (process.terminateError != 0)
            entry["terminateError"] = process.terminateError;
        json.push_back(entry);
    }
    return json;
}

const RunningProcess* Processes::Find(std::uint32_t id) const
{
    const auto process =
        std::find_if(m_processes.begin(), m_processes.end(), [&](const RunningProcess& p) { return p.id == id; });
    return process == m_processes.end() ? nullptr : &*process;
}

std::uint32_t Processes::FreeId() const
{
    std::uint32_t id = kFirstId;
    for (const RunningProcess& process : m_processes)
        id = std::max(id, process.id + kIdStep);
    return id;
}

void Processes::Remove(std::uint32_t id)
{
    std::erase_if(m_processes, [&](const RunningProcess& process) { return process.id == id; });
}

void Programs::Load(const Reader& reader)
{
    reader.Members([&](const std::string& path, const Reader& member) {
        Program program{Files::Normalize(path), {}};
        ObjectReader object{member};
        object.With("runs", [&](const Reader& runs) {
            runs.Elements([&](const Reader& run) { program.runs.push_back(ReadRun(run)); });
        });
        object.Done();
        m_programs.insert_or_assign(FoldCase(program.path), std::move(program));
    });
}

Json Programs::ToJson() const
{
    Json json = Json::object();
    for (const auto& [folded, program] : m_programs)
    {
        Json runs = Json::array();
        for (const ProgramRun& run : program.runs)
            runs.push_back(JsonOfRun(run));
        json[program.path]["runs"] = runs;
    }
    return json;
}

bool Programs::IsDescribed(const std::string& path) const
{
    return m_programs.contains(FoldCase(Files::Normalize(path)));
}

ProgramRun Programs::RunOf(const std::string& path, const std::string& arguments) const
{
    const auto program = m_programs.find(FoldCase(Files::Normalize(path)));
    if (program == m_programs.end())
        return {};
    for (const ProgramRun& run : program->second.runs)
    {
        if (!run.arguments || *run.arguments == arguments)
            return run;
    }
    return {};
}

} // namespace winsim
