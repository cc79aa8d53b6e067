// The log line against its floor on Windows' own files, and what the one costly question in each line takes of it.
#include "bench/log_line.h"
#include "log/install_log.h"

#include <algorithm>
#include <windows.h>

#include <share.h>
#include <shlobj.h>

namespace
{

constexpr char kProgramFile[] = "kelo_bench_log.txt";
constexpr char kFloorFile[] = "kelo_bench_floor.txt";
constexpr int kRounds = 40;
constexpr int kLinesPerRound = 250;
constexpr double kLimit = 1.3;

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
    double program = 0;
    double floor = 0;
    double zone = 0;
    {
        InstallLog log{kProgramFile};
        std::FILE* file = _fsopen(floorPath.c_str(), "a", _SH_DENYNO);
        if (file == nullptr)
            return 1;
        // In turn, and the fastest of each: the one that other programs disturbed least.
        for (int round = 0; round < kRounds; ++round)
        {
            const double line =
                TimeOfLine([&](int i) { WriteLog(log, "command line argv[%d]: %s", i, kLineArgument); });
            const double bare = TimeOfLine([&](int i) { WriteBareLine(file, i); });
            const double question = TimeOfLine([](int) {
                TIME_ZONE_INFORMATION information{};
                GetTimeZoneInformation(&information);
            });
            program = round == 0 ? line : std::min(program, line);
            floor = round == 0 ? bare : std::min(floor, bare);
            zone = round == 0 ? question : std::min(zone, question);
        }
        std::fclose(file);
    }
    DeleteFileA(programPath.c_str());
    DeleteFileA(floorPath.c_str());

    std::printf("a log line                          %6.2f us\n", program);
    std::printf("snprintf, fputs and fflush of it    %6.2f us   ratio %.2f, limit %.2f\n", floor, program / floor,
                kLimit);
    std::printf("GetTimeZoneInformation alone        %6.2f us   ratio without it %.2f\n", zone,
                (program - zone) / floor);
    return program / floor > kLimit ? 1 : 0;
}
