// The services of a simulated machine, and how they change state as time passes.
#pragma once

#include "winsim/base/description.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace winsim
{

// The status that a service reports.
struct ServiceStatus
{
    std::uint32_t state = 0; // SERVICE_STOPPED, ...
    std::uint32_t controlsAccepted = 0;
    std::uint32_t exitCode = 0;
    std::uint32_t serviceExitCode = 0;
    std::uint32_t checkPoint = 0;
    std::uint32_t waitHint = 0;

    bool operator==(const ServiceStatus&) const = default;
};

// A status that a service takes on later.
struct ServiceStep
{
    std::uint64_t afterMs = 0; // counted from now
    ServiceStatus status;

    bool operator==(const ServiceStep&) const = default;
};

// What a service does when it is started or told to stop.
struct ServiceReaction
{
    std::uint32_t error = 0;        // what the call fails with; 0: it succeeds
    std::vector<ServiceStep> steps; // counted from the call

    bool operator==(const ServiceReaction&) const = default;
};

struct Service
{
    std::string name; // as it was created
    std::string displayName;
    std::string description;
    std::uint32_t type = 0;
    std::uint32_t startType = 0;
    std::uint32_t errorControl = 0;
    std::string binaryPath; // the whole command line
    std::string loadOrderGroup;
    std::vector<std::string> dependencies;
    std::string account;
    std::uint32_t processId = 0;
    std::uint32_t deniedAccess = 0; // opening it with any of these rights is refused
    bool grantsEveryRight = false;  // every handle to it has all rights
    bool isMarkedForDeletion = false;
    ServiceStatus status;
    std::vector<ServiceStep> steps; // the status changes that are still to come
    ServiceReaction onStart;
    ServiceReaction onStop;

    bool IsStopped() const;
    // Begins a reaction: its steps replace those still to come.
    void Begin(const ServiceReaction& reaction);

    bool operator==(const Service&) const = default;
};

class Services
{
public:
    void Load(const Reader& reader);
    Json ToJson() const;

    const Service* Find(const std::string& name) const;
    Service* Find(const std::string& name);
    void Remove(const std::string& name);

    // The names of the services that are marked for deletion and not stopped.
    std::vector<std::string> MarkedAndNotStopped() const;

    // Lets time pass: services take on each status that is due.
    void Advance(std::uint64_t ms);

    // Whether any service will still change its status as time passes.
    bool AreChanging() const;

    // Whether a service that is not stopped depends on this one.
    bool HasRunningDependents(const std::string& name) const;

    bool operator==(const Services&) const = default;

private:
    std::map<std::string, Service> m_services; // by folded name
};

} // namespace winsim
