// The memory of a simulated program: each operator new and delete in the program comes here.
#pragma once

#include <cstddef>

extern "C"
{
    // Allocates memory, filled with a value that shows if the program reads it before writing. Throws std::bad_alloc if
    // the block is larger than the machine's `largestBlock`, or if the fault plan says so.
    void* winsim_allocate(std::size_t size);

    // Frees memory. A password of the install session that is still in it is a violation, because freed memory may be
    // read by others.
    void winsim_free(void* memory);

    // The same when the program says how much it frees. A size that was not allocated is a violation, because an
    // operator delete may rely on it.
    void winsim_free_sized(void* memory, std::size_t size);
}
