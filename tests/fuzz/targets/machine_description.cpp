// Any bytes as the description of a machine. One that can be used describes the same machine again when it is written
// and read.
#include "tests/fuzz/fuzz.h"

#include <optional>

namespace
{

// The machine of a description; nothing when it cannot be used, for a reason that its author is told.
std::optional<winsim::Machine> MachineOf(const winsim::Json& description)
{
    try
    {
        return winsim::Machine::FromJson(description);
    }
    catch (const winsim::DescriptionError&)
    {
        return std::nullopt;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const winsim::Json description = winsim::Json::parse(data, data + size, nullptr, false);
    if (description.is_discarded())
        return 0;
    const auto machine = MachineOf(description);
    if (!machine)
        return 0;
    const winsim::Json written = machine->ToJson();
    ExpectSame("description", written.dump(), winsim::Machine::FromJson(written).ToJson().dump());
    return 0;
}
