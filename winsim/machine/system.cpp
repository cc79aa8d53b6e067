// A simulated machine's Windows, clock, folders, environment, event log and process, and their JSON form.
#include "winsim/machine/system.h"

#include "winsim/base/fields.h"
#include "winsim/base/text.h"
#include "winsim/machine/areas.h"

#include <fmt/format.h>

#include <chrono>
#include <cstdio>

namespace winsim
{

namespace
{

using Milliseconds = std::chrono::milliseconds;
using UtcTime = std::chrono::sys_time<Milliseconds>;

std::string FormatUtc(std::int64_t utcMs)
{
    const UtcTime time{Milliseconds{utcMs}};
    const auto day = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date{day};
    const std::chrono::hh_mm_ss clock{time - day};
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}Z", static_cast<int>(date.year()),
                       static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), clock.hours().count(),
                       clock.minutes().count(), clock.seconds().count(), clock.subseconds().count());
}

std::int64_t ParseUtc(const Reader& reader)
{
    int year = 0;
    unsigned month = 0, day = 0, hour = 0, minute = 0, second = 0, ms = 0;
    const std::string text = reader.Text();
    std::sscanf(text.c_str(), "%4d-%2u-%2uT%2u:%2u:%2u.%3uZ", &year, &month, &day, &hour, &minute, &second, &ms);
    const std::chrono::year_month_day date{std::chrono::year{year}, std::chrono::month{month}, std::chrono::day{day}};
    const UtcTime time = std::chrono::sys_days{date} + std::chrono::hours{hour} + std::chrono::minutes{minute} +
                         std::chrono::seconds{second} + Milliseconds{ms};
    const std::int64_t utcMs = time.time_since_epoch().count();
    // A text that is not a time in this form is not the same when it is written again.
    if (FormatUtc(utcMs) != text)
        reader.Fail("not a time such as 2013-05-07T14:03:09.042Z");
    return utcMs;
}

std::uint32_t CodePageOf(const Reader& reader)
{
    const auto codePage = reader.As<std::uint32_t>();
    if (!IsCodePage(codePage))
        reader.Fail("code page " + std::to_string(codePage) + " is not known");
    return codePage;
}

void ReadVersion(const Reader& reader, WindowsInfo& windows)
{
    const std::string text = reader.Text();
    if (std::sscanf(text.c_str(), "%4u.%4u", &windows.major, &windows.minor) != 2 || windows.VersionText() != text)
        reader.Fail("not a version such as 6.1");
}

constexpr char kVersionSchema[] = R"({"type": "string", "pattern": "^(0|[1-9][0-9]{0,3})\\.(0|[1-9][0-9]{0,3})$"})";
constexpr char kUtcSchema[] =
    R"({"type": "string", "pattern": "^[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}Z$"})";

// The folders that the shell knows.
constexpr Key kFolders[] = {
    {"commonAppData", "application data of all users", R"(`"C:\\ProgramData"`)"},
    {"windows", "Windows itself", R"(`"C:\\Windows"`)"},
    {"system", "Windows' system folder", R"(`"C:\\Windows\\system32"`)"},
    {"programFiles", "installed programs", R"(`"C:\\Program Files"`)"},
};

} // namespace

template <>
struct Fields<WindowsInfo>
{
    static constexpr char kName[] = "windows";

