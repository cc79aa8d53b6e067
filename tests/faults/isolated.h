// Work in a process of its own, so that a crash or a hang of it is found out and named.
#pragma once

#include <functional>
#include <string>
#include <vector>

// What the work tells while it goes on.
class Progress
{
public:
    virtual ~Progress() = default;
    // What it is about to do: this is to blame for a crash.
    virtual void Begin(const std::string& description) = 0;
    // What went wrong with it.
    virtual void Complain(const std::string& text) = 0;
};

// Runs the work in a child process. All complaints, and the one about a child that crashed or did not get on for
// `limitSeconds`.
std::vector<std::string> RunIsolated(const std::function<void(Progress&)>& work, unsigned limitSeconds);
