// The log line that is measured, and the bare way to write it.
#pragma once

#include <cstdio>

inline constexpr char kLineArgument[] = "/TSS_VENDOR=KELO";

// The minimum cost of a line: it is formatted into a buffer, passed to the stream and flushed. Its time, zone and
// thread are constants.
inline void WriteBareLine(std::FILE* file, int index)
{
    static char line[512];
    std::snprintf(line, sizeof line, "%04d/%02d/%02d %02d:%02d:%02d.%03d TZ%02d [%04d] %*scommand line argv[%d]: %s\n",
                  2013, 5, 7, 14, 3, 9, 42, -4, 3120, 0, "", index, kLineArgument);
    std::fputs(line, file);
    std::fflush(file);
}
