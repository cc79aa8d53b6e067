// Drafts a description from the lines of a run.
#include "explain/describe.h"

#include "catalogue/numbers.h"

#include <algorithm>
#include <utility>

namespace
{

using report::Story;
using report::StoryLine;
using winsim::Json;

constexpr char kCommonKey[] = R"(HKLM\SOFTWARE\Kelo Systems Corp\Common)";
constexpr char kCommonKeyWithPeriod[] = R"(HKLM\SOFTWARE\Kelo Systems Corp.\Common)";
constexpr char kBlockedList[] = R"(HKLM\SOFTWARE\Microsoft\Tpm\BlockedCommands\List)";
constexpr char kServiceName[] = "KlPCR";
constexpr char kReader[] = "Kelo VIRTUAL_CARD_READER 0";

// A line about an answer of the detection library that was loaded last.
struct ProbeAnswer
{
    std::string_view format;
    const char* function;
    int result;
};

constexpr ProbeAnswer kProbeAnswers[] = {
    {"Detected TSS", "DetectTSS", 0},
    {"TPM is enabled", "isEnabled", 1},
    {"TPM is not enabled rc: %d", "isEnabled", 0},
    {"TPM is activated", "isActivated", 1},
    {"TPM is not activated rc: %d", "isActivated", 0},
    {"SRK is in correct auth format", "ValidSRKAuth", 0},
    {"SRK is in incorrect auth format!", "ValidSRKAuth", 1},
    {"Cannot determine SRK auth format", "ValidSRKAuth", 2},
};

// The functions of a detection library, each with an answer after which the next question is asked. The answer about
// the owner is no; if an SRK was asked about, a line says so.
const Json kProbeExports = {
    {"DetectTSS", 0}, {"isEnabled", 1}, {"isActivated", 1}, {"isOwned", 0}, {"ValidSRKAuth", 0}};

constexpr std::pair<std::string_view, const char*> kStackServices[] = {
    {"Found Kelo TSS", "tcsd_x86"},
    {"Found NTRU TSS", "tcsd_win32.exe"},
};

// Reads one run.
class Draft
{
public:
    Draft(const Story& story, const std::string& title) : m_story(story)
    {
        m_json["title"] = title;
        m_json["windows"]["version"] = Version();
        if (HasLine("This is a x86 process running on x64 system"))
            m_json["windows"]["wow64"] = true;
        for (const StoryLine& line : story.lines)
        {
            if (line.text != nullptr)
                Read(line, line.text->format);
        }
        // A successful removal of tasks leaves no line.
        if (story.action == catalogue::Action::Removal && story.hasEnd && !HasLine("RemoveAutoEnrollmentTasks"))
            ReadTaskLibrary();
    }

    Json Take() { return std::move(m_json); }

private:
    // Whether any message contains a text.
    bool HasLine(std::string_view part) const
    {
        return std::any_of(m_story.lines.begin(), m_story.lines.end(),
                           [&](const StoryLine& line) { return line.message.find(part) != std::string::npos; });
    }

    // One Windows version for each branch that the program takes.
    const char* Version() const
    {
        if (HasLine("target system is not Vista+") || HasLine("Not Vista+ OS") || HasLine("This is a XP system!"))
            return "5.2";
        return HasLine("Target system is not Win8+") || HasLine("This is Vista/Win7") ? "6.1" : "10.0";
    }

    void Read(const StoryLine& line, std::string_view format)
    {
        const std::vector<std::string>& values = line.values;
        if (format == "command line argv[%d]: %s" && values.size() > 1 && values[0] == "0")
            ReadProgram(values[1]);
        else if (format == " %s current status: %d, %d" && values.size() > 1)
            ReadService(values[0], values[1]);
        else if (format == "Load %s" && !values.empty())
            m_json["libraries"][m_probe = values[0]] = {{"exports", kProbeExports}};
        else if (format == "Failed to Load Library: %s Err: %d" && values.size() > 1)
            ReadMissingProbe(values[0], values[1]);
        else if (format == "Failed to Detect TSS rc='%d'" && !values.empty())
            Answer("DetectTSS", static_cast<int>(catalogue::NumberIn(values[0], false).value_or(1)));
        else if (format == "KlTKService - service installed/registered")
            ReadServiceProgram();
        else if (format == "UnInstallTkService - unregister the service")
            ReadInstalledService();
        else if (format == "Successfully un-registered %S\n" && !values.empty())
            ReadProvider(values[0]);
        else
            ReadSign(format);
    }

    void ReadProgram(const std::string& path)
    {
        m_json["process"]["path"] = path;
        m_folder = path.substr(0, path.rfind('\\') + 1);
        for (const char* key : {kCommonKey, kCommonKeyWithPeriod})
            m_json["registry"][key]["values"]["Installation Path"] = m_folder;
    }

