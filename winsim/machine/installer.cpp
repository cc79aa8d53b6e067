// Keeps the properties of an install session, and their JSON form.
#include "winsim/machine/installer.h"

#include <algorithm>

namespace winsim
{

namespace
{

// An answer is a text, or an object with an error.
PropertyAnswer AnswerOf(const Reader& reader)
{
    PropertyAnswer answer;
    if (reader.Value().is_string())
    {
        answer.text = reader.Text();
        return answer;
    }
    ObjectReader object{reader};
    if (!object.Read("error", answer.error) || answer.error == 0)
        reader.Fail("no error");
    object.With("size", [&](const Reader& size) { answer.size = size.As<std::uint32_t>(); });
    object.Done();
    return answer;
}

Json JsonOf(const PropertyAnswer& answer)
{
    if (answer.error == 0)
        return answer.text;
    Json json{{"error", answer.error}};
    if (answer.size)
        json["size"] = *answer.size;
    return json;
}

// A property is one answer, or a list of them.
std::vector<PropertyAnswer> AnswersOf(const Reader& reader)
{
    if (!reader.Value().is_array())
        return {AnswerOf(reader)};
    std::vector<PropertyAnswer> answers;
    reader.Elements([&](const Reader& answer) { answers.push_back(AnswerOf(answer)); });
    if (answers.empty())
        reader.Fail("an empty list");
    return answers;
}

} // namespace

void Installer::Load(const Reader& reader)
{
    ObjectReader object{reader};
    object.With("properties", [&](const Reader& properties) {
        properties.Members(
            [&](const std::string& name, const Reader& property) { m_properties[name] = AnswersOf(property); });
    });
    object.Done();
}

Json Installer::ToJson() const
{
    Json properties = Json::object();
    for (const auto& [name, answers] : m_properties)
    {
        if (answers.size() == 1)
        {
            properties[name] = JsonOf(answers.front());
            continue;
        }
        for (const PropertyAnswer& answer : answers)
            properties[name].push_back(JsonOf(answer));
    }
    return {{"properties", properties}};
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
