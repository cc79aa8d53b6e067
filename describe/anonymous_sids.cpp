// Makes identifiers of users and groups anonymous.
#include "describe/anonymous_sids.h"

#include "winsim/base/sid.h"

namespace describe
{

namespace
{

constexpr char kDomainUsers[] = "S-1-5-21-"; // of machines and domains: three numbers and that of the user follow
constexpr char kCloudUsers[] = "S-1-12-1-";

std::string Made(std::size_t domain, const std::string& user)
{
    return kDomainUsers + ("0-0-" + std::to_string(domain)) + "-" + user;
}

// A name's number, in the order in which names are first seen, from 1 on.
std::size_t NumberOf(std::map<std::string, std::size_t>& numbers, const std::string& name)
{
    return numbers.try_emplace(name, numbers.size() + 1).first->second;
}

} // namespace

std::string AnonymousSids::TextOf(const void* sid)
{
    return Anonymous(winsim::TextOfSid(sid));
}

std::string AnonymousSids::Anonymous(const std::string& sid)
{
    if (sid.starts_with(kCloudUsers))
        return Made(0, std::to_string(1000 + NumberOf(m_others, sid)));
    if (!sid.starts_with(kDomainUsers))
        return sid;
    const std::size_t end = sid.rfind('-');
    return Made(NumberOf(m_domains, sid.substr(0, end)), sid.substr(end + 1));
}

} // namespace describe
