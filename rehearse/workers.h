// Processes that work side by side, each on one piece after the other, and are replaced when they end.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

// What a worker makes of a piece of work.
struct Worked
{
    std::string result;
    bool isLast = false; // the worker should not be used again: what it ran may have damaged it
};

// How a piece of work ended.
struct Answer
{
    enum class End
    {
        Done,
        Died,   // two workers in a row ended over it
        TooLong // it took longer than the limit
    };

    std::size_t number = 0; // of the piece, as it was given
    End end = End::Done;
    std::string text; // the result, or how the worker ended: "signal 11"
};

// Copies of this process (fork), so that a crash, an endless loop or a lack of memory in one of them ends only that
// one. All of them end with this object or this process. A worker that somebody else ends does no harm: another one
// does the same work again, once.
class Workers
{
public:
    // At most `most` of them, each started when it is needed, and with `memory` bytes of address space. `work` runs in
    // the workers. A piece of work that takes longer than the limit is given up.
    Workers(std::size_t most, std::chrono::milliseconds limit, std::size_t memory,
            std::function<Worked(const std::string&)> work);
    ~Workers();
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;

    bool HasFree() const { return m_busy < m_most; }
    std::size_t Busy() const { return m_busy; }

    // Has a worker begin a piece of work; one must be free. Throws std::runtime_error if no process can be started.
    void Give(std::size_t number, std::string request);

    // Waits until an answer has come, or the file descriptor `input` (-1 for none) can be read, or a second has gone
    // by. True if the input can be read.
    bool Wait(int input, std::vector<Answer>& answers);

private:
    using Clock = std::chrono::steady_clock;

    struct Worker
    {
        pid_t process = 0; // 0 for none
        int socket = -1;
        bool isBusy = false;
        std::size_t number = 0;
        std::string request;
        unsigned tries = 0;
        Clock::time_point deadline;
        std::string received;
    };

    void Start(Worker& worker);
    [[noreturn]] void Serve(int socket) const;
    void Send(Worker& worker);
    std::string End(Worker& worker);
    std::optional<Answer> Receive(Worker& worker);
    Answer Finish(Worker& worker, Answer::End end, std::string text);

    std::size_t m_most;
    std::chrono::milliseconds m_limit;
    std::size_t m_memory;
    std::function<Worked(const std::string&)> m_work;
    std::vector<Worker> m_workers;
    std::size_t m_busy = 0;
};
