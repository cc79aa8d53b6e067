// The state of the running simulated process, its clock and its children.
#include "winsim/process/simulation.h"

#include "winbase.h"
#include "winreg.h"
#include "winsim/base/text.h"
#include "winsim/machine/effects.h"
#include "winsim/process/kernel_objects.h"
#include "winsim/process/open_files.h"
#include "winsim/process/open_service.h"
#include "winsim/process/program.h"
#include "winsim_types.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>

namespace winsim
{

namespace
{

// Even among thousands of processes, the program makes only a tenth of this number between two waits.
constexpr std::uint32_t kMostCallsAtOneTime = 100000;

Simulation* g_current = nullptr;

} // namespace

Simulation::Simulation(Machine machineToRunOn, const ProgramRules& programRules)
    : machine(std::move(machineToRunOn)), rules(programRules)
{
    if (g_current != nullptr)
        throw std::logic_error("a simulated process is running already");
    g_current = this;
    for (const std::string& text : machine.installer.Texts())
    {
        for (std::string& secret : rules.secretsIn(text))
            m_secrets.push_back(std::move(secret));
    }
    handles.Predefine(HKEY_CLASSES_ROOT, "HKEY_CLASSES_ROOT");
    handles.Predefine(HKEY_CURRENT_USER, "HKEY_CURRENT_USER");
    handles.Predefine(HKEY_LOCAL_MACHINE, "HKEY_LOCAL_MACHINE");
    handles.Predefine(HKEY_USERS, "HKEY_USERS");
    // On Windows the handle of the current process has the same value as an invalid handle.
    handles.Predefine(INVALID_HANDLE_VALUE, "process#current");
    handles.Predefine(&m_foreignModule, "module#foreign");
}

Simulation::~Simulation()
{
    g_current = nullptr;
}

Simulation& Simulation::Current()
{
    if (g_current == nullptr)
        throw std::logic_error("no simulated process is running");
    return *g_current;
}

Simulation* Simulation::Running()
{
    return g_current;
}

void Simulation::NoteNotSimulated(std::string_view who, std::string_view what)
{
    std::string sentence = fmt::format("{} does not simulate {}", who, what);
    if (std::ranges::find(notSimulated, sentence) == notSimulated.end())
        notSimulated.push_back(std::move(sentence));
}

void Simulation::Advance(std::uint64_t ms)
{
    const bool wasMoreToCome = IsMoreToCome();
    m_clockMs += ms;
    if (ms != 0)
        m_callsSinceTimePassed = 0;
    const std::vector<std::string> stopping = machine.services.MarkedAndNotStopped();
    machine.Advance(ms);
    for (const std::string& name : stopping)
        RemoveDeletedService(name);
    EndDueChildren();
    m_quietMs = wasMoreToCome ? 0 : m_quietMs + std::min(ms, kForEverMs / 4);
    if (m_quietMs > kForEverMs)
        m_isEndless = m_isOver = true;
}

void Simulation::WaitForEver()
{
    while (!m_isOver)
        Advance(kForEverMs);
}

void Simulation::CountCall()
{
    if (++m_callsSinceTimePassed > kMostCallsAtOneTime)
        m_isEndless = m_isOver = true;
}

void Simulation::EndItself(std::uint32_t exitCode)
{
    m_exitCode = exitCode;
    m_isOver = true;
}

const ChildProcess& Simulation::StartChild(const std::string& program, const ProgramRun& run)
{
    const std::uint32_t id = FreeProcessId();
    machine.processes.Add({id, program.substr(program.rfind('\\') + 1), 0, 0});
    m_children[id] = {id, id + Processes::kIdStep, m_clockMs + run.runMs, false, run};
    return m_children[id];
}

std::uint32_t Simulation::FreeProcessId() const
{
    const auto isThread = [&](std::uint32_t id) {
        return std::ranges::any_of(m_children, [&](const auto& entry) {
            const ChildProcess& child = entry.second;
            return child.threadId == id && (!child.hasEnded || IsProcessHeld(child.id));
        });
    };
    std::uint32_t id = machine.processes.FreeId();
    while (IsProcessHeld(id) || isThread(id))
        id += Processes::kIdStep;
    return id;
}

bool Simulation::IsProcessHeld(std::uint32_t id) const
{
    bool isHeld = false;
    handles.ForEachOpen<OpenProcessHandle>([&](const OpenProcessHandle& open) { isHeld = isHeld || open.id == id; });
    handles.ForEachOpen<OpenThread>([&](const OpenThread& open) { isHeld = isHeld || open.processId == id; });
    return isHeld;
}

bool Simulation::WaitForProcess(std::uint32_t id, std::optional<std::uint64_t> limitMs)
{
    const ChildProcess* child = FindChild(id);
    if (child != nullptr ? child->hasEnded : machine.processes.Find(id) == nullptr)
        return true;
    if (child == nullptr || child->run.neverEnds)
    {
        if (limitMs)
            Advance(*limitMs);
        else
            WaitForEver();
        return false;
    }
    const std::uint64_t leftMs = child->endsAtMs > m_clockMs ? child->endsAtMs - m_clockMs : 0;
    Advance(limitMs ? std::min(*limitMs, leftMs) : leftMs);
    return child->hasEnded;
}

void Simulation::EndProcess(std::uint32_t id, std::uint32_t exitCode)
{
    if (id == machine.process.processId)
        return EndItself(exitCode);
    machine.processes.Remove(id);
    ChildProcess& ended = m_children[id];
    ended.id = id;
    ended.hasEnded = true;
    ended.run.exitCode = exitCode;
}

const ChildProcess* Simulation::FindChild(std::uint32_t id) const
{
    const auto child = m_children.find(id);
    return child == m_children.end() ? nullptr : &child->second;
}

void* Simulation::ForeignModule()
{
    return &m_foreignModule;
}

bool Simulation::IsMoreToCome() const
{
    return machine.services.AreChanging() || std::ranges::any_of(m_children, [](const auto& entry) {
               return !entry.second.hasEnded && !entry.second.run.neverEnds;
           });
}

void Simulation::EndDueChildren()
{
    for (auto& [id, child] : m_children)
    {
        if (child.hasEnded || child.run.neverEnds || child.endsAtMs > m_clockMs)
            continue;
        child.hasEnded = true;
        machine.processes.Remove(id);
        ApplyEffects(machine, child.run.effects);
    }
}

void Simulation::DeleteName(const std::string& path)
{
    if (IsFileOpen(*machine.files.Find(path)))
        m_pendingDeletions.insert(path);
    else
        machine.files.Remove(path);
}

void Simulation::EndPendingDeletions()
{
    std::erase_if(m_pendingDeletions, [&](const std::string& path) {
        const File* file = machine.files.Find(path);
        if (!m_isOver && file != nullptr && IsFileOpen(*file))
            return false;
        if (file != nullptr)
            machine.files.Remove(path);
        return true;
    });
}

void Simulation::RemoveDeletedService(const std::string& name)
{
    const Service* service = machine.services.Find(name);
    if (service == nullptr || !service->isMarkedForDeletion || !service->IsStopped())
        return;
    bool isOpen = false;
    handles.ForEachOpen<OpenService>([&](const OpenService& open) { isOpen = isOpen || SameName(open.name, name); });
    if (!isOpen)
        machine.services.Remove(name);
}

std::string Simulation::FromAnsi(std::string_view ansi) const
{
    return Utf8(CodePage::Get(machine.windows.codePage).ToUtf16(ansi));
}

std::string Simulation::ToAnsi(std::string_view utf8) const
{
    return CodePage::Get(machine.windows.codePage).FromUtf16(Utf16(utf8));
}

} // namespace winsim
