// A program whose heap begins at the memory that Wine needs. It allocates much, and looks whether that memory is still
// free. Exit status: 0 if it is free, 1 if it is not, 2 if the system has placed the heap elsewhere.
#define _GNU_SOURCE
#include "shared_data.h"

#include <stdint.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/personality.h>
#include <unistd.h>

// The linker places this before kSharedData, and the heap comes after it.
__attribute__((section(".before_heap"))) char g_page[4096] = {1};

int main(int argc, char** argv)
{
    (void)argc;
    if ((personality(0xffffffff) & ADDR_NO_RANDOMIZE) == 0 && personality(ADDR_NO_RANDOMIZE) != -1)
        execv("/proc/self/exe", argv);
    if ((uintptr_t)sbrk(0) != kSharedData)
        return 2;
    for (int i = 0; i < 1000; ++i)
    {
        volatile char* block = malloc(1000);
        *block = 1;
    }
    return mmap((void*)kSharedData, sizeof g_page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0) ==
           MAP_FAILED;
}
