// Reads the lines that a run of the program adds to the install log, while the program runs.
#pragma once

#include "bounded_text.h"

#include <windows.h>

class LogTail
{
public:
    // Begins at the present end of the log.
    LogTail();

    // Calls take(line) for each complete line that the thread has added since the last call: UTF-16, without line end.
    // The program writes the log in one thread, and each line has the thread's number. Links are not followed.
    template <typename Take>
    void Read(DWORD threadId, const Take& take)
    {
        while (Fill())
        {
            while (const wchar_t* line = NextLine(threadId))
                take(line);
        }
    }

private:
    static constexpr DWORD kBufferSize = 4096; // bytes; a log line has at most 511

    bool Fill();
    const wchar_t* NextLine(DWORD threadId);
    bool IsLineOf(DWORD threadId) const;

    BoundedText<MAX_PATH> m_path;
    LONGLONG m_offset = 0;           // of the next byte to read, in the file
    char m_buffer[kBufferSize] = {}; // in the ANSI code page
    DWORD m_begin = 0;
    DWORD m_end = 0;
    BoundedText<kBufferSize + 1> m_line;
};
