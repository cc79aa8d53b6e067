// Failures that are planned: which calls fail on a machine, or in one run, and how.
#pragma once

#include "winsim/base/description.h"

#include <cstdint>
#include <string>
#include <vector>

namespace winsim
{

// One planned failure: the occurrence-th call of a name (counted from 1) fails with an error; occurrence 0 means every
// call.
struct Fault
{
    std::string call;
    unsigned occurrence = 0;
    std::uint32_t error = 0;
    bool givesNothing = false; // it succeeds instead, with an empty list, a value of no bytes or the like
    bool faults = false;       // it throws kAccessViolation instead

    bool operator==(const Fault&) const = default;
};

// The call with which a program allocates memory.
inline constexpr char kAllocation[] = "operator new";

// Reads CALL[#N]=ERROR. Throws std::invalid_argument, with a reason. ERROR is one of
//     a number       decimal, or hexadecimal with 0x
//     a name         of an error of this call (winsim/base/error_names.h)
//     nothing        the call succeeds with an empty result
//     fault          the call ends in an access violation
Fault ParseFault(const std::string& text);

// The same, and throws also for a fault that cannot take place: ComplaintAbout (winsim/machine/fault_table.h) has the
// reasons.
Fault ParsePossibleFault(const std::string& text);

// The text that ParseFault reads.
std::string TextOf(const Fault& fault);

// The failures that every run on a machine has.
struct PlannedFaults
{
    std::vector<Fault> faults;

    void Load(const Reader& reader);
    Json ToJson() const;

    bool operator==(const PlannedFaults&) const = default;
};

} // namespace winsim
