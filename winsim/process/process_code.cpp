// Runs the code of a simulated process, with handlers for std::terminate and for the host's signals.
#include "winsim/process/process_code.h"

#include "winsim/base/description.h"
#include "winsim/process/stack_bottom.h"

#include <array>
#include <csetjmp>
#include <csignal>
#include <cxxabi.h>
#include <exception>
#include <memory>
#include <typeinfo>
#include <utility>

namespace winsim
{

namespace
{

// The exit code after the C runtime's abort.
constexpr std::int32_t kAbortExitCode = 3;

struct FatalSignal
{
    int signal;
    const char* reason;
    std::uint32_t exitCode;
};

constexpr FatalSignal kFatalSignals[] = {
    {SIGSEGV, "access violation", 0xC0000005}, {SIGBUS, "access violation", 0xC0000005},
    {SIGFPE, "division by zero", 0xC0000094},  {SIGILL, "illegal instruction", 0xC000001D},
    {SIGABRT, "abort", kAbortExitCode},
};

sigjmp_buf* g_bottom = nullptr; // where the running code returns to; null: none is running
const FatalSignal* g_signal;    // the signal of which the code died, if it was one
std::optional<Death> g_death;   // any other reason for which it died
std::exception_ptr g_foreign;   // an error of the machine that it did not catch

std::string NameOfType(const std::type_info& type)
{
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> name{abi::__cxa_demangle(type.name(), nullptr, nullptr, &status),
                                                           &std::free};
    return status == 0 ? name.get() : type.name();
}

Death DeathOf(const ProcessorFault& fault)
{
    return {fault.name, static_cast<std::int32_t>(fault.exitCode)};
}

Death UncaughtException()
{
    std::string reason = "uncaught exception " + NameOfType(*abi::__cxa_current_exception_type());
    try
    {
        throw;
    }
    catch (const ProcessorFault& fault)
    {
        return DeathOf(fault);
    }
    catch (const std::exception& exception)
    {
        if (!reason.ends_with(exception.what()))
            reason += std::string(": ") + exception.what();
    }
    catch (...)
    {}
    return {reason, kAbortExitCode};
}

[[noreturn]] void OnTerminate()
{
    try
    {
        if (std::current_exception())
            throw;
        g_death = {"std::terminate", kAbortExitCode};
    }
    catch (const DescriptionError&)
    {
        g_foreign = std::current_exception();
    }
    catch (...)
    {
        g_death = UncaughtException();
    }
    LeaveProcessCode();
}

void OnSignal(int number)
{
    for (const FatalSignal& fatal : kFatalSignals)
    {
        if (fatal.signal == number)
            g_signal = &fatal;
    }
    LeaveProcessCode();
}

// Installs the handlers for its lifetime.
class DeathWatch
{
public:
    DeathWatch() : m_terminate(std::set_terminate(&OnTerminate))
    {
        // After a stack overflow there is no stack left for the handler.
        static std::array<char, 65536> stack;
        stack_t alternate{};
        alternate.ss_sp = stack.data();
        alternate.ss_size = stack.size();
        sigaltstack(&alternate, &m_stack);
        struct sigaction action
        {};
        action.sa_handler = &OnSignal;
        action.sa_flags = SA_ONSTACK;
        for (std::size_t i = 0; i < m_actions.size(); ++i)
            sigaction(kFatalSignals[i].signal, &action, &m_actions[i]);
    }
    ~DeathWatch()
    {
        for (std::size_t i = 0; i < m_actions.size(); ++i)
            sigaction(kFatalSignals[i].signal, &m_actions[i], nullptr);
        sigaltstack(&m_stack, nullptr);
        std::set_terminate(m_terminate);
    }
    DeathWatch(const DeathWatch&) = delete;
    DeathWatch& operator=(const DeathWatch&) = delete;

private:
    std::terminate_handler m_terminate;
    stack_t m_stack{};
    std::array<struct sigaction, std::size(kFatalSignals)> m_actions{};
};

// Removes the exceptions that the code was handling when it left: the list of them belongs to the thread, which goes
// on.
void DropHandledExceptions(const std::exception_ptr& outer)
{
    while (std::current_exception() != outer)
        abi::__cxa_end_catch();
}

// Whether the code returned. This function has no local objects with destructors: the jump back here would not run
// them.
bool ReturnsFrom(const std::function<void()>& code, sigjmp_buf& bottom)
{
    if (sigsetjmp(bottom, 1) != 0)
        return false;
    const auto call = [](void* context) { (*static_cast<const std::function<void()>*>(context))(); };
    CallAtStackBottom(call, const_cast<std::function<void()>*>(&code));
    return true;
}

} // namespace

CodeEnd RunProcessCode(const std::function<void()>& code)
{
    const std::exception_ptr outer = std::current_exception();
    sigjmp_buf bottom;
    g_death.reset();
    g_signal = nullptr;
    g_bottom = &bottom;
    CodeEnd end;
    {
        const DeathWatch watch;
        end.hasReturned = ReturnsFrom(code, bottom);
    }
    g_bottom = nullptr;
    DropHandledExceptions(outer);
    if (std::exception_ptr foreign = std::exchange(g_foreign, nullptr))
        std::rethrow_exception(foreign);
    end.death = std::exchange(g_death, std::nullopt);
    if (g_signal != nullptr)
        end.death = {g_signal->reason, static_cast<std::int32_t>(g_signal->exitCode)};
    return end;
}

bool IsInProcessCode()
{
    return g_bottom != nullptr;
}

void DieOf(const ProcessorFault& fault)
{
    if (!IsInProcessCode())
        throw fault;
    g_death = DeathOf(fault);
    LeaveProcessCode();
}

void LeaveProcessCode()
{
    siglongjmp(*g_bottom, 1);
}

} // namespace winsim
