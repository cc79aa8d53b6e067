// Reads machine descriptions: each JSON value knows its path, so that an error can name it.
#pragma once

#include "winsim/base/json.h"

#include <cstdint>
#include <limits>
#include <set>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

namespace winsim
{

// A description that cannot be used. The text names the value by its path, such as
// "services.Spooler.states[1].afterMs: not a number".
class DescriptionError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// One value of a description.
class Reader
{
public:
    Reader(const Json& value, std::string path) : m_value(value), m_path(std::move(path)) {}

    const Json& Value() const { return m_value; }
    const std::string& Path() const { return m_path; }

    // Each throws DescriptionError when the value is not of that kind.
    std::string Text() const;
    bool Flag() const;
    template <typename Number>
    Number As() const
    {
        static_assert(std::is_integral_v<Number>);
        return static_cast<Number>(Integer(std::numeric_limits<Number>::min(),
                                           std::is_same_v<Number, std::uint64_t>
                                               ? std::numeric_limits<std::int64_t>::max()
                                               : static_cast<std::int64_t>(std::numeric_limits<Number>::max())));
    }

    // Calls use(name, Reader) for each member of an object, and use(Reader) for each element of a list.
    template <typename Use>
    void Members(Use use) const
    {
        RequireObject();
        for (const auto& [name, value] : m_value.items())
            use(name, Reader{value, Below(name)});
    }
    template <typename Use>
    void Elements(Use use) const
    {
        if (!m_value.is_array())
            Fail("not a list");
        for (std::size_t i = 0; i < m_value.size(); ++i)
            use(Reader{m_value[i], m_path + "[" + std::to_string(i) + "]"});
    }

    [[noreturn]] void Fail(const std::string& what) const;

private:
    friend class ObjectReader;

    std::string Below(const std::string& name) const { return m_path.empty() ? name : m_path + "." + name; }
    void RequireObject() const;
    std::int64_t Integer(std::int64_t least, std::int64_t most) const;

    const Json& m_value;
    std::string m_path;
};

// Reads the members of one object by name, and reports members that were never asked for.
class ObjectReader
{
public:
    explicit ObjectReader(const Reader& reader) : m_reader(reader) { reader.RequireObject(); }

    // Sets `variable` from the member `name` if there is one. Returns whether there is.
    bool Read(const std::string& name, std::string& variable);
    bool Read(const std::string& name, bool& variable);
    template <typename Number>
    requires std::is_integral_v<Number>
    bool Read(const std::string& name, Number& variable)
    {
        return With(name, [&](const Reader& member) { variable = member.As<Number>(); });
    }

    // Calls use(Reader) with the member `name` if there is one. Returns whether there is.
    template <typename Use>
    bool With(const std::string& name, Use use)
    {
        m_known.insert(name);
        const auto member = m_reader.m_value.find(name);
        if (member == m_reader.m_value.end())
            return false;
        use(Reader{*member, m_reader.Below(name)});
        return true;
    }

    // Throws DescriptionError for the first member that was never asked for.
    void Done() const;

    const Reader& Self() const { return m_reader; }

private:
    Reader m_reader;
    std::set<std::string> m_known;
};

} // namespace winsim
