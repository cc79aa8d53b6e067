// Loads a program, runs it and unloads it.
#include "winsim/core/program.h"

#include "winsim/core/simulation.h"
#include "winsim/core/text.h"

#include "msi.h"
#include "winsim_types.h"

#include <dlfcn.h>
#include <stdexcept>

namespace winsim
{

namespace
{

// A loaded shared object. Loading it runs its static initialisation, unloading its static destruction.
class Image
{
public:
    explicit Image(const std::string& path) : m_handle(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL))
    {
        if (m_handle == nullptr)
            throw std::runtime_error(dlerror());
    }
    ~Image() { dlclose(m_handle); }
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;

    template <typename Function>
    Function* Find(const char* name) const
    {
        void* symbol = dlsym(m_handle, name);
        if (symbol == nullptr)
            throw std::runtime_error(std::string("the program has no ") + name);
        return reinterpret_cast<Function*>(symbol);
    }

private:
    void* m_handle;
};

// What a test image shows beside the program's own entries.
using TestCallEntry = bool(const std::string& name, const std::vector<std::string>& arguments, std::string& result);

} // namespace

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
            // Backslashes count double in front of a quotation mark.
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

template <typename Entry>
Outcome Program::RunEntry(const Machine& machine, const RunOptions& options, Entry entry) const
{
    Simulation simulation{machine};
    simulation.gate.isRecording = options.recordCalls;
    simulation.gate.parametersOf = options.parametersOf;
    simulation.gate.faults = options.faults;
    simulation.SetClockBound(options.clockBoundMs);

    std::vector<std::string> words{machine.process.path};
    words.insert(words.end(), options.arguments.begin(), options.arguments.end());
    simulation.commandLine = options.commandLine.value_or(Utf16(JoinCommandLine(words)));

    Outcome outcome;
    {
        const Image image{m_path};
        outcome.bodyBegin = simulation.gate.records.size();
        outcome.exitCode = entry(image);
        outcome.bodyEnd = simulation.gate.records.size();
    }
    if (!simulation.comApartments.empty())
        simulation.handles.NoteViolation("a COM apartment was entered and not left");
    outcome.violations = simulation.handles.Violations();
    outcome.machine = std::move(simulation.machine);
    outcome.standardOutput = std::move(simulation.standardOutput);
    outcome.calls = std::move(simulation.gate.records);
    outcome.callCounts = std::move(simulation.gate.counts);
    outcome.clockMs = simulation.ClockMs();
    outcome.isEndless = simulation.IsEnded();
    return outcome;
}

Outcome Program::Run(const Machine& machine, const RunOptions& options) const
{
    return RunEntry(machine, options, [](const Image& image) {
        return image.Find<int(HINSTANCE, HINSTANCE, LPSTR, int)>("WinMain")(nullptr, nullptr, nullptr, 0);
    });
}

Outcome Program::RunExport(const Machine& machine, const RunOptions& options, const std::string& name) const
{
    return RunEntry(machine, options, [&](const Image& image) {
        auto* const exported = image.Find<UINT(MSIHANDLE)>(name.c_str());
        HandleTable& handles = Simulation::Current().handles;
        void* const session = handles.Open(kInstallSession, InstallSession{});
        const UINT result = exported(static_cast<MSIHANDLE>(reinterpret_cast<std::uintptr_t>(session)));
        handles.Close(session, kInstallSession, "the installer");
        return static_cast<int>(result);
    });
}

Outcome Program::Call(const Machine& machine, const RunOptions& options, const std::string& name,
                      const std::vector<std::string>& arguments, std::string& result) const
{
    return RunEntry(machine, options, [&](const Image& image) {
        if (!image.Find<TestCallEntry>("WinsimTestCall")(name, arguments, result))
            throw std::runtime_error("the program has no test call " + name);
        return 0;
    });
}

} // namespace winsim
