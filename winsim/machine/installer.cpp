// The properties of an install session, and their JSON form.
#include "winsim/machine/installer.h"

#include "winsim/base/fields.h"
#include "winsim/machine/areas.h"
#include "winsim/machine/windows_names.h"

#include <algorithm>

namespace winsim
{

template <>
struct Fields<PropertyAnswer>
{
    static constexpr char kName[] = "propertyAnswer";

    // 0 means success.
    struct Error : ErrorForm
    {
        Json Schema(Json& definitions) const
        {
            Json schema = ErrorForm::Schema(definitions);
            schema["anyOf"][0] = {{"type", "integer"}, {"minimum", 1}, {"maximum", 4294967295}};
            return schema;
        }
    };

    template <typename Visitor>
    static void Visit(Visitor& visit)
    {
        visit(Key{"error", "error with which asking for the property fails: a number or a name; required", "",
                  "no error"},
              Always(&PropertyAnswer::error, Error()));
        visit(Key{"size", "length of the text that the failing call reports", ""}, Member(&PropertyAnswer::size));
    }
};

namespace
{

// An answer is a text, or an object with an error.
struct AnswerForm
{
    void Read(const Reader& reader, PropertyAnswer& answer) const
    {
        if (reader.Value().is_string())
        {
            answer.text = reader.Text();
            return;
        }
        ReadFields(reader, answer);
        if (answer.error == 0)
            reader.Fail("no error");
    }
    Json Save(const PropertyAnswer& answer) const
    {
        return answer.error == 0 ? Json(answer.text) : JsonOfFields(answer);
    }
    Json Schema(Json& definitions) const
    {
        return {{"anyOf", {{{"type", "string"}}, SchemaOf<PropertyAnswer>(definitions)}}};
    }
};

// A property is one answer or a list of answers.
struct AnswersForm
{
    using Answers = std::vector<PropertyAnswer>;

    void Read(const Reader& reader, Answers& answers) const
    {
        if (!reader.Value().is_array())
            return AnswerForm().Read(reader, answers.emplace_back());
        List<PropertyAnswer, AnswerForm>().Read(reader, answers);
        if (answers.empty())
            reader.Fail("an empty list");
    }
    Json Save(const Answers& answers) const
    {
        return answers.size() == 1 ? AnswerForm().Save(answers.front())
                                   : List<PropertyAnswer, AnswerForm>().Save(answers);
    }
    Json Schema(Json& definitions) const
    {
        Json list = List<PropertyAnswer, AnswerForm>().Schema(definitions);
        list["minItems"] = 1;
        return {{"anyOf", {AnswerForm().Schema(definitions), std::move(list)}}};
    }
};

using Properties = std::map<std::string, std::vector<PropertyAnswer>>;

// The area in a description.
struct Session
{
    Properties properties;
};

} // namespace

template <>
struct Fields<Session>
{
    static constexpr char kName[] = "installer";

    template <typename Visitor>
    static void Visit(Visitor& visit)
    {
        visit(Key{"properties", "properties by name; one that is not described is empty", "none"},
              Always(&Session::properties, ByName<Properties, AnswersForm>()));
    }
};

void Installer::Load(const Reader& reader)
{
    Session session{std::move(m_properties)};
    ReadFields(reader, session);
    m_properties = std::move(session.properties);
}

Json Installer::ToJson() const
{
    return JsonOfFields(Session{m_properties});
}

Json SchemaOfInstaller(Json& definitions)
{
    return SchemaOf<Session>(definitions);
}

PropertyAnswer Installer::AnswerTo(const std::string& property, std::size_t question) const
{
    const auto answers = m_properties.find(property);
    if (answers == m_properties.end())
        return {};
    return answers->second[std::min(question, answers->second.size() - 1)];
}

std::vector<std::string> Installer::Texts() const
{
    std::vector<std::string> texts;
    for (const auto& [name, answers] : m_properties)
    {
        for (const PropertyAnswer& answer : answers)
            texts.push_back(answer.text);
    }
    return texts;
}

} // namespace winsim
