// Runs work in its own process, so that a crash or hang is detected and attributed.
#pragma once

#include <functional>
#include <string>

// Reports from the running work.
class Progress
{
public:
    virtual ~Progress() = default;
    // Announces the next piece of work, which is to blame for a crash.
    virtual void Begin(const std::string& description) = 0;
    // Reports a fault of it.
    virtual void Complain(const std::string& text) = 0;
};

// Runs the work in a child process. Each complaint is a failure of the running test, and so is a child that crashed or
// made no progress for a minute. After 20 complaints only their number is told.
void ExpectNoComplaints(const std::function<void(Progress&)>& work);
