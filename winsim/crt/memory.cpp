// A simulated program's operator new and delete, which lead to the simulated machine's memory.
#include "winsim/process/program_memory.h"

#include <new>

void* operator new(std::size_t size)
{
    return winsim_allocate(size);
}

void* operator new[](std::size_t size)
{
    return winsim_allocate(size);
}

void operator delete(void* memory) noexcept
{
    winsim_free(memory);
}

void operator delete[](void* memory) noexcept
{
    winsim_free(memory);
}

void operator delete(void* memory, std::size_t size) noexcept
{
    winsim_free_sized(memory, size);
}

void operator delete[](void* memory, std::size_t size) noexcept
{
    winsim_free_sized(memory, size);
}
