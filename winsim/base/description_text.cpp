// Reads the text of machine descriptions.
#include "winsim/base/description_text.h"

#include "winsim/base/description.h"

#include <algorithm>
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

// The place of a character, as people count: "line 3, column 14".
std::string PlaceOf(std::string_view text, std::size_t offset)
{
    const std::string_view before = text.substr(0, offset);
    const std::size_t lineBegin = before.rfind('\n') + 1; // 0 in the first line
    return "line " + std::to_string(std::ranges::count(before, '\n') + 1) + ", column " +
           std::to_string(offset - lineBegin + 1);
}

// What the parser says of a text that is not JSON, and where. It counts the line break that ends a wrong word, and
// reads on to the end of the text for the end of a comment.
std::string DescribeError(const Json::parse_error& error, std::string_view text)
{
    const std::string_view what = error.what();
    const std::string reason(what.substr(what.find(": ") + 2));
    if (reason.substr(0, reason.find("; last read")).ends_with("missing closing '*/'"))
        return PlaceOf(text, text.rfind("/*")) + ": a comment without an end";
    const std::size_t last = text.find_last_not_of(" \t\r\n", std::max(error.byte, std::size_t{1}) - 1);
    return PlaceOf(text, last == std::string_view::npos ? 0 : last) + ": " + reason;
}

// Which number is too large for the parser: it quotes the number last.
std::string DescribeOverflow(const Json::out_of_range& error)
{
    const std::string_view what = error.what();
    return "a number is too large: " + std::string(what.substr(what.find('\'')));
}

} // namespace

Json ParseDescription(std::string_view text)
{
    DuplicateKeys keys;
    try
    {
        const auto see = [&](int, Json::parse_event_t event, Json& value) {
            keys.See(event, value);
            return true;
        };
        constexpr bool kThrows = true;
        constexpr bool kIgnoresComments = true;
        return Json::parse(text, see, kThrows, kIgnoresComments);
    }
    catch (const Json::parse_error& error)
    {
        throw DescriptionError("not JSON: " + DescribeError(error, text));
    }
    catch (const Json::out_of_range& error)
    {
        throw DescriptionError(DescribeOverflow(error));
    }
}

} // namespace winsim
