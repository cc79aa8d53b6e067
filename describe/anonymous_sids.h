// Identifiers of users and groups that tell nothing about them.
#pragma once

#include <map>
#include <string>

namespace describe
{

// Gives each machine and domain a made-up identifier. Well-known users and groups, such as the administrators, keep
// theirs.
class AnonymousSids
{
public:
    // The text of a SID in memory, made anonymous. The same SID always becomes the same text.
    std::string TextOf(const void* sid);
    std::string Anonymous(const std::string& sid);

private:
    std::map<std::string, std::size_t> m_domains;
    std::map<std::string, std::size_t> m_others;
};

} // namespace describe
