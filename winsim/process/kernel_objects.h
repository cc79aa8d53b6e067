// The objects, other than files, whose handles CloseHandle closes.
#pragma once

#include <cstdint>

namespace winsim
{

struct OpenProcessHandle
{
    static constexpr char kKind[] = "process";

    std::uint32_t id;
    std::uint32_t access; // the rights that it was opened with
};

// The first thread of a process that the program started.
struct OpenThread
{
    static constexpr char kKind[] = "thread";

    std::uint32_t processId;
};

// The token of the process.
struct OpenToken
{
    static constexpr char kKind[] = "token";

    std::uint32_t access; // the rights that it was opened with
};

} // namespace winsim
