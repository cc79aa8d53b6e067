// Records calls and makes them fail by plan.
#include "winsim/core/gate.h"

#include "winsim/core/process_code.h"
#include "winsim/core/simulation.h"
#include "winsim/core/text.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

namespace winsim
{

namespace
{

constexpr std::uint32_t kOperationAborted = 995;

constexpr std::string_view kNothing = "nothing";
constexpr std::string_view kFault = "fault";

bool IsAnyPlannedFor(const Gate& gate, std::string_view name)
{
    return std::ranges::any_of(gate.faults, [name](const Fault& fault) { return fault.call == name; });
}

const Fault* PlannedFault(const Gate& gate, std::string_view name, unsigned occurrence)
{
    for (const Fault& fault : gate.faults)
    {
        if (fault.call == name && (fault.occurrence == 0 || fault.occurrence == occurrence))
            return &fault;
    }
    return nullptr;
}

} // namespace

Json ToJson(const CallRecord& record)
{
    return {{"call", record.name}, {"in", record.in},       {"result", record.result},
            {"out", record.out},   {"error", record.error}, {"clockMs", record.clockMs}};
}

Fault ParseFault(const std::string& text)
{
    const auto fail = [&](const char* what) -> Fault {
        throw std::invalid_argument("fault \"" + text + "\": " + what + "; write CALL[#N]=ERROR");
    };
    const auto parse = [](std::string_view digits, int base, auto& value) {
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, base);
        return error == std::errc{} && end == digits.data() + digits.size();
    };

    const std::size_t equals = text.rfind('=');
    if (equals == std::string::npos || equals == 0)
        return fail("no error given");
    Fault fault;
    fault.call = text.substr(0, equals);
    const std::string_view error = std::string_view(text).substr(equals + 1);
    const bool isHexadecimal = error.starts_with("0x") || error.starts_with("0X");
    fault.givesNothing = error == kNothing;
    fault.faults = error == kFault;
    if (!fault.givesNothing && !fault.faults &&
        !parse(isHexadecimal ? error.substr(2) : error, isHexadecimal ? 16 : 10, fault.error))
        return fail("the error is not a 32-bit number");

    const std::size_t hash = fault.call.find('#');
    if (hash == std::string::npos)
        return fault;
    if (!parse(std::string_view(fault.call).substr(hash + 1), 10, fault.occurrence) || fault.occurrence == 0)
        return fail("N is not a number from 1 on");
    fault.call.resize(hash);
    return fault;
}

std::string TextOf(const Fault& fault)
{
    const std::string occurrence = fault.occurrence == 0 ? "" : "#" + std::to_string(fault.occurrence);
    const std::string error = fault.givesNothing ? std::string(kNothing)
                              : fault.faults     ? std::string(kFault)
                                                 : std::to_string(fault.error);
    return fault.call + occurrence + "=" + error;
}

Call::Call(std::string_view name, CallKind kind)
{
    Simulation& simulation = Simulation::Current();
    // A process that is over still has its memory.
    if (simulation.IsOver() && kind == CallKind::Allocation)
        return;
    if (simulation.IsOver())
    {
        m_fault = kOperationAborted;
        return;
    }
    m_isReached = true;
    // Memory is not what a process that goes on for ever asks the machine for.
    if (kind != CallKind::Allocation)
        simulation.CountCall();
    auto count = simulation.gate.counts.find(name);
    if (count == simulation.gate.counts.end())
        count = simulation.gate.counts.emplace(name, 0).first;
    m_name = count->first;
    m_occurrence = ++count->second;
    // Memory is no event that others could act at.
    if (kind != CallKind::Allocation)
        m_ordinal = ++simulation.gate.count;
    const winsim::Fault* planned = PlannedFault(simulation.gate, name, m_occurrence);
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
    // The call that ended the process does not come back to it.
    if (m_isReached && Simulation::Current().IsOver() && IsInProcessCode())
        LeaveProcessCode();
}

void Call::NoteEnd()
{
    if (!m_record)
        return;
    Simulation& simulation = Simulation::Current();
    m_record->error = m_status.value_or(simulation.lastError);
    simulation.gate.records.push_back(std::move(*m_record));
    m_record.reset();
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
