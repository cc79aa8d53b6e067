// How the areas of a machine's description are read, saved and checked.
#pragma once

#include "winsim/base/fields.h"

namespace winsim
{

// How an area whose keys are those of Fields<Area> is read and saved, and its schema. The source that declares the keys
// instantiates it.
template <typename Area>
struct AreaOfFields
{
    static void Load(const Reader& reader, Area& area);
    static Json Save(const Area& area);
    static Json Schema(Json& definitions);
};

template <typename Area>
void AreaOfFields<Area>::Load(const Reader& reader, Area& area)
{
    ReadFields(reader, area);
}

template <typename Area>
Json AreaOfFields<Area>::Save(const Area& area)
{
    return JsonOfFields(area);
}

template <typename Area>
Json AreaOfFields<Area>::Schema(Json& definitions)
{
    return SchemaOf<Area>(definitions);
}

// The schema of an area whose keys are full paths.
template <typename Value>
Json SchemaByPath(Json& definitions)
{
    return {{"type", "object"},
            {"additionalProperties", false},
            {"patternProperties", {{"^[A-Za-z]:", OrNull(SchemaOf<Value>(definitions))}}}};
}

struct Clock;
struct Cng;
struct ProcessInfo;
struct SmartCards;
struct Token;
struct WindowsInfo;
struct Wmi;

extern template struct AreaOfFields<Clock>;
extern template struct AreaOfFields<Cng>;
extern template struct AreaOfFields<ProcessInfo>;
extern template struct AreaOfFields<SmartCards>;
extern template struct AreaOfFields<Token>;
extern template struct AreaOfFields<WindowsInfo>;
extern template struct AreaOfFields<Wmi>;

// The schemas of the other areas. Each returns the schema of the area's value, and adds the definitions that it refers
// to.
Json SchemaOfFolders(Json& definitions);
Json SchemaOfEnvironment(Json& definitions);
Json SchemaOfRegistry(Json& definitions);
Json SchemaOfFiles(Json& definitions);
Json SchemaOfLibraries(Json& definitions);
Json SchemaOfPendingMoves(Json& definitions);
Json SchemaOfServices(Json& definitions);
Json SchemaOfProcesses(Json& definitions);
Json SchemaOfPrograms(Json& definitions);
Json SchemaOfInstaller(Json& definitions);
Json SchemaOfEvents(Json& definitions);
Json SchemaOfFaults(Json& definitions);

} // namespace winsim
