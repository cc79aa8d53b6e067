// What could not be read of a machine.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace describe
{

class Notes
{
public:
    // `place` is a path in the description, such as "services.TBS"; `why` is for people.
    void Add(const std::string& place, const std::string& why) { m_texts.push_back(place + ": " + why); }
    // The same for a Windows call that failed with an error.
    void AddError(const std::string& place, std::uint32_t error)
    {
        Add(place, "not read, error " + std::to_string(error));
    }

    const std::vector<std::string>& Texts() const { return m_texts; }

private:
    std::vector<std::string> m_texts;
};

} // namespace describe
