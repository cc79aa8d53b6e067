// The part of an image that records which of its code runs: one byte for each address, in a file with the image's name
// in the folder that KELO_VISITS names. Without KELO_VISITS it records nothing.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

// The image's first byte, and the first after its code.
extern const char __ehdr_start[] __attribute__((visibility("hidden")));
extern const char etext[] __attribute__((visibility("hidden")));

static char* g_visits;
static int g_isOpened;

static void OpenVisits(void)
{
    const char* folder = getenv("KELO_VISITS");
    Dl_info image;
    if (folder == NULL || dladdr(__ehdr_start, &image) == 0)
        return;
    const char* slash = strrchr(image.dli_fname, '/');
    char path[4096];
    snprintf(path, sizeof path, "%s/%s", folder, slash != NULL ? slash + 1 : image.dli_fname);
    const int file = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    const size_t size = (size_t)(etext - __ehdr_start);
    if (file < 0)
        return;
    if (ftruncate(file, (off_t)size) == 0)
    {
        void* visits = mmap(NULL, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
        g_visits = visits == MAP_FAILED ? NULL : visits;
    }
    close(file);
}

__attribute__((destructor(101))) static void CloseVisits(void)
{
    if (g_visits != NULL)
        munmap(g_visits, (size_t)(etext - __ehdr_start));
    g_visits = NULL;
}

// The compiler makes each block of code call this first (-fsanitize-coverage=trace-pc), even before any constructor.
void __sanitizer_cov_trace_pc(void)
{
    if (!g_isOpened)
    {
        g_isOpened = 1;
        OpenVisits();
    }
    if (g_visits != NULL)
        g_visits[(const char*)__builtin_return_address(0) - __ehdr_start] = 1;
}
