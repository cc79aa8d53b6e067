// Numbers that descriptions may write as names.
#pragma once

#include "winsim/base/description.h"

#include <cstdint>
#include <span>
#include <string>

namespace winsim
{

struct NamedValue
{
    std::uint32_t value;
    const char* name;
};

// The value of a name or of a plain number. Throws DescriptionError; `what` says what a value has to be.
inline std::uint32_t ReadNamed(const Reader& reader, std::span<const NamedValue> names, const char* what)
{
    if (reader.Value().is_number())
        return reader.As<std::uint32_t>();
    const std::string text = reader.Text();
    std::string known;
    for (const NamedValue& entry : names)
    {
        if (text == entry.name)
            return entry.value;
        known += std::string(known.empty() ? "" : ", ") + entry.name;
    }
    reader.Fail(std::string("not ") + what + " (" + known + ")");
}

// The name of a value, or the number if it has no name.
inline Json NameOf(std::uint32_t value, std::span<const NamedValue> names)
{
    for (const NamedValue& entry : names)
    {
        if (value == entry.value)
            return entry.name;
    }
    return value;
}

} // namespace winsim
