// Tells of changes area by area.
#include "report/changes_view.h"

#include "report/access.h"
#include "winsim/core/install_log.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>

namespace report
{

namespace
{

using winsim::Change;
using winsim::Json;

constexpr std::size_t kItemIndent = 4;
constexpr std::size_t kVerbWidth = 12;
constexpr std::size_t kDetailIndent = kItemIndent + kVerbWidth;
constexpr std::size_t kMostOfText = 120; // characters of a value
constexpr std::size_t kMostBytes = 16;

struct AreaName
{
    const char* area;
    const char* title;
    const char* one;
    const char* many;
};

constexpr AreaName kAreaNames[] = {
    {"registry", "Registry", "in the registry", "in the registry"},
    {"files", "Files and folders", "file or folder", "files and folders"},
    {"pendingMoves", "At the next start of Windows", "at the next start", "at the next start"},
    {"services", "Services", "service", "services"},
    {"processes", "Processes", "process", "processes"},
    {"programs", "Programs", "program", "programs"},
    {"smartCards", "Smart cards", "of the smart cards", "of the smart cards"},
    {"cng", "Cryptography (CNG)", "of the cryptography", "of the cryptography"},
    {"wmi", "Automatic provisioning and WMI", "in WMI", "in WMI"},
    {"installer", "Install session", "of the install session", "of the install session"},
    {"events", "Event log", "event", "events"},
    {"token", "Token", "of the token", "of the token"},
};

AreaName NamesOf(const std::string& area)
{
    for (const AreaName& names : kAreaNames)
    {
        if (area == names.area)
            return names;
    }
    return {area.c_str(), area.c_str(), "elsewhere", "elsewhere"};
}

bool IsOfFile(const Change& change)
{
    return change.area == "files" || change.area == "libraries" || change.area == "programs";
}

// The same changes, but that an element of a list which only has another number now has not changed.
std::vector<Change> WithoutShifts(const std::vector<Change>& changes)
{
    std::vector<Change> kept;
    for (const Change& change : changes)
    {
        if (!change.item.starts_with('#') || change.kind != "changed")
        {
            kept.push_back(change);
            continue;
        }
        kept.push_back({change.area, "removed", change.item, change.before, nullptr});
        kept.push_back({change.area, "added", change.item, nullptr, change.after});
    }
    const auto isPair = [](const Change& gone, const Change& come) {
        return gone.item.starts_with('#') && come.item.starts_with('#') && gone.kind == "removed" &&
               come.kind == "added" && gone.area == come.area && gone.before == come.after;
    };
    for (std::size_t i = 0; i < kept.size(); ++i)
    {
        const auto again =
            std::find_if(kept.begin(), kept.end(), [&](const Change& other) { return isPair(kept[i], other); });
        if (again == kept.end())
            continue;
        // Neither is a change any more.
        again->kind.clear();
        kept[i].kind.clear();
    }
    std::erase_if(kept, [](const Change& change) { return change.kind.empty(); });
    return kept;
}

// The same changes, but that what a file is as a library or a program belongs to the file's own change, or is one.
std::vector<Change> Merged(const std::vector<Change>& changes)
{
    std::vector<Change> merged;
    for (const Change& change : WithoutShifts(changes))
    {
        const auto file = std::find_if(merged.begin(), merged.end(), [&](const Change& other) {
            return other.area == "files" && IsOfFile(change) && other.item == change.item;
        });
        if (file == merged.end())
        {
            const auto isOfArea = [&](const Change& other) { return IsOfFile(change) && other.area == "files"; };
            const auto last = std::find_if(merged.rbegin(), merged.rend(), isOfArea);
            const auto added = merged.insert(last != merged.rend() ? last.base() : merged.end(), change);
            if (IsOfFile(change))
                added->area = "files";
            continue;
        }
        for (const auto& [whole, part] : {std::pair(&file->before, &change.before), {&file->after, &change.after}})
        {
            if (!part->is_null() && whole->is_object())
                (*whole)[change.area == "libraries" ? "library" : "program"] = *part;
        }
    }
    return merged;
}

std::string Cut(const std::string& text, bool isWhole)
{
    if (isWhole || LengthOf(text) <= kMostOfText)
        return text;
    return Fit(text, kMostOfText) + fmt::format(" ({} characters)", LengthOf(text));
}

std::string DescribeBytes(const std::string& hex, bool isWhole)
{
    const std::size_t count = hex.size() / 2;
    std::string text = Counted(count, "byte", "bytes") + (count != 0 ? ":" : "");
    for (std::size_t i = 0; i < count && (isWhole || i < kMostBytes); ++i)
        text += " " + hex.substr(2 * i, 2);
    return !isWhole && count > kMostBytes ? text + " ..." : text;
}

std::string DescribeNumber(const Json& number)
{
    const auto value = number.get<std::int64_t>();
    return value > 9 ? fmt::format("{} ({:#x})", value, value) : std::to_string(value);
}

// A text of a registry value; one that holds several has zeros between them.
std::string DescribeText(std::string text, bool isWhole)
{
    while (text.ends_with('\0'))
        text.pop_back();
    std::string quoted = "\"";
    for (const char c : text)
        quoted += c == '\0' ? std::string("\", \"") : std::string(1, c);
    return Cut(quoted + "\"", isWhole);
}

// A registry value, as descriptions have it.
std::string DescribeValue(const Json& value, bool isWhole)
{
    if (value.is_number())
        return DescribeNumber(value);
    if (value.is_string())
        return DescribeText(value.get<std::string>(), isWhole);
    if (!value.is_object() || !value.contains("type"))
        return Cut(value.dump(), isWhole);
    const Json& type = value["type"];
    const std::string name = type.is_string() ? type.get<std::string>() : fmt::format("type {}", type.dump());
    if (value.contains("text"))
        return DescribeText(value["text"].get<std::string>(), isWhole) + " (" + name + ")";
    if (value.contains("number"))
        return DescribeNumber(value["number"]) + " (" + name + ")";
    return DescribeBytes(value.value("hex", ""), isWhole) + " (" + name + ")";
}

// Any other value in a few words.
std::string Brief(const Json& value, bool isWhole)
{
    if (value.is_null())
        return "none";
    return Cut(value.is_string() ? value.get<std::string>() : value.dump(), isWhole);
}

// Whether all elements of two lists are texts.
bool AreTextLists(const Json& one, const Json& other)
{
    const auto isTextList = [](const Json& list) {
        return list.is_array() && std::all_of(list.begin(), list.end(), [](const Json& e) { return e.is_string(); });
    };
    return isTextList(one) && isTextList(other);
}

// The elements of a list that another one lacks, with a sign before each.
std::string Lacking(const Json& list, const Json& other, const char* sign)
{
    std::string texts;
    for (const Json& element : list)
    {
        if (std::find(other.begin(), other.end(), element) == other.end())
            texts += (texts.empty() ? "" : ", ") + (sign + element.get<std::string>());
    }
    return texts;
}

std::string DescribeDifference(const Json& before, const Json& after, bool isWhole)
{
    if (!AreTextLists(before, after))
        return Brief(before, isWhole) + " -> " + Brief(after, isWhole);
    const std::string less = Lacking(before, after, "-");
    const std::string more = Lacking(after, before, "+");
    if (less.empty() && more.empty())
        return Brief(before, isWhole) + " -> " + Brief(after, isWhole);
    return less + (less.empty() || more.empty() ? "" : ", ") + more;
}

// Where two objects differ, member by member: "providers: -A, +B".
std::vector<std::string> Differences(const Json& before, const Json& after, bool isWhole, const std::string& path = {})
{
    if (!before.is_object() || !after.is_object())
        return {(path.empty() ? "" : path + ": ") + DescribeDifference(before, after, isWhole)};
    std::vector<std::string> lines;
    Json all = before;
    all.update(after);
    for (const auto& [name, value] : all.items())
    {
        const Json old = before.value(name, Json());
        const Json now = after.value(name, Json());
        if (old == now)
            continue;
        for (std::string& line : Differences(old, now, isWhole, path.empty() ? name : path + "." + name))
            lines.push_back(std::move(line));
    }
    return lines;
}

// Writes the changes of a machine.
class ChangesWriter
{
public:
    ChangesWriter(const Style& style, bool isWhole) : m_style(style), m_isWhole(isWhole) {}

