// The stream functions of the simulated machine. A program's runtime makes the standard names (fputs, ...) lead here,
// because the host's own library has functions of the same names.
#pragma once

#include <cstdio>

extern "C"
{
    int winsim_fputs(const char* text, std::FILE* stream);
    int winsim_fflush(std::FILE* stream);
    int winsim_fclose(std::FILE* stream);
    int winsim_print(const char* text); // to standard output
}
