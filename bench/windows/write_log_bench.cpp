// Measures, on Windows' own files, the log line, its floor, and how much of a line's time its one expensive query
// takes. Prints rows for the table of the benchmarks, in the format of kelo-bench.
#include "bench/log_line.h"
#include "log/install_log.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>
#include <windows.h>

#include <share.h>
#include <shlobj.h>

namespace
{

constexpr char kProgramFile[] = "kelo_bench_log.txt";
constexpr char kFloorFile[] = "kelo_bench_floor.txt";
constexpr int kRounds = 40;
constexpr int kLinesPerRound = 250;

double Microseconds()
{
    LARGE_INTEGER now{};
    LARGE_INTEGER perSecond{};
    QueryPerformanceCounter(&now);
    QueryPerformanceFrequency(&perSecond);
    return static_cast<double>(now.QuadPart) * 1e6 / static_cast<double>(perSecond.QuadPart);
}

template <typename WriteLine>
double TimeOfLine(WriteLine writeLine)
{
    const double begin = Microseconds();
    for (int i = 0; i < kLinesPerRound; ++i)
        writeLine(i);
    return (Microseconds() - begin) / kLinesPerRound;
}

double Median(std::vector<double> times)
{
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return *middle;
}

std::string LogFolder()
{
    char appData[MAX_PATH] = {};
    SHGetFolderPathA(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, appData);
    return std::string(appData) + "\\Kelo Systems Corp\\InstallLogs\\Toolkit\\";
}

} // namespace

int main()
{
    const std::string floorPath = LogFolder() + kFloorFile;
    const std::string programPath = LogFolder() + kProgramFile;
    std::vector<double> program;
    std::vector<double> floor;
    std::vector<double> zone;
    {
        InstallLog log{kProgramFile};
        std::FILE* file = _fsopen(floorPath.c_str(), "a", _SH_DENYNO);
        if (file == nullptr)
            return 1;
        for (int round = 0; round < kRounds; ++round)
        {
            program.push_back(TimeOfLine([&](int i) { WriteLog(log, "command line argv[%d]: %s", i, kLineArgument); }));
            floor.push_back(TimeOfLine([&](int i) { WriteBareLine(file, i); }));
            zone.push_back(TimeOfLine([](int) {
                TIME_ZONE_INFORMATION information{};
                GetTimeZoneInformation(&information);
            }));
        }
        std::fclose(file);
    }
    DeleteFileA(programPath.c_str());
    DeleteFileA(floorPath.c_str());

    const double line = Median(program);
    const double bare = Median(floor);
    std::printf("a log line, under Wine\tsnprintf, fputs and fflush of it\t%.1f\t%.1f\t-\n", line * 1000, bare * 1000);
    std::printf("the same without GetTimeZoneInformation\tsnprintf, fputs and fflush of it\t%.1f\t%.1f\t-\n",
                (line - Median(zone)) * 1000, bare * 1000);
    return 0;
}
