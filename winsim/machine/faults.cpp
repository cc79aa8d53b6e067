// Reads and writes planned failures.
#include "winsim/machine/faults.h"

#include "winsim/base/error_names.h"
#include "winsim/base/fields.h"
#include "winsim/base/numbered_call.h"
#include "winsim/machine/areas.h"
#include "winsim/machine/fault_table.h"

#include <fmt/format.h>

#include <charconv>
#include <optional>
#include <stdexcept>
#include <string_view>

namespace winsim
{

namespace
{

constexpr std::string_view kNothing = "nothing";
constexpr std::string_view kFault = "fault";

bool ParseNumber(std::string_view digits, int base, std::uint32_t& value)
{
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, base);
    return error == std::errc{} && end == digits.data() + digits.size();
}

// The error that a text means: a number or the name of an error of the call; none for other texts.
std::optional<std::uint32_t> ErrorOf(std::string_view call, std::string_view text)
{
    std::uint32_t error = 0;
    const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
    if (ParseNumber(isHexadecimal ? text.substr(2) : text, isHexadecimal ? 16 : 10, error))
        return error;
    return ErrorNamed(ErrorKindOf(call), text);
}

struct FaultForm
{
    void Read(const Reader& reader, Fault& fault) const
    {
        try
        {
            fault = ParsePossibleFault(reader.Text());
        }
        catch (const std::invalid_argument& error)
        {
            reader.Fail(error.what());
        }
    }
    Json Save(const Fault& fault) const { return TextOf(fault); }
    Json Schema(Json&) const { return {{"type", "string"}, {"pattern", "^[^=]+=[^=]+$"}}; }
};

using FaultsForm = List<Fault, FaultForm>;

} // namespace

Fault ParseFault(const std::string& text)
{
    const auto fail = [&](const std::string& what) -> Fault {
        throw std::invalid_argument("fault \"" + text + "\": " + what + "; write CALL[#N]=ERROR");
    };
    const std::size_t equals = text.rfind('=');
    if (equals == std::string::npos || equals == 0)
        return fail("no error given");
    const auto call = ParseNumberedCall(std::string_view(text).substr(0, equals));
    if (!call)
        return fail(kBadCallNumber);
    Fault fault{call->name, call->number.value_or(0)};
    const std::string_view error = std::string_view(text).substr(equals + 1);
    fault.givesNothing = error == kNothing;
    fault.faults = error == kFault;
    if (fault.givesNothing || fault.faults)
        return fault;
    const std::optional<std::uint32_t> number = ErrorOf(fault.call, error);
    if (!number)
        return fail("the error is neither a 32-bit number nor a known " + std::string(DescribeErrors(fault.call)));
    fault.error = *number;
    return fault;
}

Fault ParsePossibleFault(const std::string& text)
{
    const Fault fault = ParseFault(text);
    if (const std::string complaint = ComplaintAbout(fault); !complaint.empty())
        throw std::invalid_argument("fault \"" + text + "\": " + complaint);
    return fault;
}

std::string TextOf(const Fault& fault)
{
    const std::string occurrence = fault.occurrence == 0 ? "" : "#" + std::to_string(fault.occurrence);
    if (fault.givesNothing || fault.faults)
        return fault.call + occurrence + "=" + std::string(fault.givesNothing ? kNothing : kFault);
    // HRESULTs and statuses are usually written in hexadecimal.
    return fault.call + occurrence + "=" +
           (fault.error > 0xFFFF ? fmt::format("0x{:08X}", fault.error) : std::to_string(fault.error));
}

void PlannedFaults::Load(const Reader& reader)
{
    FaultsForm().Read(reader, faults);
}

Json PlannedFaults::ToJson() const
{
    return FaultsForm().Save(faults);
}

Json SchemaOfFaults(Json& definitions)
{
    return FaultsForm().Schema(definitions);
}

} // namespace winsim
