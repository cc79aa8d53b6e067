// Security with nothing but an access list.
#pragma once

#include "winsim/machine/security.h"

#include <utility>
#include <vector>

inline winsim::Security WithList(std::vector<winsim::AccessEntry> list)
{
    winsim::Security security;
    security.access = std::move(list);
    return security;
}
