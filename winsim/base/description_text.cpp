// Reads the text of machine descriptions.
#include "winsim/base/description_text.h"

#include "winsim/base/description.h"

#include <set>
#include <string>
#include <vector>

namespace winsim
{

namespace
{

// Watches the parser for a key that an object has twice: the parser itself silently keeps the last value.
class DuplicateKeys
{
public:
    void See(Json::parse_event_t event, const Json& value)
    {
        switch (event)
        {
        case Json::parse_event_t::key:
            SeeKey(value.get<std::string>());
            break;
        case Json::parse_event_t::object_start:
            Begin(false);
            break;
        case Json::parse_event_t::array_start:
            Begin(true);
            break;
        case Json::parse_event_t::object_end:
        case Json::parse_event_t::array_end:
            m_open.pop_back();
            break;
        case Json::parse_event_t::value:
            SeeElement();
            break;
        }
    }

private:
    // An object or a list that is being read.
    struct Container
    {
        bool isList;
        std::size_t elements = 0;
        std::string key = {}; // the key that was read last
        std::set<std::string> keys = {};
    };

    void Begin(bool isList)
    {
        SeeElement();
        m_open.push_back({isList});
    }

    void SeeElement()
    {
        if (!m_open.empty())
            ++m_open.back().elements;
    }

    void SeeKey(const std::string& key)
    {
        m_open.back().key = key;
        if (!m_open.back().keys.insert(key).second)
            throw DescriptionError(Path() + ": this key is there twice");
    }

    std::string Path() const
    {
        std::string path;
        for (const Container& container : m_open)
        {
            if (container.isList)
                path += "[" + std::to_string(container.elements - 1) + "]";
            else
                path += (path.empty() ? "" : ".") + container.key;
        }
        return path;
    }

    std::vector<Container> m_open; // the innermost last
};

} // namespace

Json ParseDescription(std::string_view text)
{
    DuplicateKeys keys;
    try
    {
        return Json::parse(text, [&](int, Json::parse_event_t event, Json& value) {
            keys.See(event, value);
            return true;
        });
    }
    catch (const Json::exception& error)
    {
        throw DescriptionError(std::string("not JSON: ") + error.what());
    }
}

} // namespace winsim
