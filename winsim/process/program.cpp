// Loads a program, runs it, and unloads it however it ends.
#include "winsim/process/program.h"

#include "winsim/base/text.h"
#include "winsim/process/install_session.h"
#include "winsim/process/process_code.h"
#include "winsim/process/simulation.h"

#include "msi.h"
#include "winsim_types.h"

#include <dlfcn.h>
#include <stdexcept>

namespace winsim
{

namespace
{

// The exit code of a process that was ended from outside.
constexpr int kEndedFromOutside = -1;

// A shared object in the simulated process.
class Image
{
public:
    explicit Image(const std::string& path) : m_path(path)
    {
        if (dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD) != nullptr)
            throw std::runtime_error(path + ": the previous run could not be unloaded");
    }
    ~Image()
    {
        if (m_handle != nullptr)
            dlclose(m_handle);
    }
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;

    // Runs the static initialisation.
    CodeEnd Load()
    {
        CodeEnd end = RunProcessCode([this] { m_handle = dlopen(m_path.c_str(), RTLD_NOW | RTLD_LOCAL); });
        if (!end.hasReturned)
        {
            // The interrupted dlopen has loaded it, and this call adds a second reference.
            m_handle = dlopen(m_path.c_str(), RTLD_NOW | RTLD_NOLOAD);
            dlclose(m_handle);
        }
        else if (m_handle == nullptr)
            throw std::runtime_error(dlerror());
        return end;
    }

    // Runs the destructors of static objects that have not run yet.
    CodeEnd Destroy() const { return RunProcessCode(Find<void()>("WinsimDestroyStatics")); }

    template <typename Function>
    Function* Find(const char* name) const
    {
        void* symbol = dlsym(m_handle, name);
        if (symbol == nullptr)
            throw std::runtime_error(std::string("the program has no ") + name);
        return reinterpret_cast<Function*>(symbol);
    }

private:
    std::string m_path;
    void* m_handle = nullptr;
};

// One life of a program in the simulated process, from static initialisation to static destruction.
class Life
{
public:
    Life(Simulation& simulation, const std::string& path) : m_simulation(simulation), m_image(path) {}

    template <typename FindEntry>
    void Live(FindEntry find, Outcome& outcome)
    {
        int exitCode = 0;
        Note(m_image.Load());
        outcome.bodyBegin = m_simulation.gate.records.size();
        if (m_isWhole)
        {
            const auto entry = find(m_image);
            Note(RunProcessCode([&] { exitCode = entry(); }));
        }
        outcome.bodyEnd = m_simulation.gate.records.size();
        Note(m_image.Destroy());
        outcome.exitCode = ExitCode(exitCode);
        outcome.death = m_death ? std::optional(m_death->reason) : std::nullopt;
        outcome.isEndless = m_simulation.IsEndless();
        if (!m_isWhole)
            TidyUp();
        outcome.violations = Violations();
        // Windows closes the handles that were left open, and frees the memory.
        m_simulation.SetOver();
        m_simulation.EndPendingDeletions();
        FreeMemory();
    }

private:
    void Note(CodeEnd end)
    {
        m_isWhole = m_isWhole && end.hasReturned;
        if (!end.death)
            return;
        // A death after the end of the process does not count.
        if (!m_simulation.IsOver())
            m_death = std::move(end.death);
        m_simulation.SetOver();
    }

    int ExitCode(int returned) const
    {
        if (m_death)
            return m_death->exitCode;
        if (m_simulation.IsEndless())
            return kEndedFromOutside;
        return m_simulation.ExitCode() ? static_cast<int>(*m_simulation.ExitCode()) : returned;
    }

    std::vector<std::string> Violations() const
    {
        // If a process does not reach its own end, Windows closes its handles.
        if (!m_isWhole)
            return m_simulation.handles.Misuses();
        if (!m_simulation.comApartments.empty())
            m_simulation.handles.NoteViolation("a COM apartment was entered and not left");
        if (const std::size_t left = m_simulation.programMemory.size(); left != 0)
            m_simulation.handles.NoteViolation(std::to_string(left) + " blocks of memory were not freed");
        return m_simulation.handles.Violations();
    }

    // Finishes the static destruction, which must be complete before the image is unloaded.
    void TidyUp()
    {
        m_simulation.SetOver();
        while (!m_image.Destroy().hasReturned)
        {}
    }

    void FreeMemory()
    {
        for (const auto& [memory, size] : m_simulation.programMemory)
            ::operator delete(memory);
        m_simulation.programMemory.clear();
    }

