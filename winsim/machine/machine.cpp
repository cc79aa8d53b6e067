// Makes machines from descriptions, and says how two machines differ.
#include "winsim/machine/machine.h"

#include "winsim/base/description_text.h"
#include "winsim/base/fields.h"
#include "winsim/machine/areas.h"
#include "winsim/machine/machine_schema.h"
#include "winsim/machine/plain_windows.h"
#include "winsim/machine/program_path.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <type_traits>
#include <utility>

namespace winsim
{

namespace
{

// One area of the machine and its key in a description.
struct Area
{
    const char* key;
    const char* meaning; // its description in the schema
    Json (*schema)(Json& definitions);
    void (*clear)(Machine&);
    void (*load)(Machine&, const Reader&);
    Json (*save)(const Machine&);
    bool (*isSame)(const Machine&, const Machine&);
};

template <auto Member>
using TypeOf = std::remove_cvref_t<decltype(std::declval<Machine>().*Member)>;

// An area that has its own form, of which `schema` is the schema, or one whose keys are declared.
template <auto Member>
constexpr Area MakeArea(const char* key, const char* meaning,
                        Json (*schema)(Json&) = &AreaOfFields<TypeOf<Member>>::Schema)
{
    constexpr bool kHasOwnForm = requires(TypeOf<Member> area, Reader reader)
    {
        area.Load(reader);
    };
    return {key,
            meaning,
            schema,
            [](Machine& machine) { machine.*Member = {}; },
            [](Machine& machine, const Reader& reader) {
                if constexpr (kHasOwnForm)
                    (machine.*Member).Load(reader);
                else
                    AreaOfFields<TypeOf<Member>>::Load(reader, machine.*Member);
            },
            [](const Machine& machine) {
                if constexpr (kHasOwnForm)
                    return (machine.*Member).ToJson();
                else
                    return AreaOfFields<TypeOf<Member>>::Save(machine.*Member);
            },
            [](const Machine& one, const Machine& other) { return one.*Member == other.*Member; }};
}

constexpr Area kAreas[] = {
    {"title", "A title in one line.",
     [](Json&) {
         return Json{{"type", "string"}};
     },
     [](Machine& machine) { machine.title.clear(); },
     [](Machine& machine, const Reader& reader) { machine.title = reader.Text(); },
     [](const Machine& machine) { return Json(machine.title); },
     [](const Machine& one, const Machine& other) { return one.title == other.title; }},
    {"notes", "For people: what the description does not say and its author could not find out. A list of texts.",
     [](Json& definitions) { return List<std::string>().Schema(definitions); },
     [](Machine& machine) { machine.notes.clear(); },
     [](Machine& machine, const Reader& reader) { List<std::string>().Read(reader, machine.notes); },
     [](const Machine& machine) { return List<std::string>().Save(machine.notes); },
     [](const Machine& one, const Machine& other) { return one.notes == other.notes; }},
    MakeArea<&Machine::windows>("windows", "Windows as the program sees it."),
    MakeArea<&Machine::clock>("clock", "Time, which passes only while the program waits."),
    MakeArea<&Machine::process>("process", "The process that a run makes."),
    MakeArea<&Machine::folders>("folders", "The shell's folders, each a full path.", &SchemaOfFolders),
    MakeArea<&Machine::environment>("environment", "Environment variables: a text for each name.",
                                    &SchemaOfEnvironment),
    MakeArea<&Machine::registry>("registry", "Keys by their paths, which begin with HKLM, HKCU, HKCR or HKU.",
                                 &SchemaOfRegistry),
    MakeArea<&Machine::files>("files", "Files and directories by their full paths, which begin with a drive.",
                              &SchemaOfFiles),
    {"libraries", "Libraries that can be loaded, by their full paths.", &SchemaOfLibraries,
     [](Machine&) {}, // cleared with the files
     [](Machine& machine, const Reader& reader) { machine.files.LoadLibraries(reader); },
     [](const Machine& machine) { return machine.files.LibrariesToJson(); },
     [](const Machine& one, const Machine& other) { return one.files == other.files; }},
    MakeArea<&Machine::pendingMoves>("pendingMoves", "Moves and deletions at the next start of Windows, in order.",
                                     &SchemaOfPendingMoves),
    MakeArea<&Machine::token>("token", "The program's token."),
    MakeArea<&Machine::services>("services", "Services by name.", &SchemaOfServices),
    MakeArea<&Machine::processes>("processes", "The running processes in Windows' order.", &SchemaOfProcesses),
    {"programs", "Programs that can be started, by their full paths.", &SchemaOfPrograms,
     [](Machine&) {}, // cleared with the files
     [](Machine& machine, const Reader& reader) { machine.files.LoadPrograms(reader); },
     [](const Machine& machine) { return machine.files.ProgramsToJson(); },
     [](const Machine& one, const Machine& other) { return one.files == other.files; }},
    MakeArea<&Machine::smartCards>("smartCards", "Smart-card readers, and the resource manager that lists them."),
    MakeArea<&Machine::cng>("cng", "The configuration of Windows' cryptography (CNG)."),
    MakeArea<&Machine::wmi>("wmi", "Windows' management instrumentation."),
    MakeArea<&Machine::installer>("installer", "The install session that is passed to an exported entry point.",
                                  &SchemaOfInstaller),
    MakeArea<&Machine::events>("events", "The Application event log, oldest event first.", &SchemaOfEvents),
    MakeArea<&Machine::faults>("faults", "Calls that fail in every run on this machine, each as CALL[#N]=ERROR.",
                               &SchemaOfFaults),
};

const Json& PlainWindows()
{
    static const Json plain = [] {
        Json machine = Json::parse(kPlainWindowsJson);
        machine["process"]["path"] = kProgramPath;
        return machine;
    }();
    return plain;
}

// Effects are merged when they happen, with their nulls; until then they are kept as they are.
bool IsForLater(const std::string& name)
{
    return name == "effects";
}

// What a null means for something that does not exist.
enum class VainNull
{
    IsAnError, // in a description: the name is probably mistyped
    IsFine     // in effects: the machine may have changed
};

std::string Below(const std::string& path, const std::string& name)
{
    return path.empty() ? name : path + "." + name;
}

// Merges a description into another one, as a JSON merge patch.
void Merge(const Json& description, Json& whole, VainNull vainNull, const std::string& path = {})
{
    for (const auto& [name, value] : description.items())
    {
        if (value.is_null())
        {
            if (whole.erase(name) == 0 && vainNull == VainNull::IsAnError)
                throw DescriptionError(Below(path, name) + ": null, but there is nothing to remove");
            continue;
        }
        Json& member = whole[name];
        if (!value.is_object() || IsForLater(name))
        {
            member = value;
            continue;
        }
        if (!member.is_object())
            member = Json::object();
        Merge(value, member, vainNull, Below(path, name));
    }
}

// A description with `privileges` but without `enabled` keeps the privileges enabled that the token still has.
void DisableMissingPrivileges(const Json& description, Json& whole)
{
    const Json token = description.value("token", Json());
    if (!token.is_object() || !token.contains("privileges") || token.contains("enabled"))
        return;
    const Json held = whole["token"].value("privileges", Json::array());
    Json enabled = Json::array();
    for (const Json& name : whole["token"].value("enabled", Json::array()))
    {
        if (std::find(held.begin(), held.end(), name) != held.end())
            enabled.push_back(name);
    }
    whole["token"]["enabled"] = enabled;
}

// The areas that every machine has: a description can change but not remove them.
constexpr const char* kFixedAreas[] = {"windows", "clock", "process"};

void RequireFixed(const Json& whole, const std::set<std::string>& areas)
{
    for (const std::string area : kFixedAreas)
    {
        if (!areas.contains(area))
            continue;
        if (!whole.contains(area))
            throw DescriptionError(area + ": cannot be removed");
        for (const auto& [name, value] : PlainWindows()[area].items())
        {
            if (whole[area].is_object() && !whole[area].contains(name))
                throw DescriptionError(area + "." + name + ": cannot be removed");
        }
    }
}

// Adds nulls to a description for everything that the plain machine has and this one lacks.
void TakeAwayMissing(const Json& plain, Json& description)
{
    for (const auto& [name, value] : plain.items())
    {
        if (!description.contains(name))
            description[name] = nullptr;
        else if (value.is_object() && description[name].is_object() && !IsForLater(name))
            TakeAwayMissing(value, description[name]);
    }
}

// A whole description, changed by a description of differences.
Json Described(const Json& description, Json whole)
{
    if (!description.is_object())
        throw DescriptionError("description: not an object");
    Merge(description, whole, VainNull::IsAnError);
    DisableMissingPrivileges(description, whole);
    return whole;
}

// The program's own process is one of the running processes, even if the description does not list it.
void ListOwnProcess(Machine& machine)
{
    const std::string& path = machine.process.path;
    if (machine.processes.Find(machine.process.processId) == nullptr)
        machine.processes.Add({machine.process.processId, path.substr(path.rfind('\\') + 1)});
}

std::set<std::string> AllAreas()
{
    std::set<std::string> areas;
    for (const Area& area : kAreas)
        areas.insert(area.key);
    return areas;
}

constexpr const char* kAreasOfFiles[] = {"files", "libraries", "programs"};

// The areas that a description changes. Libraries and programs are files, so each of these areas changes them all.
std::set<std::string> AreasIn(const Json& description)
{
    std::set<std::string> areas;
    for (const auto& [name, value] : description.items())
        areas.insert(name);
    if (std::ranges::any_of(kAreasOfFiles, [&](const char* area) { return areas.contains(area); }))
        areas.insert(std::begin(kAreasOfFiles), std::end(kAreasOfFiles));
    return areas;
}

// Reads the given areas into the machine, replacing what they hold.
void Load(const Json& whole, const std::set<std::string>& areas, Machine& machine)
{
    RequireFixed(whole, areas);
    ObjectReader object{Reader{whole, ""}};
    for (const Area& area : kAreas)
    {
        if (areas.contains(area.key))
            area.clear(machine);
        object.With(area.key, [&](const Reader& reader) { area.load(machine, reader); });
    }
    object.Done();
    ListOwnProcess(machine);
}

Json Save(const Machine& machine, const std::set<std::string>& areas)
{
    Json json = Json::object();
    for (const Area& area : kAreas)
    {
        if (areas.contains(area.key))
            json[area.key] = area.save(machine);
    }
    return json;
}

Machine FromWhole(const Json& whole)
{
    Machine machine;
    Load(whole, AllAreas(), machine);
    return machine;
}

// Calls use(path, effects) for each member "effects" of a description.
template <typename Use>
void ForEachEffects(const Json& value, const std::string& path, Use use)
{
    if (value.is_array())
    {
        for (std::size_t i = 0; i < value.size(); ++i)
            ForEachEffects(value[i], path + "[" + std::to_string(i) + "]", use);
    }
    if (!value.is_object())
        return;
    for (const auto& [name, member] : value.items())
    {
        if (IsForLater(name) && member.is_object())
            use(Below(path, name), member);
        else
            ForEachEffects(member, Below(path, name), use);
    }
}

// The areas whose descriptions can contain effects.
constexpr const char* kAreasWithEffects[] = {"libraries", "programs", "wmi"};

// Tries all effects on the machine, and the effects that these describe: an error in one would otherwise stop a
// rehearsal halfway.
void CheckEffects(const Json& description, const Machine& machine)
{
    const auto check = [&machine](const std::string& place, const Json& effects) {
        try
        {
            if (effects.contains("faults"))
                throw DescriptionError("faults: failures are planned before a run, and are no effect");
            CheckEffects(effects, machine.With(effects));
        }
        catch (const DescriptionError& error)
        {
            throw DescriptionError(place + ": " + error.what());
        }
    };
    for (const char* area : kAreasWithEffects)
    {
        if (description.contains(area))
            ForEachEffects(description[area], area, check);
    }
}

Machine Checked(const Json& whole)
{
    Machine machine = FromWhole(whole);
    CheckEffects(whole, machine);
    return machine;
}

// Calls read(), and puts the file's path before its errors.
template <typename Read>
auto InFile(const std::filesystem::path& path, Read read)
{
    try
    {
        return read();
    }
    catch (const DescriptionError& error)
    {
        throw DescriptionError(path.string() + ": " + error.what());
    }
}

Json ParseFile(const std::filesystem::path& path)
{
    std::ifstream file(path);
    if (!file || std::filesystem::is_directory(path))
        throw DescriptionError("cannot be read");
    return ParseDescription(std::string{std::istreambuf_iterator<char>(file), {}});
}

// How many files a description may be like, one after the other: more of them form a circle.
constexpr int kMostFiles = 16;

// A file's whole description, and its machine.
struct DescribedFile
{
    Json whole;
    Machine machine;
};

DescribedFile DescribedIn(const std::filesystem::path& path, int filesLeft);

// Takes `like` out of a description and reads that file; without it, the plain machine's description.
Json TakeModel(Json& description, const std::filesystem::path& folder, int filesLeft, auto inPlace)
{
    if (!description.is_object() || !description.contains("like"))
        return PlainWindows();
    const std::string like = inPlace([&] {
        if (filesLeft == 0)
            throw DescriptionError("like: too many files that are like each other");
        const std::string named = Reader{description["like"], "like"}.Text();
        if (!std::filesystem::is_regular_file(folder / named))
            throw DescriptionError("like: " + named + " cannot be read");
        return named;
    });
    description.erase("like");
    return DescribedIn(folder / like, filesLeft - 1).whole;
}

// A description of differences from the plain machine or from the file that it is like. Each file is checked by itself,
// so that an error names the file that contains it: `inPlace` adds the name of the description's own file.
DescribedFile DescribedBy(Json description, const std::filesystem::path& folder, int filesLeft, auto inPlace)
{
    Json model = TakeModel(description, folder, filesLeft, inPlace);
    return inPlace([&] {
        Json whole = Described(description, std::move(model));
        Machine machine = Checked(whole);
        return DescribedFile{std::move(whole), std::move(machine)};
    });
}

DescribedFile DescribedIn(const std::filesystem::path& path, int filesLeft)
{
    const auto inPlace = [&path](auto read) { return InFile(path, read); };
    return DescribedBy(inPlace([&] { return ParseFile(path); }), path.parent_path(), filesLeft, inPlace);
}

// The items of an area: the members of an object, the values of a registry key, the elements of a list.
std::map<std::string, Json> ItemsOf(const std::string& area, Json json)
{
    std::map<std::string, Json> items;
    if (json.is_array())
    {
        for (std::size_t i = 0; i < json.size(); ++i)
            items["#" + std::to_string(i + 1)] = std::move(json[i]);
        return items;
    }
    for (const auto& [name, value] : json.items())
    {
        if (area == "registry" && value.contains("values"))
        {
            for (const auto& [valueName, data] : value["values"].items())
                items[name + " [" + (valueName.empty() ? "(default)" : valueName) + "]"] = std::move(data);
            value.erase("values");
        }
        items[name] = std::move(value);
    }
    return items;
}

} // namespace

Json MachineSchema()
{
    Json definitions = {
        {"word", {{"type", "integer"}, {"minimum", 0}, {"maximum", 0xFFFF}}},
        {"dword", {{"type", "integer"}, {"minimum", 0}, {"maximum", 0xFFFFFFFF}}},
        {"long", {{"type", "integer"}, {"minimum", -0x80000000LL}, {"maximum", 0x7FFFFFFF}}},
        {"size", {{"type", "integer"}, {"minimum", 0}, {"maximum", 0x7FFFFFFFFFFFFFFFLL}}},
        {"effects",
         {{"type", "object"}, {"description", "A description, which is applied to the machine at that moment."}}},
    };
    Json properties = Json::object();
    for (const Area& area : kAreas)
    {
        Json schema{{"description", area.meaning}};
        schema.update(area.schema(definitions));
        properties[area.key] = std::move(schema);
        // `like` is not an area: only the reading of a file knows it.
        if (area.key == std::string_view("title"))
            properties["like"] = {{"description", "The path of another description, relative to this file."},
                                  {"type", "string"}};
    }
    return {{"$schema", "https://json-schema.org/draft/2020-12/schema"},
            {"title", "A machine description"},
            {"description", "How a simulated machine differs from a plain Windows 10 machine. See docs/machine.md."},
            {"type", "object"},
            {"additionalProperties", false},
            {"properties", std::move(properties)},
            {"$defs", std::move(definitions)}};
}

Machine::Machine() = default;
Machine::Machine(const Machine& other) = default;
Machine::Machine(Machine&& other) noexcept = default;
Machine& Machine::operator=(const Machine& other) = default;
Machine& Machine::operator=(Machine&& other) noexcept = default;
Machine::~Machine() = default;
bool Machine::operator==(const Machine& other) const = default;

Machine Machine::FromJson(const Json& description)
{
    return Checked(Described(description, PlainWindows()));
}

Machine Machine::FromFile(const std::string& path)
{
    return DescribedIn(path, kMostFiles).machine;
}

Machine Machine::FromText(std::string_view text, const std::string& folder)
{
    return DescribedBy(ParseDescription(text), folder, kMostFiles, [](auto read) { return read(); }).machine;
}

Json Machine::ToJson() const
{
    Json json = Save(*this, AllAreas());
    TakeAwayMissing(PlainWindows(), json);
    return json;
}

Machine Machine::With(const Json& effects) const
{
    const std::set<std::string> areas = AreasIn(effects);
    Json whole = Save(*this, areas);
    Merge(effects, whole, VainNull::IsFine);
    Machine changed = *this;
    Load(whole, areas, changed);
    return changed;
}

void Machine::Advance(std::uint64_t ms)
{
    clock.Advance(ms);
    services.Advance(ms);
}

std::vector<Change> Compare(const Machine& before, const Machine& after)
{
    std::vector<Change> changes;
    for (const Area& area : kAreas)
    {
        const std::string name = area.key;
        if (name == "clock" || name == "title" || name == "notes" || area.isSame(before, after))
            continue;
        const auto old = ItemsOf(name, area.save(before));
        const auto now = ItemsOf(name, area.save(after));
        for (const auto& [item, value] : old)
        {
            const auto match = now.find(item);
            if (match == now.end())
                changes.push_back({name, "removed", item, value, nullptr});
            else if (match->second != value)
                changes.push_back({name, "changed", item, value, match->second});
        }
        for (const auto& [item, value] : now)
        {
            if (!old.contains(item))
                changes.push_back({name, "added", item, nullptr, value});
        }
    }
    return changes;
}

Json ToJson(const Change& change)
{
    return {{"area", change.area},
            {"kind", change.kind},
            {"item", change.item},
            {"before", change.before},
            {"after", change.after}};
}

} // namespace winsim
