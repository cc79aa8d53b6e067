// The smart-card readers of a simulated machine, and the resource manager that lists them.
#pragma once

#include "winsim/base/description.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace winsim
{

struct SmartCards
{
    std::uint32_t managerStatus = 0;                     // the result of connecting to the resource manager; 0: success
    std::vector<std::string> readers;                    // an empty name ends the list for its reader
    std::optional<std::vector<std::string>> readersThen; // the readers after the first listing; none: the same
    std::uint32_t zerosMissing = 0;                      // terminating zeros that the returned list lacks

    // Lists the readers. If `readersThen` is described, later calls list those readers.
    std::vector<std::string> List();

    bool operator==(const SmartCards&) const = default;
};

} // namespace winsim
