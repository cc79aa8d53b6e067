// The processes of a simulated machine, and the programs that can be started on it.
#pragma once

#include "winsim/base/description.h"

#include <cstdint>
#include <map>
#include <optional>
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

// What a program does when it is started with certain arguments.
struct ProgramRun
{
    std::optional<std::string> arguments; // everything after the program's name; none: any arguments
    std::uint32_t startError = 0;         // what starting it fails with; 0: it can be started
    std::uint32_t exitCode = 0;
    std::uint64_t runMs = 0;
    bool neverEnds = false;
    Json effects; // what it changes on the machine when it ends: a merge patch on the description; null: nothing

    bool operator==(const ProgramRun&) const = default;
};

// The programs that can be started, by their paths.
class Programs
{
public:
    void Load(const Reader& reader);
    Json ToJson() const;

    // Whether a program is described at a path.
    bool IsDescribed(const std::string& path) const;
    // What the program does with these arguments; if that is not described, it ends at once with 0.
    ProgramRun RunOf(const std::string& path, const std::string& arguments) const;

    bool operator==(const Programs&) const = default;

private:
    struct Program
    {
        std::string path;
        std::vector<ProgramRun> runs;

        bool operator==(const Program&) const = default;
    };

    std::map<std::string, Program> m_programs; // by folded path
};

} // namespace winsim
