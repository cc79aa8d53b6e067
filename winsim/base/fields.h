// The keys of described objects, each declared once: reading, saving and the schema all use the same declaration.
#pragma once

#include "winsim/base/description.h"
#include "winsim/base/named_values.h"

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace winsim
{

// A key, explained for people: a description in the schema, and a row of a table in docs/machine.md.
struct Key
{
    const char* name;
    const char* meaning;
    const char* usual;             // the default, for people; empty: not mentioned
    const char* missing = nullptr; // for a required key: the error when it is missing
};

// The key's description in the schema.
inline std::string DescriptionOf(const Key& key)
{
    return *key.usual == '\0' ? key.meaning : std::string(key.meaning) + ". Default: " + key.usual;
}

// Declares the keys of an Object's description. Each kind of described object has a specialization:
//
//     template <>
//     struct Fields<CngImage>
//     {
//         static constexpr char kName[] = "cngImage"; // in the schema, and to mark the table in docs/machine.md
//
//         template <typename Visitor>
//         static void Visit(Visitor& visit)
//         {
//             visit(Key{"image", "the library's file name", "`\"\"`"}, Always(&CngImage::image));
//         }
//     };
//
// The second argument says how the key's value is read into an object, saved and checked:
//
//     void Read(const Reader& reader, Object& object) const;
//     std::optional<Json> Save(const Object& object, const Object& usual) const; // none: the key is left out
//     Json Schema(Json& definitions) const;                                      // adds what it refers to
template <typename Object>
struct Fields;

// ---- Forms: how the value of one type is described ------------------------------------------------------------------

// A reference to a definition of the schema.
inline Json Definition(const char* name)
{
    return {{"$ref", std::string("#/$defs/") + name}};
}

template <typename Object>
Json SchemaOf(Json& definitions);
template <typename Object>
void ReadFields(const Reader& reader, Object& object);
template <typename Object>
Json JsonOfFields(const Object& object, const Object& usual = {});

// The usual form of a type.
template <typename Type>
struct Plain
{
    void Read(const Reader& reader, Type& value) const
    {
        if constexpr (std::is_same_v<Type, bool>)
            value = reader.Flag();
        else if constexpr (std::is_same_v<Type, std::string>)
            value = reader.Text();
        else if constexpr (std::is_integral_v<Type>)
            value = reader.As<Type>();
        else
            ReadFields(reader, value);
    }

    Json Save(const Type& value) const
    {
        if constexpr (std::is_integral_v<Type> || std::is_same_v<Type, std::string>)
            return value;
        else
            return JsonOfFields(value);
    }

    Json Schema(Json& definitions) const
    {
        if constexpr (std::is_same_v<Type, bool>)
            return {{"type", "boolean"}};
        else if constexpr (std::is_same_v<Type, std::string>)
            return {{"type", "string"}};
        else if constexpr (std::is_same_v<Type, std::uint16_t>)
            return Definition("word");
        else if constexpr (std::is_same_v<Type, std::uint32_t>)
            return Definition("dword");
        else if constexpr (std::is_same_v<Type, std::int32_t>)
            return Definition("long");
        else if constexpr (std::is_same_v<Type, std::uint64_t>)
            return Definition("size");
        else
            return SchemaOf<Type>(definitions);
    }
};

// A list of values of one form.
template <typename Type, typename Form = Plain<Type>>
struct List
{
    Form form = {};

    void Read(const Reader& reader, std::vector<Type>& values) const
    {
        values.clear();
        reader.Elements([&](const Reader& element) {
            Type value{};
            form.Read(element, value);
            values.push_back(std::move(value));
        });
    }

    Json Save(const std::vector<Type>& values) const
    {
        Json json = Json::array();
        for (const Type& value : values)
            json.push_back(form.Save(value));
        return json;
    }

    Json Schema(Json& definitions) const { return {{"type", "array"}, {"items", form.Schema(definitions)}}; }
};

// The schema, extended by null: a description removes a freely named key with null.
inline Json OrNull(Json schema)
{
    if (schema.contains("anyOf"))
    {
        schema["anyOf"].push_back({{"type", "null"}});
        return schema;
    }
    return {{"anyOf", {std::move(schema), {{"type", "null"}}}}};
}

// A map from names to values of one form.
template <typename Map, typename Form = Plain<typename Map::mapped_type>>
struct ByName
{
    Form form = {};

    void Read(const Reader& reader, Map& values) const
    {
        reader.Members([&](const std::string& name, const Reader& member) {
            typename Map::mapped_type value{};
            form.Read(member, value);
            values[name] = std::move(value);
        });
    }

    Json Save(const Map& values) const
    {
        Json json = Json::object();
        for (const auto& [name, value] : values)
            json[name] = form.Save(value);
        return json;
    }

    Json Schema(Json& definitions) const
    {
        return {{"type", "object"}, {"additionalProperties", OrNull(form.Schema(definitions))}};
    }
};

// A number that descriptions may write as a name.
struct Named
{
    std::span<const NamedValue> names;
    const char* what; // what a value has to be, for errors

    template <typename Number>
    void Read(const Reader& reader, Number& value) const
    {
        value = reader.Value().is_number() ? reader.As<Number>() : static_cast<Number>(ReadNamed(reader, names, what));
    }

    Json Save(std::uint32_t value) const { return NameOf(value, names); }

    Json Schema(Json&) const
    {
        Json known = Json::array();
        for (const NamedValue& name : names)
            known.push_back(name.name);
        return {{"anyOf", {{{"enum", known}}, Definition("dword")}}};
    }
};

// A form made of functions: `read(reader)` returns the value, and `save(value)` its JSON. `schema` is JSON text.
template <typename ReadValue, typename SaveValue>
struct OwnForm
{
    ReadValue read;
    SaveValue save;
    const char* schema;

    template <typename Type>
    void Read(const Reader& reader, Type& value) const
    {
        value = read(reader);
    }
    template <typename Type>
    Json Save(const Type& value) const
    {
        return save(value);
    }
    Json Schema(Json&) const { return Json::parse(schema); }
};
template <typename ReadValue, typename SaveValue>
OwnForm(ReadValue, SaveValue, const char*) -> OwnForm<ReadValue, SaveValue>;

// Effects: a description that is applied later (winsim/machine/effects.h); null for none.
struct EffectsForm
{
    void Read(const Reader& reader, Json& effects) const
    {
        if (!reader.Value().is_object())
            reader.Fail("not an object");
        effects = reader.Value();
    }
    Json Save(const Json& effects) const { return effects; }
    Json Schema(Json&) const { return Definition("effects"); }
};

// ---- Members: which value of an object belongs to a key -------------------------------------------------------------

template <typename Object, typename Type, typename Form>
struct MemberField
{
    Type Object::*member;
    Form form;
    bool isAlwaysSaved; // even with its usual value

    void Read(const Reader& reader, Object& object) const { form.Read(reader, object.*member); }
    std::optional<Json> Save(const Object& object, const Object& usual) const
    {
        if (!isAlwaysSaved && object.*member == usual.*member)
            return std::nullopt;
        return form.Save(object.*member);
    }
    Json Schema(Json& definitions) const { return form.Schema(definitions); }
};

template <typename Object, typename Type, typename Form>
struct MemberField<Object, std::optional<Type>, Form>
{
    std::optional<Type> Object::*member;
    Form form;
    bool isAlwaysSaved; // not used: a value is saved if there is one

    void Read(const Reader& reader, Object& object) const { form.Read(reader, (object.*member).emplace()); }
    std::optional<Json> Save(const Object& object, const Object&) const
    {
        return object.*member ? std::optional<Json>(form.Save(*(object.*member))) : std::nullopt;
    }
    Json Schema(Json& definitions) const { return form.Schema(definitions); }
};

template <typename Type>
struct UsualForm
{
    using Form = Plain<Type>;
};
template <typename Type>
struct UsualForm<std::optional<Type>>
{
    using Form = typename UsualForm<Type>::Form;
};
template <typename Type>
struct UsualForm<std::vector<Type>>
{
    using Form = List<Type>;
};
template <typename Type, typename Order>
struct UsualForm<std::map<std::string, Type, Order>>
{
    using Form = ByName<std::map<std::string, Type, Order>, typename UsualForm<Type>::Form>;
};

// Member: saved if it differs from its usual value. Always: always saved.
template <typename Object, typename Type, typename Form = typename UsualForm<Type>::Form>
auto Member(Type Object::*member, Form form = {})
{
    return MemberField<Object, Type, Form>{member, form, false};
}
template <typename Object, typename Type, typename Form = typename UsualForm<Type>::Form>
auto Always(Type Object::*member, Form form = {})
{
    return MemberField<Object, Type, Form>{member, form, true};
}

// A field made of functions: `read(reader, object)`, and `save(object)`, which may return nothing. `form` is for the
// schema.
template <typename ReadObject, typename SaveObject, typename Form>
struct OwnField
{
    ReadObject read;
    SaveObject save;
    Form form;

    template <typename Object>
    void Read(const Reader& reader, Object& object) const
    {
        read(reader, object);
    }
    template <typename Object>
    std::optional<Json> Save(const Object& object, const Object&) const
    {
        return save(object);
    }
    Json Schema(Json& definitions) const { return form.Schema(definitions); }
};
template <typename ReadObject, typename SaveObject, typename Form>
OwnField(ReadObject, SaveObject, Form) -> OwnField<ReadObject, SaveObject, Form>;

// A form that has nothing but a schema (JSON text).
struct SchemaText
{
    const char* schema;

    Json Schema(Json&) const { return Json::parse(schema); }
};

constexpr SchemaText kTextSchema{R"({"type": "string"})"};

// Visits the fields of a part of the object as if they were the object's own.
template <typename Visitor, typename Object, typename Part>
struct InPart
{
    Visitor& visit;
    Part Object::*part;

    template <typename Field>
    struct Moved
    {
        Part Object::*part;
        Field field;

        void Read(const Reader& reader, Object& object) const { field.Read(reader, object.*part); }
        std::optional<Json> Save(const Object& object, const Object& usual) const
        {
            return field.Save(object.*part, usual.*part);
        }
        Json Schema(Json& definitions) const { return field.Schema(definitions); }
    };

    template <typename Field>
    void operator()(const Key& key, const Field& field)
    {
        visit(key, Moved<Field>{part, field});
    }
};
template <typename Visitor, typename Object, typename Part>
void VisitPart(Visitor& visit, Part Object::*part)
{
    InPart<Visitor, Object, Part> moved{visit, part};
    Fields<Part>::Visit(moved);
}

// ---- Visitors -------------------------------------------------------------------------------------------------------

// Reads each key that the description has.
template <typename Object>
struct FieldReader
{
    ObjectReader& object;
    Object& into;

    template <typename Field>
    void operator()(const Key& key, const Field& field)
    {
        const bool isThere = object.With(key.name, [&](const Reader& member) { field.Read(member, into); });
        if (!isThere && key.missing != nullptr)
            object.Self().Fail(key.missing);
    }
};

template <typename Object>
void ReadFields(ObjectReader& reader, Object& object)
{
    FieldReader<Object> visit{reader, object};
    Fields<Object>::Visit(visit);
    reader.Done();
}

template <typename Object>
void ReadFields(const Reader& reader, Object& object)
{
    ObjectReader members{reader};
    ReadFields(members, object);
}

// Saves each key whose value differs from the usual one.
template <typename Object>
struct FieldWriter
{
    Json& json;
    const Object& object;
    const Object& usual;

    template <typename Field>
    void operator()(const Key& key, const Field& field)
    {
        if (std::optional<Json> saved = field.Save(object, usual))
            json[key.name] = std::move(*saved);
    }
};

template <typename Object>
Json JsonOfFields(const Object& object, const Object& usual)
{
    Json json = Json::object();
    FieldWriter<Object> visit{json, object, usual};
    Fields<Object>::Visit(visit);
    return json;
}

// Writes the schema of each key.
struct SchemaWriter
{
    Json& definitions;
    Json properties = Json::object();
    Json required = Json::array();

    template <typename Field>
    void operator()(const Key& key, const Field& field)
    {
        Json schema{{"description", DescriptionOf(key)}};
        schema.update(field.Schema(definitions));
        properties[key.name] = std::move(schema);
        if (key.missing != nullptr)
            required.push_back(key.name);
    }
};

// The schema of an Object's description: a reference to the definition with its name, which is added if it is missing.
template <typename Object>
Json SchemaOf(Json& definitions)
{
    const char* const name = Fields<Object>::kName;
    if (!definitions.contains(name))
    {
        definitions[name] = nullptr;
        SchemaWriter visit{definitions};
        Fields<Object>::Visit(visit);
        Json schema{{"type", "object"}};
        if (!visit.required.empty())
            schema["required"] = std::move(visit.required);
        schema["additionalProperties"] = false;
        schema["properties"] = std::move(visit.properties);
        definitions[name] = std::move(schema);
    }
    return Definition(name);
}

} // namespace winsim
