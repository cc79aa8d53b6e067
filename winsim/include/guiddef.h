// Identifiers of classes and interfaces, for the simulated machine.
#pragma once

#include "winsim_types.h"

struct GUID
{
    DWORD Data1;
    WORD Data2;
    WORD Data3;
    BYTE Data4[8];

    bool operator==(const GUID&) const = default;
};
using CLSID = GUID;
using IID = GUID;
using REFCLSID = const GUID&;
using REFIID = const GUID&;
static_assert(sizeof(GUID) == 16);