    std::string Write(const std::vector<Change>& changes)
    {
        std::string area;
        std::vector<Change> ofArea;
        for (const Change& change : changes)
        {
            if (change.area != area)
                WriteArea(ofArea);
            area = change.area;
            ofArea.push_back(change);
        }
        WriteArea(ofArea);
        return std::move(m_text);
    }

private:
    void WriteArea(std::vector<Change>& changes)
    {
        if (changes.empty())
            return;
        const std::string area = changes.front().area;
        m_text += "  " + Bold(m_style, NamesOf(area).title) + "\n";
        if (area == "registry")
            WriteRegistry(changes);
        else if (area == "files")
            WriteFiles(changes);
        else
            for (const Change& change : changes)
                WriteOne(change);
        changes.clear();
    }

    static bool HasName(const Change& change)
    {
        return (change.kind == "added" ? change.after : change.before).contains("name");
    }

    void WriteOne(const Change& change)
    {
        if (change.area == "services")
            WriteService(change);
        else if (change.area == "pendingMoves")
            WriteMove(change);
        else if (change.area == "processes" && change.item.starts_with('#') && HasName(change))
            WriteProcess(change);
        else if (change.area == "events" && change.kind == "added")
            WriteEvent(change.after);
        else if (change.area == "cng" && change.item == "contextFunctions" && change.kind == "changed")
            WriteContextFunctions(change);
        else if (change.area == "cng" && change.item == "providers" && change.kind == "changed")
            WriteProviders(change);
        else
            WriteOther(change);
    }

