// What changed in each area of a machine, in words.
#pragma once

#include "report/access.h"
#include "report/change_rows.h"
#include "winsim/machine/machine.h"

#include <vector>

namespace report
{

// Values by their types, below their keys.
void WriteRegistry(ChangeRows& rows, const std::vector<winsim::Change>& changes);

// Files by what happened to them: moved, added, changed, deleted.
void WriteFiles(ChangeRows& rows, std::vector<winsim::Change> changes);

// A service, without what only rehearsals need to know of it unless rows are whole.
void WriteService(ChangeRows& rows, const winsim::Change& change);

// A change of any other area.
void WriteOther(ChangeRows& rows, const winsim::Change& change);

// The owner and the access list that a key or a file has now, where they are others than before.
void WriteSecurity(ChangeRows& rows, const winsim::Json& before, const winsim::Json& after, Secured secured);

} // namespace report