    template <typename Visitor>
    static void Visit(Visitor& visit)
    {
        visit(
            Key{"version", "major and minor version number, such as `\"5.1\"`, `\"6.1\"` or `\"10.0\"`", "`\"10.0\"`"},
            OwnField{&ReadVersion, [](const WindowsInfo& windows) { return Json(windows.VersionText()); },
                     SchemaText{kVersionSchema}});
        visit(Key{"build", "build number", "`19045`"}, Always(&WindowsInfo::build));
        visit(Key{"servicePack", "major number of the service pack", "`0`"}, Always(&WindowsInfo::servicePack));
        visit(Key{"platform", "platform number: 2 is NT, 1 the Windows 9x family", "`2`"},
              Always(&WindowsInfo::platform));
        visit(Key{"wow64", "whether the program is a 32-bit process on 64-bit Windows", "`false`"},
              Always(&WindowsInfo::isWow64));
        visit(Key{"redirectionTrust",
                  "whether a process can refuse to follow links that ordinary users made (Windows 10 and later)",
                  "`true`"},
              Always(&WindowsInfo::hasRedirectionTrust));
        visit(Key{"codePage", "the ANSI code page, such as `1252` or `932`; `65001` is UTF-8", "`1252`"},
              Always(&WindowsInfo::codePage, OwnForm{&CodePageOf, [](std::uint32_t page) { return Json(page); },
                                                     R"({"$ref": "#/$defs/dword"})"}));
        visit(Key{"uiLanguage",
                  "the language of the user interface by Windows' number, such as `1031` for German; a number that "
                  "Windows does not use is a language without a name",
                  "`1033`"},
              Always(&WindowsInfo::uiLanguage));
        visit(Key{"userLanguage", "the user's own language by the same numbers; programs use it on Windows before 5.2",
                  "`1033`"},
              Always(&WindowsInfo::userLanguage));
    }
};

template struct AreaOfFields<WindowsInfo>;

template <>
struct Fields<Clock>
{
    static constexpr char kName[] = "clock";

    template <typename Visitor>
    static void Visit(Visitor& visit)
    {
        visit(Key{"utc", "the time when the run starts, in exactly the form of the default",
                  "`\"2013-05-07T14:03:09.042Z\"`"},
              Always(&Clock::utcMs, OwnForm{&ParseUtc, &FormatUtc, kUtcSchema}));
        visit(Key{"tickCount", "milliseconds since Windows started; wraps around after 4294967295", "`600000`"},
              Always(&Clock::tickCount));
        visit(Key{"yieldMs",
                  "how long a `Sleep(0)` takes, in milliseconds; with `0`, time stands still in a loop of such calls, "
                  "and the run is ended after 100,000 of them",
                  "`1`"},
              Always(&Clock::yieldMs));
        visit(Key{"lateMs", "how much longer than asked a longer `Sleep` takes, in milliseconds: on a busy Windows",
                  "`0`"},
              Always(&Clock::lateMs));
        visit(Key{"zoneBias", "minutes to add to local standard time to get UTC; may be negative", "`300`"},
              Always(&Clock::zoneBias));
        visit(Key{"daylightBias",
                  "minutes to add to that during daylight saving time, usually negative; `0` if the zone has none",
                  "`-60`"},
              Always(&Clock::daylightBias));
        visit(Key{"daylight", "whether daylight saving time is in force", "`true`"}, Always(&Clock::isDaylight));
    }
};

template struct AreaOfFields<Clock>;

template <>
struct Fields<ProcessInfo>
{
    static constexpr char kName[] = "process";

    template <typename Visitor>
    static void Visit(Visitor& visit)
    {
        visit(Key{"path", "full path of the program's own file", "where the program is installed"},
              Always(&ProcessInfo::path));
        visit(Key{"currentDirectory", "the current directory, from which relative paths are resolved",
                  R"(`"C:\\Windows\\system32"`)"},
              Always(&ProcessInfo::currentDirectory));
        visit(Key{"processId", "identifier of the process", "`4300`"}, Always(&ProcessInfo::processId));
        visit(Key{"threadId", "identifier of its only thread", "`3120`"}, Always(&ProcessInfo::threadId));
        visit(Key{"errorMode", "error mode (a mask), as `SetErrorMode` takes it", "`0`"},
              Always(&ProcessInfo::errorMode));
        visit(Key{"largestBlock",
                  "size in bytes of the largest block of memory that the program can get; asking for more throws "
                  "`std::bad_alloc`",
                  "`1073741824`"},
              Always(&ProcessInfo::largestBlock));
    }
};

template struct AreaOfFields<ProcessInfo>;

template <>
struct Fields<Event>
{
    static constexpr char kName[] = "event";

    template <typename Visitor>
    static void Visit(Visitor& visit)
    {
        visit(Key{"source", "event source", "`\"\"`"}, Always(&Event::source));
        visit(Key{"type", "1 error, 2 warning, 4 information, 0 success", "`0`"}, Always(&Event::type));
        visit(Key{"category", "category number", "`0`"}, Always(&Event::category));
        visit(Key{"id", "event identifier", "`0`"}, Always(&Event::id));
        visit(Key{"strings", "texts that are inserted into the event's message: a list", "none"},
              Always(&Event::strings));
    }
};

std::string WindowsInfo::VersionText() const
{
    return fmt::format("{}.{}", major, minor);
}

void Clock::Advance(std::uint64_t ms)
{
    utcMs += static_cast<std::int64_t>(ms);
    tickCount += static_cast<std::uint32_t>(ms);
}

void NamedTexts::Load(const Reader& reader)
{
    reader.Members([&](const std::string& name, const Reader& text) { m_texts[FoldCase(name)] = {name, text.Text()}; });
}

Json NamedTexts::ToJson() const
{
    Json json = Json::object();
    for (const auto& [folded, named] : m_texts)
        json[named.first] = named.second;
    return json;
}

const std::string* NamedTexts::Find(const std::string& name) const
{
    const auto found = m_texts.find(FoldCase(name));
    return found == m_texts.end() ? nullptr : &found->second.second;
}

Json SchemaOfFolders(Json&)
{
    Json schema{{"type", "object"}, {"additionalProperties", false}, {"properties", Json::object()}};
    for (const Key& folder : kFolders)
        schema["properties"][folder.name] = {{"description", DescriptionOf(folder)}, {"type", {"string", "null"}}};
    return schema;
}

Json SchemaOfEnvironment(Json&)
{
    return {{"type", "object"}, {"additionalProperties", {{"type", {"string", "null"}}}}};
}

void EventLog::Load(const Reader& reader)
{
    List<Event>().Read(reader, entries);
}

Json EventLog::ToJson() const
{
    return List<Event>().Save(entries);
}

Json SchemaOfEvents(Json& definitions)
{
    return List<Event>().Schema(definitions);
}

} // namespace winsim