    // A row: a verb, and text after it.
    void Row(const std::string& verb, const std::string& text)
    {
        m_text += std::string(kItemIndent, ' ') + Fit(verb, kVerbWidth) +
                  Wrap(m_style, text, kDetailIndent, kDetailIndent + 2) + "\n";
    }

    void Detail(const std::string& text)
    {
        m_text += std::string(kDetailIndent, ' ') + Wrap(m_style, text, kDetailIndent, kDetailIndent + 2) + "\n";
    }

    // ---- Registry

    static std::string KeyOf(const std::string& item) { return item.substr(0, item.find(" [")); }

    static bool IsValue(const Change& change) { return change.item.ends_with(']') && ValueOf(change.item) != ""; }

    static std::string ValueOf(const std::string& item)
    {
        const std::size_t begin = item.find(" [");
        return begin == std::string::npos ? "" : item.substr(begin + 2, item.size() - begin - 3);
    }

    void WriteRegistry(const std::vector<Change>& changes)
    {
        std::vector<std::string> keys;
        for (const Change& change : changes)
        {
            if (std::find(keys.begin(), keys.end(), KeyOf(change.item)) == keys.end())
                keys.push_back(KeyOf(change.item));
        }
        for (const std::string& key : keys)
            WriteKey(key, changes);
    }

    void WriteKey(const std::string& key, const std::vector<Change>& changes)
    {
        const auto own = std::find_if(changes.begin(), changes.end(),
                                      [&](const Change& change) { return change.item == key && !IsValue(change); });
        std::string title = key;
        if (own != changes.end() && own->kind != "changed")
            title += own->kind == "added" ? "  (new key)" : "  (key removed)";
        m_text += std::string(kItemIndent, ' ') + Wrap(m_style, title, kItemIndent, kItemIndent + 2) + "\n";
        WriteValues(key, changes);
        if (own != changes.end())
            WriteSecurity(own->before, own->after, Secured::Key);
    }

    void WriteValues(const std::string& key, const std::vector<Change>& changes)
    {
        std::string removed;
        for (const Change& change : changes)
        {
            if (!IsValue(change) || KeyOf(change.item) != key)
                continue;
            const std::string name = ValueOf(change.item);
            if (change.kind == "removed" && !m_isWhole)
                removed += (removed.empty() ? "" : ", ") + name;
            else if (change.kind == "removed")
                SubRow("removed", name + " (was " + DescribeValue(change.before, m_isWhole) + ")");
            else if (change.kind == "added")
                SubRow("added", name + " = " + DescribeValue(change.after, m_isWhole));
            else
                SubRow("changed", name + ": " + DescribeValue(change.before, m_isWhole) + " -> " +
                                      DescribeValue(change.after, m_isWhole));
        }
        if (!removed.empty())
            SubRow("removed", removed);
    }

