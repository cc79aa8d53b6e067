// Numbers that go by names in descriptions.
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

// A value given by one of the names, or as a plain number.
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

// The name of a value, or the number when it has none.
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
