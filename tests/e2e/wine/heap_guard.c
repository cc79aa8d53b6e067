// Loaded into every program under Wine, and into Wine's server: keeps heaps away from an address that Wine needs.
//
// Linux places the heap of a program, which grows upwards, at random. In one of some thousand programs it covers
// 0x7ffe0000, where Wine maps the data that Windows shares with all processes: Wine then ends with exit code 1 before the
// program begins. A page after the end of the heap keeps it from growing, so the C library takes other memory. Where the
// heap would begin just there, the page comes one later: the C library asks for many pages at once.
#define _GNU_SOURCE
#include "shared_data.h"

#include <stdint.h>
#include <sys/mman.h>
#include <unistd.h>

__attribute__((constructor)) static void KeepHeapFromGrowing(void)
{
    const uintptr_t page = (uintptr_t)sysconf(_SC_PAGESIZE);
    const uintptr_t end = ((uintptr_t)sbrk(0) + page - 1) / page * page;
    const uintptr_t guard = end == kSharedData ? end + page : end;
    mmap((void*)guard, page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
}
