// Prints what KeloDescribe reads, as JSON: the fields of descriptions, and the names of what it asks Windows for. Tests
// compare it with the schema, the document and the program's calls.
#include "describe/asked.h"
#include "describe/captured_fields.h"
#include "winsim/base/json.h"

#include <iostream>

namespace
{

using describe::Places;
using winsim::Json;

// In place of the folders of a machine.
const Places kPlaces = {.windows = "<windows>",
                        .system = "<system>",
                        .programFiles = "<programFiles>",
                        .commonAppData = "<commonAppData>",
                        .program = "<toolkit>\\KeloCustomAction.exe",
                        .packages = {},
                        .ntruStack = "<stack>"};

Json Fields()
{
    Json fields = Json::array();
    for (const describe::FieldReading& reading : describe::FieldReadings())
    {
        Json field = {{"object", reading.object}, {"key", reading.key}};
        if (reading.source != nullptr)
            field["source"] = reading.source;
        if (reading.whyNotRead != nullptr)
            field["whyNotRead"] = reading.whyNotRead;
        fields.push_back(std::move(field));
    }
    return fields;
}

Json Keys()
{
    Json keys = Json::object();
    for (const describe::AskedKey& key : describe::AskedKeys())
        keys[key.path] = key.values;
    return keys;
}

Json Libraries()
{
    Json libraries = Json::object();
    for (const describe::AskedLibrary& library : describe::AskedLibraries(kPlaces))
        libraries[library.path] = library.functions;
    for (const describe::AskedSystemLibrary& library : describe::AskedSystemLibraries())
        libraries[library.name] = library.functions;
    return libraries;
}

Json List(std::span<const char* const> names)
{
    return Json(std::vector<std::string>(names.begin(), names.end()));
}

} // namespace

int main()
{
    const Json names = {{"fields", Fields()},
                        {"keys", Keys()},
                        {"files", describe::AskedFiles(kPlaces)},
                        {"libraries", Libraries()},
                        {"services", List(describe::AskedServices())},
                        {"processes", List(describe::AskedProcesses())},
                        {"variables", List(describe::AskedVariables())}};
    std::cout << names.dump(2) << "\n";
}
