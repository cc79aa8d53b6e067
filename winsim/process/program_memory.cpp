// Allocates memory for the simulated program, and checks it when it is freed.
#include "winsim/process/program_memory.h"

#include "winsim/base/text.h"
#include "winsim/process/gate.h"
#include "winsim/process/simulation.h"

#include <cstring>
#include <malloc.h>
#include <new>
#include <string_view>

namespace
{

constexpr unsigned char kUnwritten = 0xCD;

// A shorter text may be in memory by chance.
constexpr std::size_t kShortestSecret = 8;

std::string BytesOf(const std::u16string& text)
{
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(char16_t)};
}

// Whether the machine can allocate a block of this size and the fault plan allows it.
bool IsGranted(std::size_t size)
{
    winsim::Call call{winsim::kAllocation, winsim::CallKind::Allocation};
    call.In("size", static_cast<std::uint64_t>(size));
    const bool isGranted = size <= winsim::Simulation::Current().machine.process.largestBlock && !call.Fault();
    return call.Done(isGranted);
}

bool HoldsSecret(std::string_view memory)
{
    const winsim::Simulation* simulation = winsim::Simulation::Running();
    if (simulation == nullptr)
        return false;
    for (const std::string& secret : simulation->Secrets())
    {
        const bool isLong = winsim::Utf16(secret).size() >= kShortestSecret;
        if (isLong && (memory.find(secret) != std::string_view::npos ||
                       memory.find(BytesOf(winsim::Utf16(secret))) != std::string_view::npos))
            return true;
    }
    return false;
}

} // namespace

void* winsim_allocate(std::size_t size)
{
    winsim::Simulation* const simulation = winsim::Simulation::Running();
    if (simulation != nullptr && !IsGranted(size))
        throw std::bad_alloc();
    void* memory = ::operator new(size);
    std::memset(memory, kUnwritten, malloc_usable_size(memory));
    if (simulation != nullptr)
        simulation->programMemory.emplace(memory, size);
    return memory;
}

void winsim_free(void* memory)
{
    if (memory == nullptr)
        return;
    if (winsim::Simulation* const simulation = winsim::Simulation::Running())
        simulation->programMemory.erase(memory);
    if (HoldsSecret({static_cast<const char*>(memory), malloc_usable_size(memory)}))
        winsim::Simulation::Current().handles.NoteViolation("memory was freed with a password in it");
    ::operator delete(memory);
}

void winsim_free_sized(void* memory, std::size_t size)
{
    if (winsim::Simulation* const simulation = winsim::Simulation::Running())
    {
        const auto allocated = simulation->programMemory.find(memory);
        if (allocated != simulation->programMemory.end() && allocated->second != size)
            simulation->handles.NoteViolation("memory was freed with a size that it was not allocated with");
    }
    winsim_free(memory);
}
