// The processes of a simulated machine, and their JSON form.
#include "winsim/machine/processes.h"

#include "winsim/base/fields.h"
#include "winsim/machine/areas.h"
#include "winsim/machine/windows_names.h"

#include <algorithm>
#include <string>

namespace winsim
{

namespace
{

constexpr std::uint32_t kFirstId = 100;
constexpr std::uint32_t kMostAlike = 65536;

// An entry of a description: one process, or several that are alike.
struct DescribedProcess : RunningProcess
{
    std::uint32_t count = 1;
};

} // namespace

template <>
struct Fields<DescribedProcess>
{
    static constexpr char kName[] = "runningProcess";

    template <typename Visitor>
    static void Visit(Visitor& visit)
    {
        visit(Key{"id", "identifier; no two processes have the same", "the next free one"},
              Always(&RunningProcess::id));
        visit(Key{"name", "file name of its program", "none, and asking for its modules fails"},
              Member(&RunningProcess::name));
        visit(Key{"deniedAccess", "rights that are denied: an open that asks for any of them fails; a mask", "`0`"},
              Member(&RunningProcess::deniedAccess, MaskForm{kProcessRights}));
        visit(Key{"terminateError", "error with which an attempt to end it fails: a number or a name", "`0`"},
              Member(&RunningProcess::terminateError, ErrorForm()));
        visit(Key{"count", "number of processes like this, each with an identifier of its own; at most 65536", "`1`"},
              Member(&DescribedProcess::count));
    }
};

void Processes::Load(const Reader& reader)
{
    m_processes.clear();
    reader.Elements([&](const Reader& element) {
        DescribedProcess process;
        process.id = FreeId();
        ReadFields(element, process);
        if (Find(process.id) != nullptr)
            element.Fail("another process has the same id");
        if (process.count > kMostAlike)
            element.Fail("count is more than " + std::to_string(kMostAlike));
        for (; process.count > 0; --process.count)
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
        json.push_back(JsonOfFields(DescribedProcess{process}));
    return json;
}

Json SchemaOfProcesses(Json& definitions)
{
    return List<DescribedProcess>().Schema(definitions);
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
        id = std::max(id, (process.id / kIdStep + 1) * kIdStep);
    return id;
}

void Processes::Remove(std::uint32_t id)
{
    std::erase_if(m_processes, [&](const RunningProcess& process) { return process.id == id; });
}

} // namespace winsim
