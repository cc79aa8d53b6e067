// Starts worker processes, gives them work, and replaces those that end.
#include "rehearse/workers.h"

#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace
{

constexpr unsigned kMostTries = 2;
constexpr std::size_t kPiece = 65536; // bytes received at once

// Every message begins with its length and whether the worker ends after it.
struct Head
{
    std::uint32_t length = 0;
    std::uint32_t isLast = 0;
};

bool SendAll(int socket, std::string_view bytes)
{
    while (!bytes.empty())
    {
        const ssize_t sent = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR)
            continue;
        if (sent <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

bool SendMessage(int socket, const std::string& text, bool isLast)
{
    const Head head{static_cast<std::uint32_t>(text.size()), isLast ? 1U : 0U};
    std::string bytes(sizeof head, '\0');
    std::memcpy(bytes.data(), &head, sizeof head);
    return SendAll(socket, bytes + text);
}

bool ReceiveAll(int socket, char* bytes, std::size_t count)
{
    while (count > 0)
    {
        const ssize_t received = recv(socket, bytes, count, 0);
        if (received < 0 && errno == EINTR)
            continue;
        if (received <= 0)
            return false;
        bytes += received;
        count -= static_cast<std::size_t>(received);
    }
    return true;
}

std::optional<std::string> ReceiveMessage(int socket)
{
    Head head;
    if (!ReceiveAll(socket, reinterpret_cast<char*>(&head), sizeof head))
        return std::nullopt;
    std::string text(head.length, '\0');
    return ReceiveAll(socket, text.data(), text.size()) ? std::optional(std::move(text)) : std::nullopt;
}

} // namespace

Workers::Workers(std::size_t most, std::chrono::milliseconds limit, std::size_t memory,
                 std::function<Worked(const std::string&)> work)
    : m_most(most), m_limit(limit), m_memory(memory), m_work(std::move(work))
{}

Workers::~Workers()
{
    for (Worker& worker : m_workers)
    {
        if (worker.process == 0)
            continue;
        kill(worker.process, SIGKILL);
        End(worker);
    }
}

void Workers::Give(std::size_t number, std::string request)
{
    auto worker = std::find_if(m_workers.begin(), m_workers.end(), [](const Worker& one) { return !one.isBusy; });
    if (worker == m_workers.end())
        worker = m_workers.insert(m_workers.end(), Worker{});
    worker->isBusy = true;
    worker->number = number;
    worker->request = std::move(request);
    worker->tries = 0;
    ++m_busy;
    Send(*worker);
}

bool Workers::Wait(int input, std::vector<Answer>& answers)
{
    std::vector<pollfd> watched;
    std::vector<std::size_t> indices;
    Clock::time_point next = Clock::now() + std::chrono::seconds(1);
    for (std::size_t i = 0; i < m_workers.size(); ++i)
    {
        if (!m_workers[i].isBusy)
            continue;
        watched.push_back({m_workers[i].socket, POLLIN, 0});
        indices.push_back(i);
        next = std::min(next, m_workers[i].deadline);
    }
    watched.push_back({input, POLLIN, 0});
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now());
    if (poll(watched.data(), watched.size(), static_cast<int>(std::max<std::int64_t>(left.count(), 0))) < 0)
        return false;
    for (std::size_t i = 0; i < indices.size(); ++i)
    {
        Worker& worker = m_workers[indices[i]];
        std::optional<Answer> answer;
        if (watched[i].revents != 0)
            answer = Receive(worker);
        else if (Clock::now() >= worker.deadline)
        {
            kill(worker.process, SIGKILL);
            End(worker);
            answer = Finish(worker, Answer::End::TooLong, "");
        }
        if (answer)
            answers.push_back(std::move(*answer));
    }
    return watched.back().revents != 0;
}

void Workers::Start(Worker& worker)
{
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        throw std::runtime_error(std::string("no socket for a worker: ") + std::strerror(errno));
    std::fflush(nullptr);
    const pid_t parent = getpid();
    const pid_t process = fork();
    if (process < 0)
        throw std::runtime_error(std::string("no process for a worker: ") + std::strerror(errno));
    if (process == 0)
    {
        // It does not outlive its parent, which may have ended just now.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != parent)
            _exit(EXIT_FAILURE);
        close(ends[0]);
        for (const Worker& other : m_workers)
        {
            if (other.process != 0)
                close(other.socket);
        }
        Serve(ends[1]);
    }
    close(ends[1]);
    worker.process = process;
    worker.socket = ends[0];
    worker.received.clear();
}

void Workers::Serve(int socket) const
{
    const rlimit limit{m_memory, m_memory};
    setrlimit(RLIMIT_AS, &limit);
    const rlimit noDump{0, 0};
    setrlimit(RLIMIT_CORE, &noDump);
    while (const std::optional<std::string> request = ReceiveMessage(socket))
    {
        const Worked worked = m_work(*request);
        if (!SendMessage(socket, worked.result, worked.isLast) || worked.isLast)
            break;
    }
    _exit(EXIT_SUCCESS);
}

// Gives a worker its work, in a new process if its own has ended.
void Workers::Send(Worker& worker)
{
    ++worker.tries;
    worker.deadline = Clock::now() + m_limit;
    if (worker.process != 0 && SendMessage(worker.socket, worker.request, false))
        return;
    if (worker.process != 0)
        End(worker);
    Start(worker);
    SendMessage(worker.socket, worker.request, false); // if it has ended already, Receive notices
}

// Waits for the worker's process, and says how it ended.
std::string Workers::End(Worker& worker)
{
    int status = 0;
    while (waitpid(worker.process, &status, 0) < 0 && errno == EINTR)
    {}
    close(worker.socket);
    worker.process = 0;
    worker.received.clear();
    return WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                               : "exit status " + std::to_string(WEXITSTATUS(status));
}

std::optional<Answer> Workers::Receive(Worker& worker)
{
    char piece[kPiece];
    const ssize_t count = recv(worker.socket, piece, sizeof piece, 0);
    if (count < 0 && errno == EINTR)
        return std::nullopt;
    if (count <= 0)
    {
        const std::string how = End(worker);
        if (worker.tries >= kMostTries)
            return Finish(worker, Answer::End::Died, how);
        Send(worker);
        return std::nullopt;
    }
    worker.received.append(piece, static_cast<std::size_t>(count));
    Head head;
    if (worker.received.size() < sizeof head)
        return std::nullopt;
    std::memcpy(&head, worker.received.data(), sizeof head);
    if (worker.received.size() < sizeof head + head.length)
        return std::nullopt;
    Answer answer = Finish(worker, Answer::End::Done, worker.received.substr(sizeof head));
    worker.received.clear();
    if (head.isLast != 0)
        End(worker);
    return answer;
}

Answer Workers::Finish(Worker& worker, Answer::End end, std::string text)
{
    worker.isBusy = false;
    worker.request.clear();
    --m_busy;
    return {worker.number, end, std::move(text)};
}
