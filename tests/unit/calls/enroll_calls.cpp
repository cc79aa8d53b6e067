// The auto-enrollment tasks, for tests.
#include "enroll/auto_enrollment.h"
#include "tests/unit/calls/modules.h"

namespace
{

constexpr TestCall kCalls[] = {
    {"InstallAutoEnrollmentTasks", [](const CallArguments&) { return ResultText(InstallAutoEnrollmentTasks()); }},
    {"RemoveAutoEnrollmentTasks", [](const CallArguments&) { return ResultText(RemoveAutoEnrollmentTasks()); }},
};

} // namespace

std::span<const TestCall> EnrollCalls()
{
    return kCalls;
}
