// The keys of described objects, each declared once: what reads descriptions, what saves them and what writes their
// schema come from the same declaration.
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

// What a key is for people. The schema has it as a description, and docs/machine.md as a row of a table.
struct Key
{
    const char* name;
    const char* meaning;
    const char* usual;             // what counts without it
    const char* missing = nullptr; // for a key that must be there: what is said when it is not
};

// What the schema says of a key.
inline std::string DescriptionOf(const Key& key)
{
    return *key.usual == '\0' ? key.meaning : std::string(key.meaning) + ". Default: " + key.usual;
}

// The keys of the objects that describe an Object. There is one of these for each kind of described object:
//
//     template <>
//     struct Fields<CngImage>
//     {
//         static constexpr char kName[] = "cngImage"; // in the schema, and before the table in docs/machine.md
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
//     Json Schema(Json& definitions) const;                                      // adds those that it refers to
template <typename Object>
struct Fields;

// ---- Forms: how the value of one type is described ------------------------------------------------------------------

// The reference to a definition.
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

// What fits a schema, or null: a key of a free name can be taken away.
inline Json OrNull(Json schema)
{
    if (schema.contains("anyOf"))
    {
        schema["anyOf"].push_back({{"type", "null"}});
        return schema;
    }
    return {{"anyOf", {std::move(schema), {{"type", "null"}}}}};
}

// Values of one form by names.
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

// A number that goes by names.
struct Named
{
    std::span<const NamedValue> names;
    const char* what; // a value has to be

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

// A form of its own: `read(reader)` gives the value, `save(value)` its JSON, and `schema` is a text.
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

// A description for later (winsim/machine/effects.h), or null for none.
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

// ---- Members: which value of an object a key stands for -------------------------------------------------------------

template <typename Object, typename Type, typename Form>
struct MemberField
{
    Type Object::*member;
    Form form;
    bool isAlwaysSaved; // also when it is as usual

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
    bool isAlwaysSaved; // never when there is none

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

// A member that is saved when it differs from the usual one, and one that is saved always.
template <typename Object, typename Type>
auto Member(Type Object::*member)
{
    return MemberField<Object, Type, typename UsualForm<Type>::Form>{member, {}, false};
}
template <typename Object, typename Type, typename Form>
auto Member(Type Object::*member, Form form)
{
    return MemberField<Object, Type, Form>{member, form, false};
}
template <typename Object, typename Type>
auto Always(Type Object::*member)
{
    return MemberField<Object, Type, typename UsualForm<Type>::Form>{member, {}, true};
}
template <typename Object, typename Type, typename Form>
auto Always(Type Object::*member, Form form)
{
    return MemberField<Object, Type, Form>{member, form, true};
}

// A field of its own: `read(reader, object)`, `save(object)`, which may give nothing, and a form for the schema.
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

// A form that is only checked.
struct SchemaText
{
    const char* schema;

    Json Schema(Json&) const { return Json::parse(schema); }
};

// The fields of a part that is a member of the object.
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

// Reads each key that is there.
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

// Saves each key whose value is not as usual.
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

// Describes each key.
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

// The schema of the objects that describe an Object: a reference to a definition of its name, which is added when it is
// not there.
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