    // A row of something that is named above. Further lines of it are indented by so much more.
    void SubRow(const std::string& verb, const std::string& text, std::size_t indent = 0)
    {
        const std::size_t column = kItemIndent + 2 + kVerbWidth;
        m_text += std::string(kItemIndent + 2, ' ') + Fit(verb, kVerbWidth) +
                  Wrap(m_style, text, column, column + indent) + "\n";
    }

    // ---- Owners and access lists

    void WriteSecurity(const Json& before, const Json& after, Secured secured)
    {
        const auto member = [](const Json& object, const char* name) {
            return object.is_object() ? object.value(name, Json()) : Json();
        };
        if (after.is_null())
            return;
        const Json owner = member(after, "owner");
        if (owner != member(before, "owner") && owner.is_string() && (m_isWhole || !before.is_null()))
        {
            const Json was = member(before, "owner");
            SubRow("owner", NameOfTrustee(owner.get<std::string>()) +
                                (was.is_string() ? " (was " + NameOfTrustee(was.get<std::string>()) + ")" : ""));
        }
        const Json was = member(before, "access");
        const Json list = member(after, "access");
        if (list == was)
            return;
        if (!was.is_null())
            WriteList("access was", was, secured);
        WriteList(was.is_null() ? "access" : "access now", list, secured);
        if (member(after, "protected") == true)
            SubRow("", "inherits nothing");
    }

    void WriteList(const char* title, const Json& list, Secured secured)
    {
        if (list.is_null())
            return SubRow(title, "no list of its own");
        std::string verb = title;
        const auto rows = RowsOfList(list, secured);
        std::vector<std::size_t> widths(3, 0);
        for (const auto& row : rows)
        {
            for (std::size_t i = 0; i < widths.size(); ++i)
                widths[i] = std::max(widths[i], LengthOf(row[i]));
        }
        for (const auto& row : rows)
        {
            std::string text;
            for (std::size_t i = 0; i < row.size(); ++i)
                text += i < widths.size() ? Fit(row[i], widths[i]) + "  " : row[i];
            while (text.ends_with(' '))
                text.pop_back();
            SubRow(verb, text, widths[0] + widths[1] + 4);
            verb.clear();
        }
        if (rows.empty())
            SubRow(verb, "empty: nobody has any right");
    }

    // ---- Files

    static bool IsFolder(const Json& file) { return file.is_object() && file.value("directory", false); }

    static std::string DescribeFile(const Json& file)
    {
        if (!file.is_object())
            return "";
        if (file.contains("link"))
            return "  (a link to " + file["link"].get<std::string>() + ")";
        if (file.contains("library") || file.contains("exports"))
            return "  (a library)";
        if (file.contains("program"))
            return "  (a program)";
        if (file.contains("text"))
            return "  (" + Counted(file["text"].get<std::string>().size(), "byte", "bytes") + ")";
        if (file.contains("size"))
            return "  (" + Counted(file["size"].get<std::size_t>(), "byte", "bytes") + ")";
        return "";
    }

    void WriteFiles(std::vector<Change>& changes)
    {
        WriteMoved(changes);
        for (const char* kind : {"added", "changed", "removed"})
        {
            for (const Change& change : changes)
            {
                if (change.kind == kind)
                    WriteFile(change);
            }
        }
    }

    // A file that went and one like it that came is one that was moved.
    void WriteMoved(std::vector<Change>& changes)
    {
        for (std::size_t i = 0; i < changes.size(); ++i)
        {
            const auto came = std::find_if(changes.begin(), changes.end(), [&](const Change& other) {
                return changes[i].kind == "removed" && other.kind == "added" && !IsFolder(other.after) &&
                       !other.after.empty() && other.after == changes[i].before;
            });
            if (came == changes.end())
                continue;
            Row("moved", changes[i].item + " -> " + came->item);
            const std::string gone = changes[i].item;
            const std::string there = came->item;
            std::erase_if(changes, [&](const Change& one) { return one.item == gone || one.item == there; });
            i = static_cast<std::size_t>(-1);
        }
    }

