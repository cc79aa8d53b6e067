// The services of a simulated machine, and their JSON form.
#include "winsim/machine/services.h"

#include "winsim/base/fields.h"
#include "winsim/base/text.h"
#include "winsim/machine/areas.h"
#include "winsim/machine/windows_names.h"

#include <algorithm>

namespace winsim
{

namespace
{

// As Windows numbers them.
constexpr std::uint32_t kStopped = 1;
constexpr std::uint32_t kStartPending = 2;
constexpr std::uint32_t kStopPending = 3;
constexpr std::uint32_t kRunning = 4;
constexpr std::uint32_t kPaused = 7;
constexpr std::uint32_t kAcceptsStop = 1;
constexpr std::uint32_t kOwnProcess = 0x10;
constexpr std::uint32_t kDemandStart = 3;
constexpr std::uint32_t kNormalError = 1;

constexpr NamedValue kStates[] = {
    {kStopped, "stopped"}, {kStartPending, "startPending"}, {kStopPending, "stopPending"},
    {kRunning, "running"}, {5, "continuePending"},          {6, "pausePending"},
    {kPaused, "paused"},
};

constexpr NamedValue kStartTypes[] = {
    {0, "boot"}, {1, "system"}, {2, "auto"}, {kDemandStart, "demand"}, {4, "disabled"},
};

// How long a service takes to start or stop if its reaction is not described.
constexpr std::uint64_t kUsualChangeMs = 300;

// A running service accepts the stop control unless its description says otherwise.
std::uint32_t UsualControls(std::uint32_t state)
{
    return state == kRunning || state == kPaused ? kAcceptsStop : 0;
}

ServiceStatus StatusOf(std::uint32_t state)
{
    ServiceStatus status;
    status.state = state;
    status.controlsAccepted = UsualControls(state);
    return status;
}

// The state also decides the accepted controls, unless they are described.
struct StateField
{
    static constexpr Named kForm{kStates, "a service state"};

