// Any bytes as the description of a machine. A usable description describes the same machine after it is written and
// read again.
#include "tests/fuzz/fuzz.h"
#include "winsim/base/description_text.h"

#include <optional>
#include <string_view>

namespace
{

// The machine of a description; nothing if the description is unusable for a reason that its author is told.
std::optional<winsim::Machine> MachineOf(std::string_view text)
{
    try
    {
        return winsim::Machine::FromJson(winsim::ParseDescription(text));
    }
    catch (const winsim::DescriptionError&)
    {
        return std::nullopt;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto machine = MachineOf({reinterpret_cast<const char*>(data), size});
    if (!machine)
        return 0;
    const winsim::Json written = machine->ToJson();
    ExpectSame("description", written.dump(), winsim::Machine::FromJson(written).ToJson().dump());
    return 0;
}
