// The running processes of a simulated machine.
#pragma once

#include "winsim/base/description.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace winsim
{

struct RunningProcess
{
    std::uint32_t id = 0;
    std::string name;                 // the file name of its program; empty: its modules cannot be listed
    std::uint32_t deniedAccess = 0;   // opening it with any of these rights is refused
    std::uint32_t terminateError = 0; // what ending it fails with; 0: it can be ended

    bool operator==(const RunningProcess&) const = default;
};

// The running processes, in the order in which Windows lists them.
class Processes
{
public:
    // Windows' identifiers of processes and threads are multiples of four.
    static constexpr std::uint32_t kIdStep = 4;

    void Load(const Reader& reader);
    Json ToJson() const;

    const std::vector<RunningProcess>& All() const { return m_processes; }
    const RunningProcess* Find(std::uint32_t id) const;
    std::uint32_t FreeId() const;
    void Add(RunningProcess process) { m_processes.push_back(std::move(process)); }
    void Remove(std::uint32_t id);

    bool operator==(const Processes&) const = default;

private:
    std::vector<RunningProcess> m_processes;
};

} // namespace winsim
