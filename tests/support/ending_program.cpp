// A program that ends in the way and at the moment that its environment requests: KELO_END_WAY and KELO_END_MOMENT.
#include <windows.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>

namespace
{

std::string Variable(const char* name)
{
    char text[64] = "";
    GetEnvironmentVariableA(name, text, sizeof text);
    return text;
}

void Say(const std::string& text)
{
    printf("%s\n", text.c_str());
}

// Prints a line when it is destroyed.
class Witness
{
public:
    explicit Witness(const char* name) : m_name(name) {}
    ~Witness() { Say("destroyed: " + m_name); }
    Witness(const Witness&) = delete;
    Witness& operator=(const Witness&) = delete;

private:
    std::string m_name;
};

void Throw()
{
    throw std::runtime_error("out of noexcept");
}

void ThrowOfNoexcept() noexcept
{
    Throw();
}

volatile unsigned g_deepest = 0xFFFFFFFF;

unsigned Deepen(unsigned depth) // NOLINT(misc-no-recursion)
{
    if (depth == g_deepest)
        return 0;
    volatile char frame[4096] = {};
    frame[depth % sizeof frame] = 1;
    return Deepen(depth + 1) + static_cast<unsigned>(frame[0]);
}

void Kill(DWORD access, HANDLE process)
{
    const HANDLE handle = process != nullptr ? process : OpenProcess(access, FALSE, GetCurrentProcessId());
    TerminateProcess(handle, 7);
}

volatile int g_one = 1;
volatile int g_zero = 0;
int* volatile g_nowhere = nullptr;

struct Way
{
    const char* name;
    void (*end)();
};

constexpr Way kWays[] = {
    {"return", [] {}},
    {"exception", [] { throw std::runtime_error("nobody catches this"); }},
    {"number", [] { throw 42; }},
    {"no memory", [] { throw std::bad_alloc(); }},
    {"noexcept", &ThrowOfNoexcept},
    {"while another is handled",
     [] {
         try
         {
             throw std::runtime_error("caught");
         }
         catch (const std::exception&)
         {
             throw std::logic_error("not caught");
         }
     }},
    {"terminate", [] { std::terminate(); }},
    {"abort", [] { std::abort(); }},
    {"write nowhere", [] { *g_nowhere = 1; }},
    {"divide by zero", [] { g_one = g_one / g_zero; }},
    {"too deep", [] { g_zero = static_cast<int>(Deepen(0)); }},
    {"exit", [] { std::exit(5); }},
    {"_Exit", [] { std::_Exit(6); }},
    {"ExitProcess", [] { ExitProcess(0x80000001); }},
    {"TerminateProcess", [] { Kill(PROCESS_TERMINATE, nullptr); }},
    {"TerminateProcess of the pseudo handle", [] { Kill(0, GetCurrentProcess()); }},
    {"kill the host's process", [] { std::raise(9); }},
    {"loop",
     [] {
         while (g_one != 0)
         {}
     }},
    {"wait",
     [] {
         while (true)
             Sleep(0);
     }},
    {"ask the time",
     [] {
         while (true)
             GetTickCount();
     }},
};

// Ends the process if this is the requested moment.
void Reach(std::string_view moment)
{
    if (Variable("KELO_END_MOMENT") != moment)
        return;
    const std::string way = Variable("KELO_END_WAY");
    const Witness local{"local"};
    std::string memory(1000, 'x');
    for (const Way& one : kWays)
    {
        if (way == one.name)
            one.end();
    }
    Say("it goes on");
}

const Witness g_first{"first"};

const struct Static
{
    Static() { Reach("start"); }
    ~Static() { Reach("end"); }
    Static(const Static&) = delete;
    Static& operator=(const Static&) = delete;
} g_static;

const Witness g_last{"last"};

} // namespace

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int)
{
    Reach("body");
    return 1;
}
