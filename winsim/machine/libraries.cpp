// Keeps what the libraries of a simulated machine do, and their JSON form.
#include "winsim/machine/libraries.h"

#include "winsim/base/processor_fault.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

namespace winsim
{

namespace
{

constexpr ThrownThing kThrownThings[] = {
    {kAccessViolation.name, [] { throw kAccessViolation; }},
    {kDivisionByZero.name, [] { throw kDivisionByZero; }},
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

const StringTable* TableOfFile(const std::string& path)
{
    return TableOfLibrary(path.substr(path.rfind('\\') + 1));
}

Texts StringTableOf(const Reader& reader)
{
    Texts texts;
    reader.Members([&](const std::string& id, const Reader& text) {
        std::uint32_t number = 0;
        const auto [end, error] = std::from_chars(id.data(), id.data() + id.size(), number);
        if (error != std::errc{} || end != id.data() + id.size())
            text.Fail("not the number of a text");
        texts[number] = text.Text();
    });
    return texts;
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
    object.With("strings", [&](const Reader& strings) {
        if (!strings.Value().is_string())
        {
            texts = StringTableOf(strings);
            return;
        }
        table = strings.Text();
        if (!StringTables().contains(table))
            strings.Fail("not the name of a table of texts, such as \"de\"");
    });
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
    if (!table.empty())
        json["strings"] = table;
    if (texts)
    {
        Json& strings = json["strings"] = Json::object();
        for (const auto& [id, text] : *texts)
            strings[std::to_string(id)] = text;
    }
    return json;
}

const Texts& Library::TextsAt(const std::string& path) const
{
    static const Texts none;
    if (texts)
        return *texts;
    const StringTable* held = table.empty() ? TableOfFile(path) : &StringTables().at(table);
    return held == nullptr ? none : held->texts;
}

bool IsResourceLibrary(const std::string& path)
{
    return TableOfFile(path) != nullptr;
}

} // namespace winsim
