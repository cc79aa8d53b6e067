// The simulated process that is running, and its machine.
#pragma once

#include "winsim/base/text.h"
#include "winsim/machine/machine.h"
#include "winsim/process/children.h"
#include "winsim/process/gate.h"
#include "winsim/process/handles.h"
#include "winsim/process/loader.h"
#include "winsim/process/program_rules.h"

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace winsim
{

// The state that the simulated Windows functions act on. There is one at a time; the functions find it with Current().
class Simulation
{
public:
    explicit Simulation(Machine machineToRunOn, const ProgramRules& programRules = {});
    ~Simulation();
    Simulation(const Simulation&) = delete;
    Simulation& operator=(const Simulation&) = delete;

    static Simulation& Current();
    // The same, or null if none is running.
    static Simulation* Running();

    Machine machine;
    const ProgramRules rules;
    Gate gate;
    HandleTable handles;
    Loader loader;
    std::uint32_t lastError = 0;
    std::u16string commandLine;
    std::string standardOutput;
    std::vector<std::string> notSimulated; // sentences, see NoteNotSimulated
    bool enforcesRedirectionTrust = false; // does not follow directory links that ordinary users made
    std::vector<std::string> images;       // the real paths of the files that were loaded or started
    std::vector<bool> comApartments; // for each CoInitializeEx not yet undone, whether it succeeded; the latest last
    bool isComMultithreaded = false;
    std::unordered_map<void*, std::size_t> programMemory; // allocated by the program and not freed, with its sizes
    std::map<std::string, std::size_t> propertyQuestions; // how often each installer property was asked for

    // The passwords that must not leave the process.
    const std::vector<std::string>& Secrets() const { return m_secrets; }

    // Notes, once, that the process asked for something that is not simulated: "WHO does not simulate WHAT".
    void NoteNotSimulated(std::string_view who, std::string_view what);

    // Milliseconds since the process began.
    std::uint64_t ClockMs() const { return m_clockMs; }

    // Lets time pass. If the process waits for ever (kForEverMs), it becomes endless, and is over.
    void Advance(std::uint64_t ms);
    void WaitForEver();

    // Counts a call. If the process makes too many without letting time pass, it becomes endless, and is over.
    void CountCall();
    bool IsEndless() const { return m_isEndless; }

    // Ends the running process. After that no call reaches the machine, and every call fails.
    void EndItself(std::uint32_t exitCode);
    bool IsOver() const { return m_isOver; }
    void SetOver() { m_isOver = true; }

    // The exit code that the process ended itself with.
    std::optional<std::uint32_t> ExitCode() const { return m_exitCode; }
    void SetExitCode(std::uint32_t exitCode) { m_exitCode = exitCode; }

    // Starting, waiting for, ending and finding other processes. A wait without a limit may be endless; its result is
    // whether the process has ended. Children are found even after they have ended.
    const ChildProcess& StartChild(const std::string& program, const ProgramRun& run);
    bool WaitForProcess(std::uint32_t id, std::optional<std::uint64_t> limitMs);
    void EndProcess(std::uint32_t id, std::uint32_t exitCode);
    const ChildProcess* FindChild(std::uint32_t id) const;
    // Whether a handle to a process is open. Its identifier then remains its own, even after it has ended.
    bool IsProcessHeld(std::uint32_t id) const;

    // Deletes a file's name. If handles to the file are open, the name remains until the last of them is closed, and
    // nothing can be opened by it.
    void DeleteName(const std::string& path);
    bool IsDeletionPending(const std::string& path) const { return m_pendingDeletions.contains(path); }
    // Deletes the names whose files are not open any more. Called after closing a handle.
    void EndPendingDeletions();

    // Removes a service if it is marked for deletion, stopped and not open.
    void RemoveDeletedService(const std::string& name);

    // The handle of any module of another process.
    void* ForeignModule();

    // Convert between the machine's ANSI code page and UTF-8.
    std::string FromAnsi(std::string_view ansi) const;
    std::string ToAnsi(std::string_view utf8) const;

private:
    // Whether the machine will change by itself as time passes.
    bool IsMoreToCome() const;
    void EndDueChildren();
    // The identifiers of a new process and of its first thread.
    std::uint32_t FreeProcessId() const;

    std::vector<std::string> m_secrets;
    std::map<std::uint32_t, ChildProcess> m_children;    // by identifier
    std::set<std::string, NameOrder> m_pendingDeletions; // paths
    char m_foreignModule = 0;
    std::uint64_t m_clockMs = 0;
    std::uint64_t m_quietMs = 0; // how long the machine has had no change to come; of one wait, only a part counts
    std::uint32_t m_callsSinceTimePassed = 0;
    bool m_isEndless = false;
    bool m_isOver = false;
    std::optional<std::uint32_t> m_exitCode;
};

} // namespace winsim
