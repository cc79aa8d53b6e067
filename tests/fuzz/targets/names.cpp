// Any names for services and processes. Which of them is found is computed a second time.
//
// Input: the name to look for, then one existing name a line: "s" and the name of a stopped service, "r" and the name
// of a running one, "p" and the name of a process's program file.
#include "tests/fuzz/fuzz.h"
#include "winsim/base/text.h"

#include <map>
#include <utility>

namespace
{

constexpr unsigned kCodePage = 1252;
constexpr std::size_t kLongestServiceName = 256;
constexpr std::size_t kLongestImageName = 259;

std::string Ansi(const std::string& utf8)
{
    return winsim::CodePage::Get(kCodePage).FromUtf16(winsim::Utf16(utf8));
}

// A text in ANSI, with the letters of ASCII folded to one case.
std::string Folded(std::string ansi)
{
    for (char& c : ansi)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return ansi;
}

bool CanBeServiceName(const std::string& name)
{
    return !name.empty() && winsim::Utf16(name).size() <= kLongestServiceName &&
           name.find_first_of("/\\") == std::string::npos;
}

bool IsService(const std::string& line)
{
    return (line.starts_with('s') || line.starts_with('r')) && CanBeServiceName(line.substr(1));
}

bool IsProcess(const std::string& line)
{
    return line.starts_with('p') && line.size() > 1;
}

std::vector<std::string> WithFullNames(std::vector<std::string> lines)
{
    for (std::size_t i = 1; i < lines.size(); ++i)
    {
        if (lines[i].size() == 1)
            lines[i] += lines[0];
    }
    return lines;
}

winsim::Machine MachineWith(const std::vector<std::string>& lines)
{
    static const winsim::Machine plain = winsim::Machine::FromJson({{"windows", {{"codePage", kCodePage}}}});
    winsim::Json services = winsim::Json::object();
    std::map<std::string, std::string> spellings;
    winsim::Json processes = winsim::Json::array();
    for (std::size_t i = 1; i < lines.size(); ++i)
    {
        if (IsProcess(lines[i]))
            processes.push_back({{"id", 4000 + 4 * i}, {"name", lines[i].substr(1)}});
        else if (IsService(lines[i]))
        {
            // A later service replaces an earlier one of the same name, however that name was spelt.
            const std::string name = lines[i].substr(1);
            services.erase(std::exchange(spellings[winsim::FoldCase(name)], name));
            services[name] = {{"state", lines[i][0] == 'r' ? "running" : "stopped"},
                              {"onStart", {{"states", {{{"state", "running"}}}}}},
                              {"onStop", {{"states", {{{"state", "stopped"}}}}}}};
        }
    }
    winsim::Machine machine = plain;
    machine.services.Load({services, "services"});
    machine.processes.Load({processes, "processes"});
    return machine;
}

// The state of the service: 's', 'r', or '-' if there is none. Of two with the same name the last counts.
char StateOf(const std::string& name, const std::vector<std::string>& lines)
{
    char state = '-';
    for (std::size_t i = 1; i < lines.size(); ++i)
    {
        if (IsService(lines[i]) && winsim::FoldCase(lines[i].substr(1)) == winsim::FoldCase(name))
            state = lines[i][0];
    }
    return state;
}

bool IsProcessThere(const std::string& imageName, const std::vector<std::string>& lines)
{
    for (std::size_t i = 1; i < lines.size(); ++i)
    {
        if (IsProcess(lines[i]) && Folded(Ansi(lines[i].substr(1)).substr(0, kLongestImageName)) == Folded(imageName))
            return true;
    }
    return false;
}

std::string Flag(bool flag)
{
    return flag ? "true" : "false";
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::vector<std::string> lines = WithFullNames(LinesOf(data, size));
    const std::string name = lines.empty() ? std::string() : lines[0];
    const winsim::Machine machine = MachineWith(lines);

    const char state = StateOf(name, lines);
    ExpectSame("IsServiceRunning", Flag(state == 'r'), CallFunction(machine, "IsServiceRunning", {name}).result);
    for (const char* operation : {"StartServiceByName", "StopServiceByName", "RestartServiceByName"})
        ExpectSame(operation, Flag(state != '-'), CallFunction(machine, operation, {name}).result);
    CallFunction(machine, "GetServiceBinaryPath", {name});

    const std::string imageName = Ansi(name);
    const bool isThere = IsProcessThere(imageName, lines);
    ExpectSame("FindProcessByName", Flag(isThere), CallFunction(machine, "FindProcessByName", {imageName}).result);
    const FuzzedRun killed = CallFunction(machine, "KillProcessByName", {imageName});
    ExpectSame("KillProcessByName", Flag(isThere), killed.result);
    ExpectSame("processes", std::to_string(machine.processes.All().size() - (isThere ? 1 : 0)),
               std::to_string(killed.outcome.machine.processes.All().size()));
    return 0;
}
