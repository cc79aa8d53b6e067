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

// What one question for a property is answered with: a text, or an error.
struct PropertyAnswer
{
    std::string text;
    std::uint32_t error = 0;
    std::optional<std::uint32_t> size; // what an error says of the length of the text, in characters

    bool operator==(const PropertyAnswer&) const = default;
};

// The properties of the session. A property may change while it is asked for: each question has the next of its
// answers, and the last one stays.
class Installer
{
public:
    void Load(const Reader& reader);
    Json ToJson() const;

    // The answer to the question-th question for a property, from 0 on; an empty text for one that is not set.
    PropertyAnswer AnswerTo(const std::string& property, std::size_t question) const;

    // The texts of all properties.
    std::vector<std::string> Texts() const;

    bool operator==(const Installer&) const = default;

private:
    std::map<std::string, std::vector<PropertyAnswer>> m_properties;
};

} // namespace winsim
