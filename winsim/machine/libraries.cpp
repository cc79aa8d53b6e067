// What the libraries of a simulated machine do, and their JSON form.
#include "winsim/machine/libraries.h"

#include "winsim/base/fields.h"
#include "winsim/base/processor_fault.h"
#include "winsim/machine/areas.h"
#include "winsim/machine/windows_names.h"

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

// What a function throws, by its name.
struct ThrownForm
{
    void Read(const Reader& reader, std::string& thrown) const
    {
        thrown = reader.Text();
        if (std::ranges::none_of(kThrownThings, [&](const ThrownThing& one) { return thrown == one.name; }))
            reader.Fail("not a thing that a function throws, such as \"access violation\"");
    }
    Json Save(const std::string& thrown) const { return thrown; }
    Json Schema(Json&) const
    {
        Json names = Json::array();
        for (const ThrownThing& thing : kThrownThings)
            names.push_back(thing.name);
        return {{"enum", names}};
    }
};

// Accepts anything: errors in effects are found when they are tried.
struct AnyEffectsForm : EffectsForm
{
    void Read(const Reader& reader, Json& effects) const { effects = reader.Value(); }
};

// A function is described by its result, or by an object.
struct ExportForm
{
    void Read(const Reader& reader, LibraryExport& function) const
    {
        if (reader.Value().is_number())
            function.result = reader.As<std::int32_t>();
        else
            ReadFields(reader, function);
    }
    Json Save(const LibraryExport& function) const
    {
        if (function.throws.empty() && function.effects.is_null())
            return function.result;
        return JsonOfFields(function);
    }
    Json Schema(Json& definitions) const
    {
        return {{"anyOf", {Definition("long"), SchemaOf<LibraryExport>(definitions)}}};
    }
};

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
            text.Fail("not a text's identifier, a number");
        texts[number] = text.Text();
    });
    return texts;
}

void ReadStrings(const Reader& reader, Library& library)
{
    if (!reader.Value().is_string())
    {
        library.texts = StringTableOf(reader);
        return;
    }
    library.table = reader.Text();
    if (!StringTables().contains(library.table))
        reader.Fail("not the name of a string table such as \"de\"");
}

std::optional<Json> SavedStrings(const Library& library)
{
    if (!library.texts)
        return library.table.empty() ? std::optional<Json>() : Json(library.table);
    Json strings = Json::object();
    for (const auto& [id, text] : *library.texts)
        strings[std::to_string(id)] = text;
    return strings;
}

constexpr char kStringsSchema[] = R"({"anyOf": [
    {"type": "string"},
    {"type": "object", "additionalProperties": false, "patternProperties": {"^[0-9]+$": {"type": ["string", "null"]}}}
]})";

} // namespace

template <>
struct Fields<LibraryExport>
{
    static constexpr char kName[] = "libraryExport";

    template <typename Visitor>
    static void Visit(Visitor& visit)
    {
        visit(Key{"result", "what the function returns; may be negative", "`0`"}, Always(&LibraryExport::result));
        visit(Key{"throws",
                  "what the function throws instead of returning: `\"access violation\"`, `\"division by zero\"`, "
                  "`\"C++ exception\"` or `\"number\"`",
                  "nothing"},
              Member(&LibraryExport::throws, ThrownForm()));
        visit(Key{"effects", "how a call changes the machine: a description", "not at all"},
              Member(&LibraryExport::effects, AnyEffectsForm()));
    }
};

template <>
struct Fields<Library>
{
    static constexpr char kName[] = "library";
    using Exports = decltype(Library::exports);

    template <typename Visitor>
    static void Visit(Visitor& visit)
    {
        visit(Key{"exports", "functions by name; each is a number, its result, or an object", "none"},
              Member(&Library::exports, ByName<Exports, ExportForm>()));
        visit(Key{"missing", "functions that one of Windows' libraries lacks on this machine: a list of names", "none"},
              Member(&Library::missing));
        visit(Key{"loadError", "error with which loading it fails: a number or a name", "`0`, it can be loaded"},
              Member(&Library::loadError, ErrorForm()));
        visit(Key{"strings",
                  "string resources: a text for each number, or the name of one of the program's tables, such as "
                  "`\"de\"`",
                  "the table that its file name stands for"},
              OwnField{&ReadStrings, &SavedStrings, SchemaText{kStringsSchema}});
    }
};

std::span<const ThrownThing> ThrownThings()
{
    return kThrownThings;
}

void Library::Load(const Reader& reader)
{
    ReadFields(reader, *this);
}

Json Library::ToJson() const
{
    return JsonOfFields(*this);
}

Json SchemaOfLibraries(Json& definitions)
{
    return SchemaByPath<Library>(definitions);
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
