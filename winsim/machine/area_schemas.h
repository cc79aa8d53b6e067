// The schema of each area of a machine's description, made from the declarations of its fields.
#pragma once

#include "winsim/base/json.h"

namespace winsim
{

// Each returns the schema of an area's value, and adds the definitions that it refers to.
Json SchemaOfWindows(Json& definitions);
Json SchemaOfClock(Json& definitions);
Json SchemaOfProcess(Json& definitions);
Json SchemaOfFolders(Json& definitions);
Json SchemaOfEnvironment(Json& definitions);
Json SchemaOfRegistry(Json& definitions);
Json SchemaOfFiles(Json& definitions);
Json SchemaOfLibraries(Json& definitions);
Json SchemaOfPendingMoves(Json& definitions);
Json SchemaOfToken(Json& definitions);
Json SchemaOfServices(Json& definitions);
Json SchemaOfProcesses(Json& definitions);
Json SchemaOfPrograms(Json& definitions);
Json SchemaOfSmartCards(Json& definitions);
Json SchemaOfCng(Json& definitions);
Json SchemaOfWmi(Json& definitions);
Json SchemaOfInstaller(Json& definitions);
Json SchemaOfEvents(Json& definitions);
Json SchemaOfFaults(Json& definitions);

} // namespace winsim
