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
    std::uint32_t managerStatus = 0;                     // of connecting to the resource manager: 0 when it works
    std::vector<std::string> readers;                    // an empty name ends the list for whoever reads it
    std::optional<std::vector<std::string>> readersThen; // the readers once they have been listed
    std::uint32_t zerosMissing = 0;                      // at the end of the list that is handed out

    // The readers as they are listed now. From then on they are those of `readersThen`, if there are.
    std::vector<std::string> List();

    void Load(const Reader& reader);
    Json ToJson() const;
    bool operator==(const SmartCards&) const = default;
};

} // namespace winsim
