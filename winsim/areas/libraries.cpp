// Keeps what the libraries of a simulated machine do, and their JSON form.
#include "winsim/areas/libraries.h"

#include <algorithm>
#include <stdexcept>

namespace winsim
{

namespace
{

struct AccessViolation
{};
struct DivisionByZero
{};

constexpr ThrownThing kThrownThings[] = {
    {"access violation", [] { throw AccessViolation{}; }},
    {"division by zero", [] { throw DivisionByZero{}; }},
    {"C++ exception", [] { throw std::runtime_error("thrown by a library"); }},
    {"number", [] { throw 42; }},
};

// A function is described by its result, or by an object.
LibraryExport ExportOf(const Reader& reader)
{
    LibraryExport function;
    if (reader.Value().is_number())
    {
        function.result = reader.As<std::int32_t>();
        return function;
    }
    ObjectReader object{reader};
    object.Read("result", function.result);
    object.With("throws", [&](const Reader& thrown) {
        function.throws = thrown.Text();
        if (std::ranges::none_of(kThrownThings, [&](const ThrownThing& one) { return function.throws == one.name; }))
            thrown.Fail("nothing that a function throws, such as \"access violation\"");
    });
    object.With("effects", [&](const Reader& effects) { function.effects = effects.Value(); });
    object.Done();
    return function;
}

Json JsonOf(const LibraryExport& function)
{
    if (function.throws.empty() && function.effects.is_null())
        return function.result;
    Json json{{"result", function.result}};
    if (!function.throws.empty())
        json["throws"] = function.throws;
    if (!function.effects.is_null())
        json["effects"] = function.effects;
    return json;
}

} // namespace

std::span<const ThrownThing> ThrownThings()
{
    return kThrownThings;
}

void Library::Load(const Reader& reader)
{
    ObjectReader object{reader};
    object.With("exports", [&](const Reader& functions) {
        functions.Members([&](const std::string& name, const Reader& function) { exports[name] = ExportOf(function); });
    });
    object.With("missing", [&](const Reader& names) {
        names.Elements([&](const Reader& name) { missing.push_back(name.Text()); });
    });
    object.Read("loadError", loadError);
    object.Done();
}

Json Library::ToJson() const
{
    Json json = Json::object();
    for (const auto& [name, function] : exports)
        json["exports"][name] = JsonOf(function);
    if (!missing.empty())
        json["missing"] = missing;
    if (loadError != 0)
        json["loadError"] = loadError;
    return json;
}

} // namespace winsim
