// Reads owners and access lists.
#pragma once

#include "describe/capture.h"
#include "describe/windows_headers.h"

#include <accctrl.h>

namespace describe
{

// Reads the owner and the access list of an open key or file (READ_CONTROL). `place` names it in a note.
void ReadSecurity(Capture& capture, HANDLE object, SE_OBJECT_TYPE type, const std::string& place,
                  winsim::Security& security);

} // namespace describe
