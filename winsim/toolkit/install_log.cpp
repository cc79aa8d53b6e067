// Reads the program's install log from a simulated machine.
#include "winsim/toolkit/install_log.h"

#include "winsim/base/text.h"

#include <algorithm>
#include <string_view>

namespace winsim
{

namespace
{

constexpr char kLogFile[] = "\\Kelo Systems Corp\\InstallLogs\\Toolkit\\kelo_install_log.txt";

std::string LogContent(const Machine& machine)
{
    const std::string* folder = machine.folders.Find("commonAppData");
    if (folder == nullptr)
        return {};
    const File* file = machine.files.Find(machine.files.Resolve(*folder + kLogFile, LastLink::Follow).path);
    if (file == nullptr)
        return {};
    return Utf8(CodePage::Get(machine.windows.codePage).ToUtf16(file->content));
}

} // namespace

std::vector<std::string> LogLines(const Machine& before, const Machine& after)
{
    const std::string old = LogContent(before);
    std::string added = LogContent(after);
    if (added.starts_with(old))
        added.erase(0, old.size());
    std::vector<std::string> lines;
    for (std::size_t start = 0; start < added.size();)
    {
        std::size_t end = added.find('\n', start);
        if (end == std::string::npos)
            end = added.size();
        std::string line = added.substr(start, end - start);
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        lines.push_back(std::move(line));
        start = end + 1;
    }
    return lines;
}

std::string MessageOf(const std::string& logLine)
{
    const std::size_t headerEnd = logLine.find("] ");
    return headerEnd == std::string::npos ? logLine : logLine.substr(headerEnd + 2);
}

bool BeginsWithHeader(const std::string& logLine)
{
    // In this pattern d means any digit.
    constexpr std::string_view kBegin = "dddd/dd/dd dd:dd:dd.ddd TZ";
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    const auto skipDigits = [&](std::size_t at) {
        return std::min(logLine.find_first_not_of("0123456789", at), logLine.size());
    };
    if (logLine.size() <= kBegin.size())
        return false;
    for (std::size_t i = 0; i < kBegin.size(); ++i)
    {
        if (kBegin[i] == 'd' ? !isDigit(logLine[i]) : logLine[i] != kBegin[i])
            return false;
    }
    const std::size_t zone = kBegin.size() + (logLine[kBegin.size()] == '-' ? 1 : 0);
    const std::size_t thread = skipDigits(zone) + 2;
    return thread > zone + 2 && logLine.compare(thread - 2, 2, " [") == 0 &&
           logLine.compare(skipDigits(thread), 2, "] ") == 0;
}

bool IsInstallLog(const std::string& path)
{
    return FoldCase(path).ends_with(FoldCase(kLogFile));
}

} // namespace winsim
