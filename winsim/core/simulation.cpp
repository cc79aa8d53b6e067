// Holds the state of the simulated process that is running.
#include "winsim/core/simulation.h"

#include "winbase.h"
#include "winreg.h"
#include "winsim/core/text.h"
#include "winsim_types.h"

#include <stdexcept>

namespace winsim
{

namespace
{

Simulation* g_current = nullptr;

} // namespace

Simulation::Simulation(Machine machineToRunOn) : machine(std::move(machineToRunOn))
{
    if (g_current != nullptr)
        throw std::logic_error("a simulated process is running already");
    g_current = this;
    handles.Predefine(HKEY_CLASSES_ROOT, "HKEY_CLASSES_ROOT");
    handles.Predefine(HKEY_CURRENT_USER, "HKEY_CURRENT_USER");
    handles.Predefine(HKEY_LOCAL_MACHINE, "HKEY_LOCAL_MACHINE");
    handles.Predefine(HKEY_USERS, "HKEY_USERS");
    // Windows gives the current process and an invalid handle the same value.
    handles.Predefine(INVALID_HANDLE_VALUE, "process#current");
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

void Simulation::Advance(std::uint64_t ms)
{
    m_clockMs += ms;
    machine.clock.Advance(ms);
    if (m_clockMs > m_clockBoundMs)
        m_isEnded = true;
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
