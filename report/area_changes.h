// The changes in each area of a machine, in words.
#pragma once

#include "report/access.h"
#include "report/change_rows.h"
#include "winsim/machine/machine.h"

#include <vector>

namespace report
{

// Values by their types, below their keys.
void WriteRegistry(ChangeRows& rows, const std::vector<winsim::Change>& changes);

// Files by their changes: moved, added, changed, deleted.
void WriteFiles(ChangeRows& rows, std::vector<winsim::Change> changes);

// A service. Properties that only rehearsals need are left out unless `rows` shows values completely.
void WriteService(ChangeRows& rows, const winsim::Change& change);

// A change of any other area.
void WriteOther(ChangeRows& rows, const winsim::Change& change);

// The present owner and access list of a key or a file, if they changed.
void WriteSecurity(ChangeRows& rows, const winsim::Json& before, const winsim::Json& after, Secured secured);

} // namespace report