    // The first reported state is the state before the run.
    void ReadService(const std::string& name, const std::string& state)
    {
        Json& service = m_json["services"][name];
        if (service.contains("state"))
            return;
        service["state"] = catalogue::NumberIn(state, false).value_or(1);
    }

    // A library that was not found is not described.
    void ReadMissingProbe(const std::string& path, const std::string& error)
    {
        constexpr std::string_view kNotFound = "126";
        Json& libraries = m_json["libraries"];
        if (libraries.contains(path))
            libraries.erase(path);
        if (error != kNotFound)
            libraries[path] = {{"loadError", catalogue::NumberIn(error, false).value_or(0)}};
        if (libraries.empty())
            m_json.erase("libraries");
    }

    void Answer(const char* function, int result)
    {
        if (m_probe.empty() || !m_json.contains("libraries") || !m_json["libraries"].contains(m_probe))
            return;
        Json& exports = m_json["libraries"][m_probe]["exports"];
        exports[function] = result;
        if (std::string_view(function) == "ValidSRKAuth")
            exports["isOwned"] = 1;
    }

    // A set-up that reached its end registered the service, unless a line says that the service could not be opened.
    void ReadServiceProgram()
    {
        if (m_folder.empty())
            return;
        const std::string path = m_folder + "KlPCR.exe";
        m_json["files"][path] = Json::object();
        m_json["programs"][path]["runs"] = {
            {{"arguments", "-Service"}, {"effects", {{"services", {{kServiceName, ServiceOf(path)}}}}}}};
    }

    static Json ServiceOf(const std::string& path) { return {{"binaryPath", "\"" + path + "\" -Service"}}; }

    // A removal only unregisters the service if it exists and has a path.
    void ReadInstalledService()
    {
        if (m_folder.empty())
            return;
        const std::string path = m_folder + "KlPCR.exe";
        m_json["files"][path] = Json::object();
        m_json["services"][kServiceName] = ServiceOf(path);
    }

    // A key storage provider that a removal was able to remove.
    void ReadProvider(const std::string& name)
    {
        constexpr int kKeyStorage = 0x10001;
        Json& cng = m_json["cng"];
        if (!cng.contains("contextFunctions"))
            cng["contextFunctions"] = {{{"table", 1},
                                        {"context", "Default"},
                                        {"interface", kKeyStorage},
                                        {"function", "KEY_STORAGE"},
                                        {"providers", Json::array()}}};
        cng["contextFunctions"][0]["providers"].push_back(name);
        cng["providers"][name] = Json::object();
    }

    void ReadSign(std::string_view format)
    {
        for (const ProbeAnswer& answer : kProbeAnswers)
        {
            if (answer.format == format)
                Answer(answer.function, answer.result);
        }
        for (const auto& [line, service] : kStackServices)
        {
            if (line == format && (!m_json.contains("services") || !m_json["services"].contains(service)))
                m_json["services"][service] = Json::object();
        }
        if (format == "Copied stkprobe.dll successfully" && !m_probe.empty())
            m_json["files"][m_probe] = Json::object();
        else if (format == "Ownership taken for Default List of Blocked Commands")
            m_json["registry"][kBlockedList] = Json::object();
        else if (format == "CTPMSmartCard::IsKlSCardInstalled - Kelo Smart Card software is currently installed")
            m_json["smartCards"]["readers"] = {kReader};
        else if (format == "When Toolkit was last uninstalled... the VSC was present, so must reinstall...")
            m_json["registry"][kCommonKey]["values"]["KlVSC Installed"] = 1;
        else if (format.find("regValue 'KlAutoEnrollInstalled' = 0") != std::string_view::npos)
            m_json["registry"][kCommonKey]["values"]["KlAutoEnrollInstalled"] = 0;
        else if (format == "*** InstallAutoEnrollmentTasks(): Auto-Enroll Tasks installed")
            ReadTaskLibrary();
    }

    void ReadTaskLibrary()
    {
        if (m_folder.empty())
            return;
        m_json["registry"][kCommonKey]["values"]["KlAutoEnrollInstalled"] = 1;
        m_json["libraries"][m_folder + "CertJobPlanner.dll"]["exports"] = {
            {"AreTasksInstalled", 0}, {"InstallAutoEnrollmentTasks", 0}, {"RemoveAutoEnrollmentTasks", 0}};
    }

    const Story& m_story;
    Json m_json;
    std::string m_folder; // the toolkit's, with a backslash at its end
    std::string m_probe;  // the detection library that was loaded last
};

} // namespace

Json DraftDescription(const Story& story, const std::string& title)
{
    return Draft{story, title}.Take();
}
