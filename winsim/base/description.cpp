// Reads values of machine descriptions.
#include "winsim/base/description.h"

namespace winsim
{

void Reader::Fail(const std::string& what) const
{
    throw DescriptionError((m_path.empty() ? "description" : m_path) + ": " + what);
}

std::string Reader::Text() const
{
    if (!m_value.is_string())
        Fail("not a text");
    return m_value.get<std::string>();
}

bool Reader::Flag() const
{
    if (!m_value.is_boolean())
        Fail("not true or false");
    return m_value.get<bool>();
}

std::int64_t Reader::Integer(std::int64_t least, std::int64_t most) const
{
    if (!m_value.is_number_integer())
        Fail("not a number");
    const bool tooLarge =
        m_value.is_number_unsigned() && m_value.get<std::uint64_t>() > static_cast<std::uint64_t>(most);
    if (tooLarge || m_value.get<std::int64_t>() < least || m_value.get<std::int64_t>() > most)
        Fail("not a number from " + std::to_string(least) + " to " + std::to_string(most));
    return m_value.get<std::int64_t>();
}

void Reader::RequireObject() const
{
    if (!m_value.is_object())
        Fail("not an object");
}

bool ObjectReader::Read(const std::string& name, std::string& variable)
{
    return With(name, [&](const Reader& member) { variable = member.Text(); });
}

bool ObjectReader::Read(const std::string& name, bool& variable)
{
    return With(name, [&](const Reader& member) { variable = member.Flag(); });
}

void ObjectReader::Done() const
{
    for (const auto& [name, value] : m_reader.m_value.items())
    {
        if (!m_known.contains(name))
            Reader{value, m_reader.Below(name)}.Fail("unknown key");
    }
}

} // namespace winsim
