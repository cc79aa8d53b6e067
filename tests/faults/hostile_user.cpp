// Lists the ways to misuse each place.
#include "tests/faults/hostile_user.h"

#include "winsim/base/text.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace
{

using winsim::File;
using winsim::Json;

const std::string kData = R"(C:\ProgramData\)";
const std::string kTree = kData + "Kelo Systems Corp";
const std::string kAside = kData + "Aside";
const std::string kVictims = R"(C:\Victim)";
const std::string kWholeTree = kVictims + R"(\whole)";
const std::string kEmptyFolder = kVictims + R"(\empty)";
const std::string kNothing = kVictims + R"(\nothing)";
const std::string kVictimFile = R"(C:\Windows\system32\victim.dat)";
const std::string kMissingFile = R"(C:\Windows\system32\planted.dat)";
const std::string kPlantedFolder = kData + "Planted";
const std::string kSystemFolder = R"(C:\Windows\system32)";

// Relative to the tree; "" is the tree itself.
constexpr const char* kFolders[] = {"", R"(\Common)", R"(\Common\policies)", R"(\InstallLogs)",
                                    R"(\InstallLogs\Toolkit)"};
constexpr const char* kFiles[] = {R"(\Common\Kelo_Config.ini)", R"(\InstallLogs\Toolkit\kelo_install_log.txt)"};

constexpr const char* kPlantedLibraries[] = {"Internationalization_et.dll", "Internationalization_en.dll",
                                             "stkprobe.dll", "CertJobPlanner.dll", "bcrypt.dll"};
// The beginnings of a path in C:\Program Files\Kelo Systems Corp, cut at each blank.
constexpr const char* kPlantedPrograms[] = {R"(C:\Program.exe)", R"(C:\Program Files\Kelo.exe)",
                                            R"(C:\Program Files\Kelo Systems.exe)"};
constexpr std::uint16_t kEstonian = 0x0425;
constexpr char kUser[] = "S-1-5-21-1004336348-1177238915-682003330-1002";

// A folder or file that only administrators may use.
void Guard(File& file)
{
    file.security.owner = "S-1-5-18";
    file.security.access = {{"S-1-5-32-544", 0x1F01FF, 3, false}, {"S-1-5-18", 0x1F01FF, 3, false}};
}

// Creates the parent folders of a place, moves away whatever is there, and puts something else there.
Attack Replace(const char* name, const std::string& place, const std::string& act)
{
    Attack attack{name, place, {}, {}};
    for (std::size_t end = kTree.size(); end < place.size(); end = place.find('\\', end + 1))
        attack.acts.push_back("directory " + place.substr(0, end));
    attack.acts.push_back("move " + place + " -> " + kAside);
    attack.acts.push_back(act);
    return attack;
}

// The same, but undone at the next call.
Attack Flash(const char* name, const std::string& place, const std::string& act)
{
    Attack attack = Replace(name, place, act);
    attack.undoing = {"delete " + place, "move " + kAside + " -> " + place};
    return attack;
}

void AddAttacksOnFolder(std::vector<Attack>& attacks, const std::string& below)
{
    const std::string place = kTree + below;
    const auto link = [&](const std::string& target) { return "link " + place + " -> " + target; };
    attacks.push_back(Replace("a link to a folder like it", place, link(kWholeTree + below)));
    attacks.push_back(Flash("a short link to a folder like it", place, link(kWholeTree + below)));
    attacks.push_back(Replace("a link to an empty folder", place, link(kEmptyFolder)));
    attacks.push_back(Flash("a short link to an empty folder", place, link(kEmptyFolder)));
    attacks.push_back(Replace("a link to the system folder", place, link(kSystemFolder)));
    attacks.push_back(Replace("a link to nothing", place, link(kNothing)));
    attacks.push_back(Replace("a link to itself", place, link(place)));
    attacks.push_back(Replace("a file", place, "write " + place + " -> no folder"));
    attacks.push_back(Replace("a link of a file", place, "filelink " + place + " -> " + kVictimFile));
}

void AddAttacksOnFile(std::vector<Attack>& attacks, const std::string& below)
{
    const std::string place = kTree + below;
    const auto act = [&](const char* word, const std::string& target) {
        return word + (" " + place + " -> ") + target;
    };
    attacks.push_back(Replace("a link to a file", place, act("filelink", kVictimFile)));
    attacks.push_back(Flash("a short link to a file", place, act("filelink", kVictimFile)));
    attacks.push_back(Replace("a link to a missing file", place, act("filelink", kMissingFile)));
    attacks.push_back(Flash("a short link to a missing file", place, act("filelink", kMissingFile)));
    attacks.push_back(Replace("a hard link", place, act("hardlink", kVictimFile)));
    attacks.push_back(Flash("a short hard link", place, act("hardlink", kVictimFile)));
    attacks.push_back(Replace("a link of a folder", place, act("link", kEmptyFolder)));
    attacks.push_back(Replace("a link to the system folder", place, act("link", kSystemFolder)));
    attacks.push_back(Replace("a folder", place, "directory " + place));
}

} // namespace

