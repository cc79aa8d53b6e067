// Makes machines from descriptions, and says how two machines differ.
#include "winsim/core/machine.h"

#include "winsim/core/plain_windows.h"

#include <filesystem>
#include <fstream>
#include <functional>
#include <set>

namespace winsim
{

namespace
{

// One area of the machine and its key in a description.
struct Area
{
    const char* key;
    void (*load)(Machine&, const Reader&);
    Json (*save)(const Machine&);
    bool (*isSame)(const Machine&, const Machine&);
};

template <auto Member>
constexpr Area MakeArea(const char* key)
{
    return {key, [](Machine& machine, const Reader& reader) { (machine.*Member).Load(reader); },
            [](const Machine& machine) { return (machine.*Member).ToJson(); },
            [](const Machine& one, const Machine& other) { return one.*Member == other.*Member; }};
}

constexpr Area kAreas[] = {
    {"title", [](Machine& machine, const Reader& reader) { machine.title = reader.Text(); },
     [](const Machine& machine) { return Json(machine.title); },
     [](const Machine& one, const Machine& other) { return one.title == other.title; }},
    MakeArea<&Machine::windows>("windows"),
    MakeArea<&Machine::clock>("clock"),
    MakeArea<&Machine::process>("process"),
    MakeArea<&Machine::folders>("folders"),
    MakeArea<&Machine::environment>("environment"),
    MakeArea<&Machine::registry>("registry"),
    MakeArea<&Machine::files>("files"),
    {"libraries", [](Machine& machine, const Reader& reader) { machine.files.LoadLibraries(reader); },
     [](const Machine& machine) { return machine.files.LibrariesToJson(); },
     [](const Machine& one, const Machine& other) { return one.files == other.files; }},
    MakeArea<&Machine::pendingMoves>("pendingMoves"),
    MakeArea<&Machine::token>("token"),
    MakeArea<&Machine::services>("services"),
    MakeArea<&Machine::processes>("processes"),
    MakeArea<&Machine::programs>("programs"),
    MakeArea<&Machine::smartCards>("smartCards"),
    MakeArea<&Machine::cng>("cng"),
    MakeArea<&Machine::wmi>("wmi"),
    MakeArea<&Machine::installer>("installer"),
    MakeArea<&Machine::events>("events"),
};

const Json& PlainWindows()
{
    static const Json plain = Json::parse(kPlainWindowsJson);
    return plain;
}

// What a program, a function or a method changes is a description of its own: its nulls are for later.
bool IsForLater(const std::string& name)
{
    return name == "effects";
}

// Puts a description onto the plain machine's: a JSON merge patch.
void Merge(const Json& description, Json& whole)
{
    for (const auto& [name, value] : description.items())
    {
        if (value.is_null())
        {
            whole.erase(name);
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
        Merge(value, member);
    }
}

// What every machine has. A description can change it but not take it away.
constexpr const char* kFixedAreas[] = {"windows", "clock", "process"};

void RequireFixed(const Json& whole)
{
    for (const std::string area : kFixedAreas)
    {
        if (!whole.contains(area))
            throw DescriptionError(area + ": cannot be taken away");
        for (const auto& [name, value] : PlainWindows()[area].items())
        {
            if (whole[area].is_object() && !whole[area].contains(name))
                throw DescriptionError(area + "." + name + ": cannot be taken away");
        }
    }
}

// Has a description take away what the plain machine has and this one lacks.
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

// The machine that differs from another one by a description.
Json Described(const Json& description, Json whole)
{
    if (!description.is_object())
        throw DescriptionError("description: not an object");
    Merge(description, whole);
    return whole;
}

Json ParseFile(const std::filesystem::path& path)
{
    std::ifstream file(path);
    if (!file)
        throw DescriptionError(path.string() + ": cannot be read");
    try
    {
        return Json::parse(file);
    }
    catch (const Json::parse_error& error)
    {
        throw DescriptionError(path.string() + ": " + error.what());
    }
}

// How many files one description may rest on: more means that they go round in a circle.
constexpr int kMostFiles = 16;

// The machine of a file, which differs from the plain machine or from the one in the file that it is like.
Json DescribedIn(const std::filesystem::path& path, int filesLeft)
{
    Json description = ParseFile(path);
    if (!description.is_object() || !description.contains("like"))
        return Described(description, PlainWindows());
    if (!description["like"].is_string())
        throw DescriptionError("like: not a text");
    if (filesLeft == 0)
        throw DescriptionError("like: too many files that are like each other");
    const std::filesystem::path model = path.parent_path() / description["like"].get<std::string>();
    description.erase("like");
    return Described(description, DescribedIn(model, filesLeft - 1));
}

// The process that a run makes is one of the running processes, whether or not a description lists it.
void ListOwnProcess(Machine& machine)
{
    const std::string& path = machine.process.path;
    if (machine.processes.Find(machine.process.processId) == nullptr)
        machine.processes.Add({machine.process.processId, path.substr(path.rfind('\\') + 1)});
}

Machine FromWhole(const Json& whole)
{
    RequireFixed(whole);
    Machine machine;
    ObjectReader object{Reader{whole, ""}};
    for (const Area& area : kAreas)
        object.With(area.key, [&](const Reader& reader) { area.load(machine, reader); });
    object.Done();
    ListOwnProcess(machine);
    return machine;
}

// The items of an area: the members of an object, the values of a registry key, the elements of a list.
std::map<std::string, Json> ItemsOf(const std::string& area, const Json& json)
{
    std::map<std::string, Json> items;
    if (json.is_array())
    {
        for (std::size_t i = 0; i < json.size(); ++i)
            items["#" + std::to_string(i + 1)] = json[i];
        return items;
    }
    for (const auto& [name, value] : json.items())
    {
        if (area != "registry")
        {
            items[name] = value;
            continue;
        }
        Json key = value;
        key.erase("values");
        items[name] = key;
        if (value.contains("values"))
        {
            for (const auto& [valueName, data] : value["values"].items())
                items[name + " [" + (valueName.empty() ? "(default)" : valueName) + "]"] = data;
        }
    }
    return items;
}

} // namespace

Machine Machine::FromJson(const Json& description)
{
    return FromWhole(Described(description, PlainWindows()));
}

Machine Machine::FromFile(const std::string& path)
{
    return FromWhole(DescribedIn(path, kMostFiles));
}

Json Machine::ToJson() const
{
    Json json = Json::object();
    for (const Area& area : kAreas)
        json[area.key] = area.save(*this);
    TakeAwayMissing(PlainWindows(), json);
    return json;
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
        if (name == "clock" || name == "title" || area.isSame(before, after))
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
