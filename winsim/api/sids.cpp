// SIDs, and access lists as Windows lays them out.
#include "winsim/api/sids.h"

#include "winsim/base/sid.h"
#include "winsim/process/gate.h"
#include "winsim/process/simulation.h"

#include "securitybaseapi.h"

#include <cstring>

namespace winsim
{

namespace
{

struct SidBlock
{
    static constexpr char kKind[] = "sid";
};

constexpr BYTE kSubAuthorityParameters = 8;

template <typename Value>
void Append(std::vector<std::uint8_t>& bytes, const Value& value, std::size_t size)
{
    const std::size_t end = bytes.size();
    bytes.resize(end + size);
    std::memcpy(bytes.data() + end, &value, size);
}

} // namespace

std::optional<std::string> SidText(const Call& call, const void* sid)
{
    HandleTable& handles = Simulation::Current().handles;
    if (handles.IsOpen<SidBlock>(sid))
        return TextOfSid(sid);
    handles.NoteViolation(std::string(call.Name()) + ": a SID that was never made or was freed");
    return std::nullopt;
}

Json NotedSid(const void* sid)
{
    if (sid == nullptr)
        return nullptr;
    const HandleTable& handles = Simulation::Current().handles;
    return handles.IsOpen<SidBlock>(sid) ? Json(TextOfSid(sid)) : handles.NameOf(sid);
}

std::vector<std::uint8_t> BytesOfAcl(const std::vector<AccessEntry>& entries)
{
    std::vector<std::uint8_t> bytes;
    for (const AccessEntry& entry : entries)
    {
        const std::vector<std::uint8_t> sid = BytesOfSid(entry.trustee);
        ACCESS_ALLOWED_ACE ace{};
        const std::size_t fixedSize = sizeof ace - sizeof ace.SidStart;
        ace.Header.AceType = entry.isDenial ? ACCESS_DENIED_ACE_TYPE : ACCESS_ALLOWED_ACE_TYPE;
        ace.Header.AceFlags = static_cast<BYTE>(entry.inheritance);
        ace.Header.AceSize = static_cast<WORD>(fixedSize + sid.size());
        ace.Mask = entry.mask;
        Append(bytes, ace, fixedSize);
        bytes.insert(bytes.end(), sid.begin(), sid.end());
    }
    ACL header{};
    header.AclRevision = ACL_REVISION;
    header.AclSize = static_cast<WORD>(sizeof header + bytes.size());
    header.AceCount = static_cast<WORD>(entries.size());
    std::vector<std::uint8_t> acl;
    Append(acl, header, sizeof header);
    acl.insert(acl.end(), bytes.begin(), bytes.end());
    return acl;
}

std::vector<AccessEntry> EntriesOfAcl(const ACL* acl)
{
    std::vector<AccessEntry> entries;
    const auto* position = reinterpret_cast<const std::uint8_t*>(acl + 1);
    for (WORD i = 0; i < acl->AceCount; ++i)
    {
        ACCESS_ALLOWED_ACE ace;
        const std::size_t fixedSize = sizeof ace - sizeof ace.SidStart;
        std::memcpy(&ace, position, fixedSize);
        entries.push_back({TextOfSid(position + fixedSize), ace.Mask, ace.Header.AceFlags,
                           ace.Header.AceType == ACCESS_DENIED_ACE_TYPE});
        position += ace.Header.AceSize;
    }
    return entries;
}

Json NotedAcl(const ACL* acl)
{
    if (acl == nullptr)
        return nullptr;
    Json list = Json::array();
    for (const AccessEntry& entry : EntriesOfAcl(acl))
        list.push_back({{"AceType", entry.isDenial ? ACCESS_DENIED_ACE_TYPE : ACCESS_ALLOWED_ACE_TYPE},
                        {"AceFlags", entry.inheritance},
                        {"Mask", entry.mask},
                        {"Sid", entry.trustee}});
    return list;
}

} // namespace winsim

using winsim::Call;
using winsim::Simulation;

