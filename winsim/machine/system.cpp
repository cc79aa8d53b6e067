// Keeps what a simulated machine is, and its JSON form.
#include "winsim/machine/system.h"

#include "winsim/base/text.h"

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
    // A time that is written in another form, or is none, comes back as another text.
    if (FormatUtc(utcMs) != text)
        reader.Fail("not a time such as 2013-05-07T14:03:09.042Z");
    return utcMs;
}

} // namespace

void WindowsInfo::Load(const Reader& reader)
{
    ObjectReader object{reader};
    object.With("version", [&](const Reader& version) {
        const std::string text = version.Text();
        if (std::sscanf(text.c_str(), "%4u.%4u", &major, &minor) != 2 || VersionText() != text)
            version.Fail("not a version such as 6.1");
    });
    object.Read("build", build);
    object.Read("servicePack", servicePack);
    object.Read("platform", platform);
    object.Read("wow64", isWow64);
    object.Read("redirectionTrust", hasRedirectionTrust);
    object.With("codePage", [&](const Reader& page) {
        codePage = page.As<std::uint32_t>();
        try
        {
            CodePage::Get(codePage);
        }
        catch (const std::invalid_argument& error)
        {
            page.Fail(error.what());
        }
    });
    object.Read("uiLanguage", uiLanguage);
    object.Read("userLanguage", userLanguage);
    object.Done();
}

std::string WindowsInfo::VersionText() const
{
    return fmt::format("{}.{}", major, minor);
}

Json WindowsInfo::ToJson() const
{
    return {{"version", VersionText()}, {"build", build},           {"servicePack", servicePack},
            {"platform", platform},     {"wow64", isWow64},         {"redirectionTrust", hasRedirectionTrust},
            {"codePage", codePage},     {"uiLanguage", uiLanguage}, {"userLanguage", userLanguage}};
}

void Clock::Load(const Reader& reader)
{
    ObjectReader object{reader};
    object.With("utc", [&](const Reader& time) { utcMs = ParseUtc(time); });
    object.Read("tickCount", tickCount);
    object.Read("yieldMs", yieldMs);
    object.Read("zoneBias", zoneBias);
    object.Read("daylightBias", daylightBias);
    object.Read("daylight", isDaylight);
    object.Done();
}

Json Clock::ToJson() const
{
    return {{"utc", FormatUtc(utcMs)}, {"tickCount", tickCount},       {"yieldMs", yieldMs},
            {"zoneBias", zoneBias},    {"daylightBias", daylightBias}, {"daylight", isDaylight}};
}

void Clock::Advance(std::uint64_t ms)
{
    utcMs += static_cast<std::int64_t>(ms);
    tickCount += static_cast<std::uint32_t>(ms);
}

void ProcessInfo::Load(const Reader& reader)
{
    ObjectReader object{reader};
    object.Read("path", path);
    object.Read("currentDirectory", currentDirectory);
    object.Read("processId", processId);
    object.Read("threadId", threadId);
    object.Read("errorMode", errorMode);
    object.Read("largestBlock", largestBlock);
    object.Done();
}

Json ProcessInfo::ToJson() const
{
    return {{"path", path},           {"currentDirectory", currentDirectory},
            {"processId", processId}, {"threadId", threadId},
            {"errorMode", errorMode}, {"largestBlock", largestBlock}};
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

void EventLog::Load(const Reader& reader)
{
    entries.clear();
    reader.Elements([&](const Reader& element) {
        Event event;
        ObjectReader object{element};
        object.Read("source", event.source);
        object.Read("type", event.type);
        object.Read("category", event.category);
        object.Read("id", event.id);
        object.With("strings", [&](const Reader& strings) {
            strings.Elements([&](const Reader& text) { event.strings.push_back(text.Text()); });
        });
        object.Done();
        entries.push_back(std::move(event));
    });
}

Json EventLog::ToJson() const
{
    Json json = Json::array();
    for (const Event& event : entries)
        json.push_back({{"source", event.source},
                        {"type", event.type},
                        {"category", event.category},
                        {"id", event.id},
                        {"strings", event.strings}});
    return json;
}

} // namespace winsim
