// Keeps the services of a simulated machine, and their JSON form.
#include "winsim/machine/services.h"

#include "winsim/base/named_values.h"
#include "winsim/base/text.h"
#include "winsim_types.h"
#include "winsvc.h"

#include <algorithm>

namespace winsim
{

namespace
{

constexpr NamedValue kStates[] = {
    {SERVICE_STOPPED, "stopped"},
    {SERVICE_START_PENDING, "startPending"},
    {SERVICE_STOP_PENDING, "stopPending"},
    {SERVICE_RUNNING, "running"},
    {SERVICE_CONTINUE_PENDING, "continuePending"},
    {SERVICE_PAUSE_PENDING, "pausePending"},
    {SERVICE_PAUSED, "paused"},
};

constexpr NamedValue kStartTypes[] = {
    {SERVICE_BOOT_START, "boot"},     {SERVICE_SYSTEM_START, "system"}, {SERVICE_AUTO_START, "auto"},
    {SERVICE_DEMAND_START, "demand"}, {SERVICE_DISABLED, "disabled"},
};

// How long an undescribed service takes to start and to stop.
constexpr std::uint64_t kUsualChangeMs = 300;

// A running service takes the stop control unless it is said not to.
std::uint32_t UsualControls(std::uint32_t state)
{
    return state == SERVICE_RUNNING || state == SERVICE_PAUSED ? SERVICE_ACCEPT_STOP : 0;
}

ServiceStatus StatusOf(std::uint32_t state)
{
    ServiceStatus status;
    status.state = state;
    status.controlsAccepted = UsualControls(state);
    return status;
}

// The members of a status, as they stand in a service and in a step.
void ReadStatus(ObjectReader& object, ServiceStatus& status)
{
    object.With("state", [&](const Reader& state) { status = StatusOf(ReadNamed(state, kStates, "a service state")); });
    object.Read("controlsAccepted", status.controlsAccepted);
    object.Read("exitCode", status.exitCode);
    object.Read("serviceExitCode", status.serviceExitCode);
    object.Read("checkPoint", status.checkPoint);
    object.Read("waitHint", status.waitHint);
}

void WriteStatus(Json& json, const ServiceStatus& status)
{
    const auto write = [&](const char* name, std::uint32_t value, std::uint32_t usual) {
        if (value != usual)
            json[name] = value;
    };
    json["state"] = NameOf(status.state, kStates);
    write("controlsAccepted", status.controlsAccepted, UsualControls(status.state));
    write("exitCode", status.exitCode, 0);
    write("serviceExitCode", status.serviceExitCode, 0);
    write("checkPoint", status.checkPoint, 0);
    write("waitHint", status.waitHint, 0);
}

std::vector<ServiceStep> ReadSteps(const Reader& reader)
{
    std::vector<ServiceStep> steps;
    reader.Elements([&](const Reader& element) {
        ServiceStep step;
        ObjectReader object{element};
        object.Read("afterMs", step.afterMs);
        ReadStatus(object, step.status);
        object.Done();
        if (step.status.state == 0)
            element.Fail("no state");
        if (!steps.empty() && step.afterMs < steps.back().afterMs)
            element.Fail("earlier than the state before it");
        steps.push_back(step);
    });
    return steps;
}

Json JsonOfSteps(const std::vector<ServiceStep>& steps)
{
    Json json = Json::array();
    for (const ServiceStep& step : steps)
    {
        Json entry{{"afterMs", step.afterMs}};
        WriteStatus(entry, step.status);
        json.push_back(entry);
    }
    return json;
}

ServiceReaction ReadReaction(const Reader& reader)
{
    ServiceReaction reaction;
    ObjectReader object{reader};
    object.Read("error", reaction.error);
    object.With("states", [&](const Reader& states) { reaction.steps = ReadSteps(states); });
    object.Done();
    return reaction;
}

Json JsonOfReaction(const ServiceReaction& reaction)
{
    Json json = Json::object();
    if (reaction.error != 0)
        json["error"] = reaction.error;
    json["states"] = JsonOfSteps(reaction.steps);
    return json;
}

Service UsualService(const std::string& name)
{
    Service service;
    service.name = name;
    service.displayName = name;
    service.type = SERVICE_WIN32_OWN_PROCESS;
    service.startType = SERVICE_DEMAND_START;
    service.errorControl = SERVICE_ERROR_NORMAL;
    service.account = "LocalSystem";
    service.status = StatusOf(SERVICE_STOPPED);
    service.onStart.steps = {{0, StatusOf(SERVICE_START_PENDING)}, {kUsualChangeMs, StatusOf(SERVICE_RUNNING)}};
    service.onStop.steps = {{0, StatusOf(SERVICE_STOP_PENDING)}, {kUsualChangeMs, StatusOf(SERVICE_STOPPED)}};
    return service;
}

Service ReadService(const std::string& name, const Reader& reader)
{
    Service service = UsualService(name);
    ObjectReader object{reader};
    object.Read("displayName", service.displayName);
    object.Read("description", service.description);
    object.Read("type", service.type);
    object.With("start",
                [&](const Reader& start) { service.startType = ReadNamed(start, kStartTypes, "a start type"); });
    object.Read("errorControl", service.errorControl);
    object.Read("binaryPath", service.binaryPath);
    object.Read("loadOrderGroup", service.loadOrderGroup);
    object.With("dependencies", [&](const Reader& list) {
        list.Elements([&](const Reader& entry) { service.dependencies.push_back(entry.Text()); });
    });
    object.Read("account", service.account);
    object.Read("processId", service.processId);
    object.Read("deniedAccess", service.deniedAccess);
    object.Read("grantsEveryRight", service.grantsEveryRight);
    object.Read("markedForDeletion", service.isMarkedForDeletion);
    ReadStatus(object, service.status);
    object.With("states", [&](const Reader& states) { service.steps = ReadSteps(states); });
    object.With("onStart", [&](const Reader& start) { service.onStart = ReadReaction(start); });
    object.With("onStop", [&](const Reader& stop) { service.onStop = ReadReaction(stop); });
    object.Done();
    return service;
}

Json JsonOfService(const Service& service)
{
    const Service usual = UsualService(service.name);
    Json json = Json::object();
    const auto write = [&](const char* name, const auto& value, const auto& usualValue) {
        if (value != usualValue)
            json[name] = value;
    };
    write("displayName", service.displayName, usual.displayName);
    write("description", service.description, usual.description);
    write("type", service.type, usual.type);
    json["start"] = NameOf(service.startType, kStartTypes);
    write("errorControl", service.errorControl, usual.errorControl);
    write("binaryPath", service.binaryPath, usual.binaryPath);
    write("loadOrderGroup", service.loadOrderGroup, usual.loadOrderGroup);
    write("dependencies", service.dependencies, usual.dependencies);
    write("account", service.account, usual.account);
    write("processId", service.processId, usual.processId);
    write("deniedAccess", service.deniedAccess, usual.deniedAccess);
    write("grantsEveryRight", service.grantsEveryRight, usual.grantsEveryRight);
    write("markedForDeletion", service.isMarkedForDeletion, usual.isMarkedForDeletion);
    WriteStatus(json, service.status);
    if (!service.steps.empty())
        json["states"] = JsonOfSteps(service.steps);
    if (service.onStart != usual.onStart)
        json["onStart"] = JsonOfReaction(service.onStart);
    if (service.onStop != usual.onStop)
        json["onStop"] = JsonOfReaction(service.onStop);
    return json;
}

// Takes on every status that is due.
void TakeDueSteps(Service& service)
{
    while (!service.steps.empty() && service.steps.front().afterMs == 0)
    {
        service.status = service.steps.front().status;
        service.steps.erase(service.steps.begin());
    }
}

} // namespace

bool Service::IsStopped() const
{
    return status.state == SERVICE_STOPPED;
}

void Service::Begin(const ServiceReaction& reaction)
{
    steps = reaction.steps;
    TakeDueSteps(*this);
}

void Services::Load(const Reader& reader)
{
    reader.Members([&](const std::string& name, const Reader& member) {
        Service service = ReadService(name, member);
        TakeDueSteps(service);
        m_services.insert_or_assign(FoldCase(name), std::move(service));
    });
}

Json Services::ToJson() const
{
    Json json = Json::object();
    for (const auto& [folded, service] : m_services)
        json[service.name] = JsonOfService(service);
    return json;
}

const Service* Services::Find(const std::string& name) const
{
    const auto service = m_services.find(FoldCase(name));
    return service == m_services.end() ? nullptr : &service->second;
}

Service* Services::Find(const std::string& name)
{
    const auto service = m_services.find(FoldCase(name));
    return service == m_services.end() ? nullptr : &service->second;
}

void Services::Remove(const std::string& name)
{
    m_services.erase(FoldCase(name));
}

std::vector<std::string> Services::MarkedAndNotStopped() const
{
    std::vector<std::string> names;
    for (const auto& [folded, service] : m_services)
    {
        if (service.isMarkedForDeletion && !service.IsStopped())
            names.push_back(service.name);
    }
    return names;
}

void Services::Advance(std::uint64_t ms)
{
    for (auto& [folded, service] : m_services)
    {
        for (ServiceStep& step : service.steps)
            step.afterMs -= std::min(step.afterMs, ms);
        TakeDueSteps(service);
    }
}

bool Services::AreChanging() const
{
    return std::ranges::any_of(m_services, [](const auto& entry) { return !entry.second.steps.empty(); });
}

bool Services::HasRunningDependents(const std::string& name) const
{
    return std::any_of(m_services.begin(), m_services.end(), [&](const auto& entry) {
        const Service& service = entry.second;
        return !service.IsStopped() && std::any_of(service.dependencies.begin(), service.dependencies.end(),
                                                   [&](const std::string& needed) { return SameName(needed, name); });
    });
}

} // namespace winsim