winsim::Machine MachineWithVictims(winsim::Machine machine)
{
    winsim::Files& files = machine.files;
    Guard(files.Create(kEmptyFolder, true));
    for (const char* folder : kFolders)
        Guard(files.Create(kWholeTree + folder, true));
    for (const char* file : kFiles)
        Guard(files.Create(kWholeTree + file, false));
    File& victim = files.Create(kVictimFile, false);
    Guard(victim);
    victim.content = "what only administrators may change";
    return machine;
}

winsim::Machine MachineWithPlantedFiles(winsim::Machine machine)
{
    Json description = machine.ToJson();
    description["windows"]["uiLanguage"] = kEstonian;
    description["windows"]["userLanguage"] = kEstonian;
    description["environment"]["PATH"] = kSystemFolder + ";" + kPlantedFolder;
    description["process"]["currentDirectory"] = kPlantedFolder;
    for (const char* library : kPlantedLibraries)
        description["libraries"][kPlantedFolder + "\\" + library] = Json::object();
    for (const char* program : kPlantedPrograms)
        description["programs"][program] = Json::object();
    return winsim::Machine::FromJson(description);
}

bool IsPlanted(const std::string& path)
{
    const auto isSame = [&](const char* program) { return winsim::SameName(path, program); };
    return winsim::FoldCase(path).starts_with(winsim::FoldCase(kPlantedFolder)) ||
           std::ranges::any_of(kPlantedPrograms, isSame);
}

std::vector<winsim::Machine> MachinesWithAnotherWindowsFolder(const winsim::Machine& machine)
{
    Json description = MachineWithVictims(machine).ToJson();
    description["environment"]["windir"] = kPlantedFolder;
    description["files"][kEmptyFolder + R"(\system32)"] = {{"directory", true}};
    Json link = description;
    link["files"][kPlantedFolder] = {{"directory", true}, {"link", kEmptyFolder}, {"owner", kUser}};
    Json linkBelow = description;
    linkBelow["files"][kPlantedFolder] = {{"directory", true}, {"owner", kUser}};
    linkBelow["files"][kPlantedFolder + R"(\system32)"] = {
        {"directory", true}, {"link", kEmptyFolder}, {"owner", kUser}};
    Json own = description;
    own["files"][kPlantedFolder] = {{"directory", true}, {"owner", kUser}};
    own["files"][kPlantedFolder + R"(\system32)"] = {{"directory", true}, {"owner", kUser}};
    return {winsim::Machine::FromJson(link), winsim::Machine::FromJson(linkBelow), winsim::Machine::FromJson(own)};
}

const std::vector<Attack>& AllAttacks()
{
    static const std::vector<Attack> attacks = [] {
        std::vector<Attack> all;
        for (const char* folder : kFolders)
            AddAttacksOnFolder(all, folder);
        for (const char* file : kFiles)
            AddAttacksOnFile(all, file);
        return all;
    }();
    return attacks;
}

const std::string kTurnedTo = kEmptyFolder;

Attack TurningOfPolicies()
{
    const std::string place = kTree + R"(\Common\policies)";
    return {"a folder that becomes a link", place, {"turn " + place + " -> " + kTurnedTo}, {}};
}

std::vector<winsim::Meanwhile> After(std::size_t ordinal, const Attack& attack)
{
    std::vector<winsim::Meanwhile> all;
    const auto add = [&](std::size_t when, const std::vector<std::string>& acts) {
        for (const std::string& act : acts)
            all.push_back(winsim::ParseMeanwhile("*#" + std::to_string(when) + "=" + act));
    };
    add(ordinal, attack.acts);
    add(ordinal + 1, attack.undoing);
    return all;
}

bool MayDiffer(const std::string& path)
{
    const std::string folded = winsim::FoldCase(path);
    for (const std::string& folder : {kTree, kAside})
    {
        const std::string beginning = winsim::FoldCase(folder);
        if (folded == beginning || folded.starts_with(beginning + "\\"))
            return true;
    }
    return false;
}