    void Read(const Reader& reader, ServiceStatus& status) const
    {
        std::uint32_t state = 0;
        kForm.Read(reader, state);
        status = StatusOf(state);
    }
    std::optional<Json> Save(const ServiceStatus& status, const ServiceStatus&) const
    {
        return kForm.Save(status.state);
    }
    Json Schema(Json& definitions) const
    {
        definitions["serviceState"] = kForm.Schema(definitions);
        return Definition("serviceState");
    }
};

struct ControlsField
{
    void Read(const Reader& reader, ServiceStatus& status) const
    {
        MaskForm{kAcceptedControls}.Read(reader, status.controlsAccepted);
    }
    std::optional<Json> Save(const ServiceStatus& status, const ServiceStatus&) const
    {
        return status.controlsAccepted == UsualControls(status.state) ? std::optional<Json>()
                                                                      : Json(status.controlsAccepted);
    }
    Json Schema(Json& definitions) const { return MaskForm{kAcceptedControls}.Schema(definitions); }
};

// The states that follow by themselves, in the order of time.
struct StepsForm
{
    void Read(const Reader& reader, std::vector<ServiceStep>& steps) const;
    Json Save(const std::vector<ServiceStep>& steps) const { return List<ServiceStep>().Save(steps); }
    Json Schema(Json& definitions) const { return List<ServiceStep>().Schema(definitions); }
};

// A service of which only the name is described.
Service UsualService(const std::string& name)
{
    Service service;
    service.name = name;
    service.displayName = name;
    service.type = kOwnProcess;
    service.startType = kDemandStart;
    service.errorControl = kNormalError;
    service.account = "LocalSystem";
    service.status = StatusOf(kStopped);
    service.onStart.steps = {{0, StatusOf(kStartPending)}, {kUsualChangeMs, StatusOf(kRunning)}};
    service.onStop.steps = {{0, StatusOf(kStopPending)}, {kUsualChangeMs, StatusOf(kStopped)}};
    return service;
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

template <>
struct Fields<ServiceStatus>
{
    template <typename Visitor>
    static void Visit(Visitor& visit)
    {
        visit(Key{"state",
                  "`\"stopped\"`, `\"startPending\"`, `\"stopPending\"`, `\"running\"`, `\"continuePending\"`, "
                  "`\"pausePending\"`, `\"paused\"`, or the number",
                  "`\"stopped\"`"},
              StateField());
        VisitAfterState(visit);
    }

    template <typename Visitor>
    static void VisitAfterState(Visitor& visit)
    {
        visit(Key{"controlsAccepted", "controls that it accepts: a mask",
                  "`\"SERVICE_ACCEPT_STOP\"` when running or paused, otherwise none"},
              ControlsField());
        visit(Key{"exitCode", "Win32 exit code: a number or the name of an error", "`0`"},
              Member(&ServiceStatus::exitCode, ErrorForm()));
        visit(Key{"serviceExitCode", "service-specific exit code", "`0`"}, Member(&ServiceStatus::serviceExitCode));
        visit(Key{"checkPoint", "check point: how far a pending state has come", "`0`"},
              Member(&ServiceStatus::checkPoint));
        visit(
            Key{"waitHint", "wait hint: how long the service expects a pending state to take, in milliseconds", "`0`"},
            Member(&ServiceStatus::waitHint));
    }
};

template <>
struct Fields<ServiceStep>
{
    static constexpr char kName[] = "serviceStep";

    template <typename Visitor>
    static void Visit(Visitor& visit)
    {
        visit(Key{"afterMs",
                  "when the state begins, in milliseconds: in `onStart` and `onStop` after the call, elsewhere from "
                  "now on; not before the preceding state",
                  "`0`"},
              Always(&ServiceStep::afterMs));
        InPart<Visitor, ServiceStep, ServiceStatus> status{visit, &ServiceStep::status};
        status(Key{"state", "as for a service; required", "", "no state"}, StateField());
        Fields<ServiceStatus>::VisitAfterState(status);
    }
};

template <>
struct Fields<ServiceReaction>
{
    static constexpr char kName[] = "serviceReaction";

    template <typename Visitor>
    static void Visit(Visitor& visit)
    {
        visit(Key{"error", "error with which the call fails: a number or a name", "`0`, it succeeds"},
              Member(&ServiceReaction::error, ErrorForm()));
        visit(Key{"states", "states that follow: a list, see below", "none"},
              Always(&ServiceReaction::steps, StepsForm()));
    }
};

template <>
struct Fields<Service>
{
    static constexpr char kName[] = "service";

    template <typename Visitor>
    static void Visit(Visitor& visit)
    {
        visit(Key{"displayName", "display name", "the service's name"}, Member(&Service::displayName));
        visit(Key{"description", "description", "`\"\"`"}, Member(&Service::description));
        visit(Key{"type", "service type as Windows numbers it", "`16`, a program of its own"}, Member(&Service::type));
        visit(Key{"start", "`\"boot\"`, `\"system\"`, `\"auto\"`, `\"demand\"`, `\"disabled\"`, or the number",
                  "`\"demand\"`"},
              Always(&Service::startType, Named{kStartTypes, "a start type"}));
        visit(Key{"errorControl", "error control as Windows numbers it", "`1`"}, Member(&Service::errorControl));
        visit(Key{"binaryPath", "command line of its program", "`\"\"`"}, Member(&Service::binaryPath));
        visit(Key{"loadOrderGroup", "load order group", "`\"\"`"}, Member(&Service::loadOrderGroup));
        visit(Key{"dependencies",
                  "names of the services that it needs: a list; a start first starts these and waits until they run",
                  "none"},
              Member(&Service::dependencies));
        visit(Key{"account", "account that it runs under", "`\"LocalSystem\"`"}, Member(&Service::account));
        visit(Key{"processId", "identifier of its process", "`0`"}, Member(&Service::processId));
        visit(Key{"deniedAccess", "rights that are denied: an open that asks for any of them fails; a mask", "`0`"},
              Member(&Service::deniedAccess, MaskForm{kServiceRights}));
        visit(Key{"grantsEveryRight", "whether every handle to it has all rights, whatever was asked for", "`false`"},
              Member(&Service::grantsEveryRight));
        visit(Key{"markedForDeletion", "whether it is deleted as soon as its last handle is closed", "`false`"},
              Member(&Service::isMarkedForDeletion));
        VisitPart(visit, &Service::status);
        visit(Key{"states", "states that it enters by itself: a list, see below", "none"},
              Member(&Service::steps, StepsForm()));
        visit(Key{"onStart", "what a start does: an object with `error` and `states`",
                  "start pending, and running after 300 ms"},
              Member(&Service::onStart, Reaction()));
        visit(Key{"onStop", "what a stop does, as for a start", "stop pending, and stopped after 300 ms"},
              Member(&Service::onStop, Reaction()));
    }

    // A described reaction replaces the usual one completely. Null restores the usual one.
    struct Reaction
    {
        void Read(const Reader& reader, ServiceReaction& reaction) const
        {
            reaction = {};
            ReadFields(reader, reaction);
        }
        Json Save(const ServiceReaction& reaction) const { return JsonOfFields(reaction); }
        Json Schema(Json& definitions) const { return OrNull(SchemaOf<ServiceReaction>(definitions)); }
    };
};

namespace
{

void StepsForm::Read(const Reader& reader, std::vector<ServiceStep>& steps) const
{
    steps.clear();
    reader.Elements([&](const Reader& element) {
        ServiceStep step;
        ReadFields(element, step);
        if (step.status.state == 0)
            element.Fail("no state");
        if (!steps.empty() && step.afterMs < steps.back().afterMs)
            element.Fail("earlier than the state before it");
        steps.push_back(step);
    });
}

} // namespace

bool Service::IsStopped() const
{
    return status.state == kStopped;
}

void Service::Begin(const ServiceReaction& reaction)
{
    steps = reaction.steps;
    TakeDueSteps(*this);
}

void Services::Load(const Reader& reader)
{
    reader.Members([&](const std::string& name, const Reader& member) {
        Service service = UsualService(name);
        ReadFields(member, service);
        TakeDueSteps(service);
        m_services.insert_or_assign(FoldCase(name), std::move(service));
    });
}

Json Services::ToJson() const
{
    Json json = Json::object();
    for (const auto& [folded, service] : m_services)
        json[service.name] = JsonOfFields(service, UsualService(service.name));
    return json;
}

Json SchemaOfServices(Json& definitions)
{
    return {{"type", "object"}, {"additionalProperties", OrNull(SchemaOf<Service>(definitions))}};
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