    void WriteFile(const Change& change)
    {
        const Json& file = change.kind == "removed" ? change.before : change.after;
        const bool isLog = winsim::IsInstallLog(change.item);
        const char* const noun = IsFolder(file) ? "folder" : "file";
        if (change.kind == "added")
            Row(std::string("new ") + noun, change.item + (isLog ? "  (the log)" : DescribeFile(file)));
        else if (change.kind == "removed")
            Row("deleted", change.item + DescribeFile(file));
        else
            Row(isLog ? "written" : "changed", change.item + (isLog ? "  (the log)" : ""));
        if (change.kind == "changed" && !isLog)
            WriteFileDifferences(change);
        if (change.kind != "removed")
            WriteSecurity(change.before, change.after, IsFolder(file) ? Secured::Folder : Secured::File);
    }

    void WriteFileDifferences(const Change& change)
    {
        Json before = change.before;
        Json after = change.after;
        for (Json* file : {&before, &after})
        {
            for (const char* told : {"access", "owner", "protected"})
                file->erase(told);
        }
        for (const std::string& line : Differences(before, after, m_isWhole))
            Detail(line);
    }

    void WriteMove(const Change& change)
    {
        const Json& move = change.after.is_null() ? change.before : change.after;
        const std::string to = move.value("to", "");
        const std::string what = move.value("from", "") + (to.empty() ? "" : " -> " + to);
        const char* const verb = to.empty() ? "delete" : "move";
        if (change.kind == "added")
            Row(verb, what);
        else
            Row("given up", fmt::format("{} {}", verb, what));
    }

    void WriteProcess(const Change& change)
    {
        const Json& process = change.kind == "added" ? change.after : change.before;
        const std::string id = process.contains("id") ? fmt::format(" ({})", process["id"].dump()) : "";
        Row(change.kind == "added" ? "started" : "ended", process["name"].get<std::string>() + id);
    }

    // ---- Services

    void WriteService(const Change& change)
    {
        if (change.kind == "changed")
            return WriteServiceDifferences(change);
        const Json& service = change.kind == "added" ? change.after : change.before;
        const std::string state = service.value("state", "stopped");
        if (change.kind == "removed")
            return Row("removed", change.item + " (it was " + state + ")");
        Row("new", change.item + ": starts " + StartOf(service) + ", is " + state);
        WriteServiceMembers(service);
    }

    static std::string StartOf(const Json& service)
    {
        const std::string start = service.value("start", "demand");
        return start == "auto" ? "automatically" : start == "demand" ? "on demand" : "\"" + start + "\"";
    }

    void WriteServiceMembers(const Json& service)
    {
        for (const auto& [name, value] : service.items())
        {
            if (name == "state" || name == "start" || (!m_isWhole && IsOfRehearsal(name)))
                continue;
            std::string text;
            if (value.is_array())
            {
                for (const Json& element : value)
                    text += (text.empty() ? "" : ", ") + Brief(element, m_isWhole);
            }
            else
                text = Brief(value, m_isWhole);
            Detail(WordsOf(name) + ": " + text);
        }
    }

    // What says how a described service behaves later.
    static bool IsOfRehearsal(const std::string& name)
    {
        constexpr std::string_view kNames[] = {"onStart", "onStop", "states", "checkPoint", "waitHint", "processId"};
        return std::find(std::begin(kNames), std::end(kNames), name) != std::end(kNames);
    }

    static std::string WordsOf(const std::string& member)
    {
        constexpr std::pair<const char*, const char*> kWords[] = {
            {"binaryPath", "program"},       {"loadOrderGroup", "group"},     {"dependencies", "depends on"},
            {"account", "account"},          {"displayName", "shown as"},     {"description", "described as"},
            {"errorControl", "on an error"}, {"controlsAccepted", "controls"}};
        for (const auto& [name, words] : kWords)
        {
            if (member == name)
                return words;
        }
        return member;
    }

