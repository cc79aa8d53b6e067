// Throws exceptions with the runtime of the program's images, in several threads at once. Writes how many of each kind
// were caught, and how many while another one was being handled.
#include <windows.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <vector>

namespace
{

constexpr int kThreads = 4;
constexpr int kRounds = 500;

using Throw = void (*)(std::string& text);

struct Kind
{
    const char* name;
    Throw thrower;
};

// More than there can be of anything; volatile, so that the compiler does not know it.
volatile std::size_t g_tooMuch = SIZE_MAX;

constexpr Kind kKinds[] = {
    {"memory", [](std::string&) { throw std::bad_alloc(); }},
    {"array", [](std::string&) { delete[] new int[g_tooMuch]; }},
    {"length", [](std::string& text) { text.reserve(g_tooMuch); }},
    {"place", [](std::string& text) { text = text.substr(g_tooMuch); }},
    {"vector", [](std::string&) { std::vector<int>().reserve(g_tooMuch); }},
};

std::array<std::atomic<int>, std::size(kKinds)> g_caught;
std::atomic<int> g_nested;

// Throws again while it handles an exception, and lets the exception go on.
void ThrowTwice(const Kind& kind, std::string& text)
{
    try
    {
        kind.thrower(text);
    }
    catch (const std::exception&)
    {
        try
        {
            throw;
        }
        catch (const std::exception& exception)
        {
            g_nested += *exception.what() != '\0' && std::uncaught_exceptions() == 0;
        }
        throw;
    }
}

DWORD WINAPI ThrowAll(void*)
{
    for (int round = 0; round < kRounds; ++round)
    {
        for (std::size_t i = 0; i < std::size(kKinds); ++i)
        {
            std::string text;
            try
            {
                ThrowTwice(kKinds[i], text);
            }
            catch (...)
            {
                ++g_caught[i];
            }
        }
    }
    return 0;
}

} // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, LPWSTR, int)
{
    HANDLE threads[kThreads];
    for (HANDLE& thread : threads)
        thread = CreateThread(nullptr, 0, &ThrowAll, nullptr, 0, nullptr);
    WaitForMultipleObjects(kThreads, threads, TRUE, INFINITE);
    for (std::size_t i = 0; i < std::size(kKinds); ++i)
        std::printf("%s %d\n", kKinds[i].name, g_caught[i].load());
    std::printf("nested %d\n", g_nested.load());
    return 0;
}
