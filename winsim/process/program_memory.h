// The memory of a simulated program: every operator new and delete in it comes here.
#pragma once

#include <cstddef>

extern "C"
{
    // Memory that holds nothing of use: a program that reads it before it has written to it is found out. Throws
    // std::bad_alloc for more than the machine gives its process in one piece, and where the fault plan says so.
    void* winsim_allocate(std::size_t size);

    // Frees memory. A password of the install session that is still in it is a violation: what was freed may come
    // into other hands.
    void winsim_free(void* memory);
}
