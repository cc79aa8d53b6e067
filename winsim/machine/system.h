// A simulated machine's Windows, clock, folders, environment and event log, and the process that runs on it.
#pragma once

#include "winsim/base/description.h"

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace winsim
{

// Windows as the program sees it.
struct WindowsInfo
{
    std::uint32_t major = 0;
    std::uint32_t minor = 0;
    std::uint32_t build = 0;
    std::uint32_t servicePack = 0;
    std::uint32_t platform = 0;
    bool isWow64 = false;             // the program is a 32-bit process on 64-bit Windows
    bool hasRedirectionTrust = false; // a process can ask Windows not to follow links that ordinary users made
    std::uint32_t codePage = 0;
    std::uint16_t uiLanguage = 0;   // of the thread's user interface, such as 0x0407
    std::uint16_t userLanguage = 0; // of the user

    std::string VersionText() const; // such as "6.1"
    bool operator==(const WindowsInfo&) const = default;
};

struct Clock
{
    std::int64_t utcMs = 0;      // milliseconds since 1970
    std::uint32_t tickCount = 0; // milliseconds since the machine started, as GetTickCount counts them
    std::uint32_t yieldMs = 0;   // how long a Sleep(0) takes
    std::uint32_t lateMs = 0;    // how much longer than asked a longer Sleep takes
    std::int32_t zoneBias = 0;   // minutes
    std::int32_t daylightBias = 0;
    bool isDaylight = false;

    void Advance(std::uint64_t ms);
    bool operator==(const Clock&) const = default;
};

// The process of the program that runs.
struct ProcessInfo
{
    std::string path; // the program's own file
    std::string currentDirectory;
    std::uint32_t processId = 0;
    std::uint32_t threadId = 0;
    std::uint32_t errorMode = 0;    // SEM_FAILCRITICALERRORS, ...
    std::uint32_t largestBlock = 0; // the largest block of memory that can be allocated, in bytes

    bool operator==(const ProcessInfo&) const = default;
};

// Texts by name: the shell's folders, or the environment variables.
class NamedTexts
{
public:
    void Load(const Reader& reader);
    Json ToJson() const;
    const std::string* Find(const std::string& name) const;
    bool operator==(const NamedTexts&) const = default;

private:
    std::map<std::string, std::pair<std::string, std::string>> m_texts; // by folded name: the name and the text
};

// One entry of the Application event log.
struct Event
{
    std::string source;
    std::uint32_t type = 0;
    std::uint32_t category = 0;
    std::uint32_t id = 0;
    std::vector<std::string> strings;

    bool operator==(const Event&) const = default;
};

struct EventLog
{
    std::vector<Event> entries;

    void Load(const Reader& reader);
    Json ToJson() const;
    bool operator==(const EventLog&) const = default;
};

} // namespace winsim