    void WriteServiceDifferences(const Change& change)
    {
        std::size_t hidden = 0;
        std::vector<std::string> lines;
        Json all = change.before;
        all.update(change.after);
        for (const auto& [name, value] : all.items())
        {
            const Json before = change.before.value(name, Json());
            const Json after = change.after.value(name, Json());
            if (before == after)
                continue;
            if (!m_isWhole && IsOfRehearsal(name))
                ++hidden;
            else
                lines.push_back(WordsOf(name) + ": " + DescribeDifference(before, after, m_isWhole));
        }
        if (lines.empty() && hidden != 0)
            lines.emplace_back("what it does later");
        Row("changed", change.item + ", " + lines.front());
        for (std::size_t i = 1; i < lines.size(); ++i)
            Detail(lines[i]);
    }

    // ---- The rest

    void WriteEvent(const Json& event)
    {
        const auto type = event.value("type", 0);
        std::string text = fmt::format("event {} of \"{}\"", event.value("id", 0), event.value("source", ""));
        for (const Json& part : event.value("strings", Json::array()))
            text += ": " + Brief(part, m_isWhole);
        Row(type == 1 ? "error" : type == 2 ? "warning" : "entry", text);
    }

    void WriteContextFunctions(const Change& change)
    {
        const auto nameOf = [](const Json& function) {
            return function.value("function", "") + " in the context \"" + function.value("context", "") + "\"";
        };
        const auto find = [&](const Json& list, const Json& function) {
            for (const Json& one : list)
            {
                if (nameOf(one) == nameOf(function))
                    return one.value("providers", Json::array());
            }
            return Json::array();
        };
        Json all = change.before;
        for (const Json& function : change.after)
            all.push_back(function);
        std::vector<std::string> told;
        for (const Json& function : all)
        {
            const Json before = find(change.before, function);
            const Json after = find(change.after, function);
            const std::string name = nameOf(function);
            if (before == after || std::find(told.begin(), told.end(), name) != told.end())
                continue;
            told.push_back(name);
            Row("providers", name + ": " + DescribeDifference(before, after, m_isWhole));
        }
    }

    void WriteProviders(const Change& change)
    {
        const auto image = [](const Json& provider) {
            const std::string name = provider.value("userMode", Json::object()).value("image", "");
            return name.empty() ? "" : "  (" + name + ")";
        };
        for (const auto& [name, provider] : change.after.items())
        {
            if (!change.before.contains(name))
                Row("registered", name + image(provider));
            else if (change.before[name] != provider)
                Row("changed",
                    name + "  " + Brief(change.before[name], m_isWhole) + " -> " + Brief(provider, m_isWhole));
        }
        for (const auto& [name, provider] : change.before.items())
        {
            if (!change.after.contains(name))
                Row("removed", name + image(provider));
        }
    }

    void WriteOther(const Change& change)
    {
        if (change.kind == "changed")
        {
            for (const std::string& line : Differences(change.before, change.after, m_isWhole))
                Row("changed", change.item + ": " + line);
            return;
        }
        const Json& value = change.kind == "added" ? change.after : change.before;
        Row(change.kind, change.item + (value.is_object() && value.empty() ? "" : ": " + Brief(value, m_isWhole)));
    }

    Style m_style;
    bool m_isWhole;
    std::string m_text;
};

} // namespace

std::string CountChanges(const std::vector<Change>& changes)
{
    const std::vector<Change> merged = Merged(changes);
    if (merged.empty())
        return "none";
    std::string text = std::to_string(merged.size()) + ":";
    std::vector<std::string> told;
    for (const Change& change : merged)
    {
        if (std::find(told.begin(), told.end(), change.area) != told.end())
            continue;
        const auto count = static_cast<std::size_t>(std::count_if(
            merged.begin(), merged.end(), [&](const Change& other) { return other.area == change.area; }));
        const AreaName names = NamesOf(change.area);
        text += (told.empty() ? " " : ", ") + Counted(count, names.one, names.many);
        told.push_back(change.area);
    }
    return text;
}

std::string ShowChanges(const Style& style, const std::vector<Change>& changes, bool withEverything)
{
    const std::string title = Bold(style, "Changes on the machine");
    if (changes.empty())
        return title + ": none\n";
    return title + "\n" + ChangesWriter{style, withEverything}.Write(Merged(changes));
}

} // namespace report