    Simulation& m_simulation;
    Image m_image;
    std::optional<Death> m_death;
    bool m_isWhole = true; // whether each of its parts returned
};

// The entry that test images have besides those of the program.
using TestCallEntry = bool(const std::string& name, const std::vector<std::string>& arguments, std::string& result);

} // namespace

Outcome::Outcome() = default;
Outcome::Outcome(const Outcome& other) = default;
Outcome::Outcome(Outcome&& other) noexcept = default;
Outcome& Outcome::operator=(const Outcome& other) = default;
Outcome& Outcome::operator=(Outcome&& other) noexcept = default;
Outcome::~Outcome() = default;

std::string JoinCommandLine(const std::vector<std::string>& words)
{
    std::string line;
    for (const std::string& word : words)
    {
        if (!line.empty())
            line += ' ';
        if (!word.empty() && word.find_first_of(" \t\"") == std::string::npos)
        {
            line += word;
            continue;
        }
        line += '"';
        std::size_t backslashes = 0;
        for (const char c : word)
        {
            // Before a quotation mark, each backslash must be doubled.
            if (c == '"')
                line.append(backslashes + 1, '\\');
            backslashes = c == '\\' ? backslashes + 1 : 0;
            line += c;
        }
        line.append(backslashes, '\\');
        line += '"';
    }
    return line;
}

template <typename Find>
Outcome Program::RunEntry(const Machine& machine, const RunOptions& options, Find find) const
{
    Simulation simulation{machine, m_rules};
    simulation.gate.isRecording = options.recordCalls;
    simulation.gate.parametersOf = options.parametersOf;
    simulation.gate.faults = options.faults;
    simulation.gate.faults.insert(simulation.gate.faults.end(), machine.faults.faults.begin(),
                                  machine.faults.faults.end());
    simulation.gate.meanwhile = options.meanwhile;
    simulation.gate.reached.resize(simulation.gate.faults.size());
    if (options.foldRepeats)
        simulation.gate.repeats.emplace(m_rules.withoutTime);

    std::vector<std::string> words{machine.process.path};
    words.insert(words.end(), options.arguments.begin(), options.arguments.end());
    simulation.commandLine = options.commandLine.value_or(Utf16(JoinCommandLine(words)));

    Outcome outcome;
    Life{simulation, m_path}.Live(find, outcome);
    outcome.machine = std::move(simulation.machine);
    outcome.standardOutput = std::move(simulation.standardOutput);
    outcome.triedActs = std::move(simulation.gate.triedActs);
    outcome.images = std::move(simulation.images);
    outcome.notSimulated = std::move(simulation.notSimulated);
    outcome.calls = std::move(simulation.gate.records);
    if (simulation.gate.repeats)
        outcome.repeats = simulation.gate.repeats->Repeats();
    outcome.faults = std::move(simulation.gate.faults);
    outcome.faultsReached = std::move(simulation.gate.reached);
    outcome.callCounts = simulation.gate.TakeCounts();
    outcome.clockMs = simulation.ClockMs();
    return outcome;
}

Outcome Program::Run(const Machine& machine, const RunOptions& options) const
{
    return RunEntry(machine, options, [](const Image& image) {
        auto* const winMain = image.Find<int(HINSTANCE, HINSTANCE, LPSTR, int)>("WinMain");
        return [winMain] { return winMain(nullptr, nullptr, nullptr, 0); };
    });
}

Outcome Program::RunExport(const Machine& machine, const RunOptions& options, const std::string& name) const
{
    return RunEntry(machine, options, [&](const Image& image) {
        auto* const exported = image.Find<UINT(MSIHANDLE)>(name.c_str());
        return [exported] {
            HandleTable& handles = Simulation::Current().handles;
            void* const session = handles.Open(InstallSession{});
            const UINT result = exported(static_cast<MSIHANDLE>(reinterpret_cast<std::uintptr_t>(session)));
            handles.Close<InstallSession>(session, "the installer");
            return static_cast<int>(result);
        };
    });
}

Outcome Program::Call(const Machine& machine, const RunOptions& options, const std::string& name,
                      const std::vector<std::string>& arguments, std::string& result) const
{
    bool isKnown = true;
    Outcome outcome = RunEntry(machine, options, [&](const Image& image) {
        auto* const call = image.Find<TestCallEntry>("WinsimTestCall");
        return [&, call] {
            isKnown = call(name, arguments, result);
            // The program's memory that the result is in is the caller's now.
            Simulation::Current().programMemory.erase(result.data());
            return 0;
        };
    });
    if (!isKnown)
        throw std::runtime_error("the program has no test call " + name);
    return outcome;
}

} // namespace winsim
