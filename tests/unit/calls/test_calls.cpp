// The entry through which tests call the program's single functions.
#include "tests/unit/calls/modules.h"

#include <span>

namespace
{

const std::span<const TestCall> kModules[] = {EnrollCalls(),    EntryCalls(),    LogCalls(),          MessageCalls(),
                                              PlatformCalls(),  ProviderCalls(), ProvisioningCalls(), ServiceCalls(),
                                              SmartcardCalls(), SrkCalls(),      TssCalls(),          WindowsCalls()};

} // namespace

extern "C" bool WinsimTestCall(const std::string& name, const std::vector<std::string>& arguments, std::string& result)
{
    for (const auto& module : kModules)
    {
        for (const TestCall& call : module)
        {
            if (name != call.name)
                continue;
            result = call.make(CallArguments{arguments});
            return true;
        }
    }
    return false;
}
