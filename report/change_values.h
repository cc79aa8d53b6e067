// Values of a description in a few words, for a report of what changed.
#pragma once

#include "winsim/machine/machine.h"

#include <string>
#include <vector>

namespace report
{

// Each of these shows all of a value when it `isWhole`, and of a long one its beginning otherwise.

// A value of the registry: "4096 (0x1000)", "\"text\" (REG_EXPAND_SZ)", "3 bytes: 01 02 03 (REG_BINARY)".
std::string DescribeValue(const winsim::Json& value, bool isWhole);

// Any other value; "none" for null.
std::string Brief(const winsim::Json& value, bool isWhole);

// "before -> after", or of two lists of texts what is less and more: "-A, +B".
std::string DescribeDifference(const winsim::Json& before, const winsim::Json& after, bool isWhole);

// Where two objects differ, member by member: "providers: -A, +B". `path` is that of the objects' own.
std::vector<std::string> Differences(const winsim::Json& before, const winsim::Json& after, bool isWhole,
                                     const std::string& path = {});

} // namespace report
