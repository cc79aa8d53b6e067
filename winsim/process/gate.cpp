// Records calls and makes them fail by plan.
#include "winsim/process/gate.h"

#include "winsim/base/text.h"
#include "winsim/process/process_code.h"
#include "winsim/process/simulation.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <stdexcept>

namespace winsim
{

namespace
{

constexpr std::uint32_t kOperationAborted = 995;
constexpr std::uint32_t kCallNotImplemented = 120;

bool IsAnyPlannedFor(const Gate& gate, std::string_view name)
{
    return std::ranges::any_of(gate.faults, [name](const Fault& fault) { return fault.call == name; });
}

// The fault that the plan has for a call, which is counted as reached; null if there is none.
const Fault* TakeFault(Gate& gate, std::string_view name, unsigned occurrence)
{
    for (std::size_t i = 0; i < gate.faults.size(); ++i)
    {
        const Fault& fault = gate.faults[i];
        if (fault.call != name || (fault.occurrence != 0 && fault.occurrence != occurrence))
            continue;
        ++gate.reached[i];
        return &fault;
    }
    return nullptr;
}

} // namespace

Json ToJson(const CallRecord& record)
{
    Json json{{"call", record.name}, {"in", record.in},       {"result", record.result},
              {"out", record.out},   {"error", record.error}, {"clockMs", record.clockMs}};
    if (record.isFault)
        json["fault"] = true;
    return json;
}

std::pair<const std::string, unsigned>& Gate::CountOf(std::string_view name)
{
    auto*& entry = m_lately[(reinterpret_cast<std::uintptr_t>(name.data()) >> 3) % m_lately.size()];
    if (entry != nullptr && entry->first == name)
        return *entry;
    auto found = m_counts.find(name);
    if (found == m_counts.end())
        found = m_counts.emplace(name, 0).first;
    entry = &*found;
    return *entry;
}

std::map<std::string, unsigned, std::less<>> Gate::TakeCounts()
{
    m_lately.fill(nullptr);
    return std::move(m_counts);
}

Call::Call(std::string_view name, CallKind kind)
{
    Simulation& simulation = Simulation::Current();
    // A process that is over can still allocate memory.
    if (simulation.IsOver() && kind == CallKind::Allocation)
        return;
    if (simulation.IsOver())
    {
        m_name = m_ownName = name;
        m_fault = kOperationAborted;
        return;
    }
    m_isReached = true;
    // Allocations are no sign of an endless process.
    if (kind != CallKind::Allocation)
        simulation.CountCall();
    auto& [ownName, count] = simulation.gate.CountOf(name);
    m_name = ownName;
    m_occurrence = ++count;
    // Other processes do not act after allocations.
    if (kind != CallKind::Allocation)
        m_ordinal = ++simulation.gate.count;
    const winsim::Fault* const planned = TakeFault(simulation.gate, name, m_occurrence);
    if (planned != nullptr)
    {
        m_givesNothing = planned->givesNothing;
        if (!m_givesNothing)
            m_fault = planned->error;
    }
    if (simulation.gate.isRecording && (kind != CallKind::Allocation || IsAnyPlannedFor(simulation.gate, name)))
    {
        m_record.emplace();
        m_record->name = name;
        m_record->clockMs = simulation.ClockMs();
        m_record->isHousekeeping = kind != CallKind::Ordinary;
        m_record->isFault = planned != nullptr;
        const auto& parametersOf = simulation.gate.parametersOf;
        m_isNoting = !parametersOf || m_fault || m_givesNothing || parametersOf->contains(name);
    }
    if (planned == nullptr || !planned->faults)
        return;
    Out("exception", kAccessViolation.name);
    NoteEnd();
    throw kAccessViolation;
}

Call::~Call()
{
    NoteEnd();
    if (m_ordinal != 0)
        HappenAfter(m_name, m_occurrence, m_ordinal);
    // The call that ended the process does not return to it.
    if (m_isReached && Simulation::Current().IsOver() && IsInProcessCode())
        LeaveProcessCode();
}

std::uint32_t Call::NotSimulated(std::string_view what) const
{
    Simulation::Current().NoteNotSimulated(m_name, what);
    return kCallNotImplemented;
}

void Call::DieOfNull()
{
    Out("exception", kAccessViolation.name);
    NoteEnd();
    DieOf(kAccessViolation);
}

void Call::NoteEnd()
{
    if (!m_record)
        return;
    Simulation& simulation = Simulation::Current();
    m_record->error = m_status.value_or(simulation.lastError);
    simulation.gate.records.push_back(std::move(*m_record));
    m_record.reset();
    if (simulation.gate.repeats)
        simulation.gate.repeats->Added(simulation.gate.records);
}

std::int32_t Call::Status(std::uint32_t status)
{
    m_status = status;
    return Done(static_cast<std::int32_t>(status));
}

void Call::SetError(std::uint32_t error)
{
    Simulation::Current().lastError = error;
}

HandleTable& Call::Handles()
{
    return Simulation::Current().handles;
}

Json Call::Noted(const char* ansi)
{
    if (ansi == nullptr)
        return nullptr;
    return Simulation::Current().FromAnsi(ansi);
}

Json Call::Noted(const char16_t* wide)
{
    if (wide == nullptr)
        return nullptr;
    return Utf8(wide);
}

Json Call::NotedHandle(const void* handle)
{
    return Simulation::Current().handles.NameOf(handle);
}

} // namespace winsim
