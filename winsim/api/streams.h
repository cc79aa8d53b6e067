// What a simulated program's standard-library streams lead to. The names that a program uses (fputs, ...) belong to the
// host's own library, so the program's runtime calls these.
#pragma once

#include <cstdio>

extern "C"
{
    int winsim_fputs(const char* text, std::FILE* stream);
    int winsim_fflush(std::FILE* stream);
    int winsim_fclose(std::FILE* stream);
    int winsim_print(const char* text); // to standard output
}
