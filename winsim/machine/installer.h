// The install session that a simulated machine offers to an exported entry point.
#pragma once

#include "winsim/base/description.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace winsim
{

// The answer to one query of a property: a text or an error.
struct PropertyAnswer
{
    std::string text;
    std::uint32_t error = 0;
    std::optional<std::uint32_t> size; // with an error: the text's length that is reported, in characters

    bool operator==(const PropertyAnswer&) const = default;
};

// The properties of the session. A property may change between queries: each query gets the next of its answers, and
// all later ones the last.
class Installer
{
public:
    void Load(const Reader& reader);
    Json ToJson() const;

    // The answer to a query of a property; `question` counts its queries from 0. An empty text if it is not set.
    PropertyAnswer AnswerTo(const std::string& property, std::size_t question) const;

    // The texts of all properties.
    std::vector<std::string> Texts() const;

    bool operator==(const Installer&) const = default;

private:
    std::map<std::string, std::vector<PropertyAnswer>> m_properties;
};

} // namespace winsim