BOOL WINAPI AllocateAndInitializeSid(PSID_IDENTIFIER_AUTHORITY pIdentifierAuthority, BYTE nSubAuthorityCount,
                                     DWORD nSubAuthority0, DWORD nSubAuthority1, DWORD nSubAuthority2,
                                     DWORD nSubAuthority3, DWORD nSubAuthority4, DWORD nSubAuthority5,
                                     DWORD nSubAuthority6, DWORD nSubAuthority7, PSID* pSid)
{
    Call call{__func__};
    call.In("pIdentifierAuthority", winsim::Json(pIdentifierAuthority->Value))
        .In("nSubAuthorityCount", static_cast<DWORD>(nSubAuthorityCount));
    const DWORD subAuthorities[winsim::kSubAuthorityParameters] = {nSubAuthority0, nSubAuthority1, nSubAuthority2,
                                                                   nSubAuthority3, nSubAuthority4, nSubAuthority5,
                                                                   nSubAuthority6, nSubAuthority7};
    for (std::size_t i = 0; i < winsim::kSubAuthorityParameters; ++i)
        call.In(("nSubAuthority" + std::to_string(i)).c_str(), subAuthorities[i]);
    return call.SuccessOf([&]() -> DWORD {
        if (nSubAuthorityCount > winsim::kSubAuthorityParameters)
            return ERROR_INVALID_SID;

        std::vector<std::uint8_t> bytes{1, nSubAuthorityCount};
        winsim::Append(bytes, pIdentifierAuthority->Value, sizeof pIdentifierAuthority->Value);
        winsim::Append(bytes, subAuthorities, nSubAuthorityCount * sizeof(DWORD));
        *pSid = Simulation::Current().handles.Allocate<winsim::SidBlock>(bytes.size());
        std::memcpy(*pSid, bytes.data(), bytes.size());
        call.Out("pSid", *pSid);
        return ERROR_SUCCESS;
    });
}

BOOL WINAPI EqualSid(PSID pSid1, PSID pSid2)
{
    Call call{__func__, winsim::CallKind::Housekeeping};
    call.In("pSid1", winsim::TextOfSid(pSid1)).In("pSid2", winsim::TextOfSid(pSid2));
    return call.Done(winsim::TextOfSid(pSid1) == winsim::TextOfSid(pSid2) ? TRUE : FALSE);
}

BOOL WINAPI IsValidSid(PSID pSid)
{
    Call call{__func__, winsim::CallKind::Housekeeping};
    const auto* bytes = static_cast<const BYTE*>(pSid);
    return call.Done(bytes != nullptr && bytes[0] == SID_REVISION && bytes[1] <= SID_MAX_SUB_AUTHORITIES ? TRUE
                                                                                                         : FALSE);
}

// The next functions return pointers into a SID: revision and number of sub-authorities (a byte each), authority (six
// bytes), sub-authorities.
PSID_IDENTIFIER_AUTHORITY WINAPI GetSidIdentifierAuthority(PSID pSid)
{
    Call call{__func__, winsim::CallKind::Housekeeping};
    call.In("pSid", winsim::TextOfSid(pSid));
    return reinterpret_cast<PSID_IDENTIFIER_AUTHORITY>(static_cast<BYTE*>(pSid) + 2);
}

PUCHAR WINAPI GetSidSubAuthorityCount(PSID pSid)
{
    Call call{__func__, winsim::CallKind::Housekeeping};
    call.In("pSid", winsim::TextOfSid(pSid));
    return static_cast<BYTE*>(pSid) + 1;
}

PDWORD WINAPI GetSidSubAuthority(PSID pSid, DWORD nSubAuthority)
{
    Call call{__func__, winsim::CallKind::Housekeeping};
    call.In("pSid", winsim::TextOfSid(pSid)).In("nSubAuthority", nSubAuthority);
    return reinterpret_cast<PDWORD>(static_cast<BYTE*>(pSid) + 2 + sizeof(SID_IDENTIFIER_AUTHORITY)) + nSubAuthority;
}

PVOID WINAPI FreeSid(PSID pSid)
{
    Call call{__func__};
    call.In("pSid", pSid);
    // FreeSid reports a failure by returning the SID.
    const auto fault = call.Fault();
    if (!call.Free<winsim::SidBlock>(pSid) || fault)
        return call.Done(PVOID{pSid});
    return call.Done(PVOID{nullptr});
}
