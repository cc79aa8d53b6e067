// Values of a description in a few words, for a report on changes.
#pragma once

#include "winsim/machine/machine.h"

#include <string>
#include <vector>

namespace report
{

// Each of these shows the complete value if `isWhole`, and otherwise only the beginning of a long one.

// A value of the registry: "4096 (0x1000)", "\"text\" (REG_EXPAND_SZ)", "3 bytes: 01 02 03 (REG_BINARY)".
std::string DescribeValue(const winsim::Json& value, bool isWhole);

// Any other value; "none" for null.
std::string Brief(const winsim::Json& value, bool isWhole);

// "before -> after", or the removed and added elements of two lists of texts: "-A, +B".
std::string DescribeDifference(const winsim::Json& before, const winsim::Json& after, bool isWhole);

// The differences of two objects, member by member: "providers: -A, +B". `path` is the path of the objects themselves.
std::vector<std::string> Differences(const winsim::Json& before, const winsim::Json& after, bool isWhole,
                                     const std::string& path = {});

} // namespace report
