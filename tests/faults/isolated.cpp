// Runs work in a child process and watches it.
#include "tests/faults/isolated.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

// A function of the leak sanitizer, if the program is linked with it.
extern "C" int __lsan_do_recoverable_leak_check() __attribute__((weak));

namespace
{

constexpr unsigned kLimitSeconds = 60; // without progress
constexpr std::size_t kMostComplaints = 20;

// The child's current work, in memory that both processes see.
struct Current
{
    char description[4096];
};

class ChildProgress final : public Progress
{
public:
    ChildProgress(Current& current, int output) : m_current(current), m_output(output) {}

    void Begin(const std::string& description) override
    {
        const std::size_t length = std::min(description.size(), sizeof m_current.description - 1);
        std::memcpy(m_current.description, description.data(), length);
        m_current.description[length] = '\0';
        // The child's own alarm clock, which ends work that takes too long.
        alarm(kLimitSeconds);
    }
    void Complain(const std::string& text) override
    {
        std::string line = text;
        std::replace(line.begin(), line.end(), '\n', ' ');
        line += '\n';
        for (std::string_view left = line; !left.empty();)
        {
            const ssize_t written = write(m_output, left.data(), left.size());
            if (written <= 0)
                _exit(EXIT_FAILURE);
            left.remove_prefix(static_cast<std::size_t>(written));
        }
    }

private:
    Current& m_current;
    int m_output;
};

std::string ReadAll(int input)
{
    std::string all;
    char buffer[65536];
    for (ssize_t count = 0; (count = read(input, buffer, sizeof buffer)) > 0;)
        all.append(buffer, static_cast<std::size_t>(count));
    return all;
}

std::vector<std::string> Lines(const std::string& text)
{
    std::istringstream input(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(input, line);)
        lines.push_back(line);
    return lines;
}

std::string DescribeEnd(int status, const Current& current)
{
    const std::string during = std::string(" during: ") + current.description;
    if (WIFSIGNALED(status))
        return (WTERMSIG(status) == SIGALRM ? std::string("hung")
                                            : "ended by signal " + std::to_string(WTERMSIG(status))) +
               during;
    return "ended with status " + std::to_string(WEXITSTATUS(status)) + during;
}

std::vector<std::string> ComplaintsAbout(const std::function<void(Progress&)>& work)
{
    void* const shared = mmap(nullptr, sizeof(Current), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    int ends[2];
    if (shared == MAP_FAILED || pipe(ends) != 0)
        throw std::runtime_error("no memory or pipe for a child process");
    auto& current = *static_cast<Current*>(shared);
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child < 0)
        throw std::runtime_error("no child process");
    if (child == 0)
    {
        close(ends[0]);
        ChildProgress progress{current, ends[1]};
        work(progress);
        progress.Begin("the search for leaks");
        const bool leaks = __lsan_do_recoverable_leak_check != nullptr && __lsan_do_recoverable_leak_check() != 0;
        _exit(leaks ? EXIT_FAILURE : EXIT_SUCCESS);
    }
    close(ends[1]);
    std::vector<std::string> complaints = Lines(ReadAll(ends[0]));
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (status != 0)
        complaints.push_back(DescribeEnd(status, current));
    munmap(shared, sizeof(Current));
    return complaints;
}

} // namespace

void ExpectNoComplaints(const std::function<void(Progress&)>& work)
{
    const std::vector<std::string> complaints = ComplaintsAbout(work);
    for (std::size_t i = 0; i < std::min(complaints.size(), kMostComplaints); ++i)
        ADD_FAILURE() << complaints[i];
    if (complaints.size() > kMostComplaints)
        ADD_FAILURE() << "and " << complaints.size() - kMostComplaints << " more";
}
