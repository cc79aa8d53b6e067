// Measurements inside a simulated process: many of the program's log lines, and many bare ones.
#include "bench/log_line.h"
#include "log/install_log.h"

#include <ctime>
#include <share.h>
#include <string>
#include <vector>
#include <windows.h>

namespace
{

// Processor time, which does not include other programs.
long long ThreadNanoseconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return now.tv_sec * 1'000'000'000LL + now.tv_nsec;
}

template <typename WriteLine>
std::string NanosecondsFor(int lines, WriteLine writeLine)
{
    const long long begin = ThreadNanoseconds();
    for (int i = 0; i < lines; ++i)
        writeLine(i);
    return std::to_string(ThreadNanoseconds() - begin);
}

std::string LogLines(int lines)
{
    InstallLog log{"bench.txt"};
    return NanosecondsFor(lines, [&](int i) { WriteLog(log, "command line argv[%d]: %s", i, kLineArgument); });
}

std::string BareLines(int lines)
{
    std::FILE* file = _fsopen("C:\\ProgramData\\Kelo Systems Corp\\InstallLogs\\Toolkit\\bench.txt", "a", _SH_DENYNO);
    const std::string result = NanosecondsFor(lines, [&](int i) { WriteBareLine(file, i); });
    std::fclose(file);
    return result;
}

} // namespace

// Calls: "LogLines" and "BareLines" with their number, giving nanoseconds, and "Nothing".
extern "C" bool WinsimTestCall(const std::string& name, const std::vector<std::string>& arguments, std::string& result)
{
    if (name == "LogLines")
        result = LogLines(std::stoi(arguments.at(0)));
    else if (name == "BareLines")
        result = BareLines(std::stoi(arguments.at(0)));
    else if (name != "Nothing")
        return false;
    return true;
}
