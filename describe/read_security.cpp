// Reads owners, access lists and the token.
#include "describe/read_security.h"

#include "describe/windows_text.h"
#include "windows/unique_handle.h"
#include "winsim/machine/privileges.h"

#include <aclapi.h>

#include <algorithm>
#include <vector>

namespace describe
{

namespace
{

constexpr BYTE kDescribedFlags =
    OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE | NO_PROPAGATE_INHERIT_ACE | INHERIT_ONLY_ACE | INHERITED_ACE;

// False for a kind of entry that a description cannot say, such as one with a condition.
bool AppendEntry(AnonymousSids& sids, const ACE_HEADER* header, std::vector<winsim::AccessEntry>& list)
{
    if (header->AceType != ACCESS_ALLOWED_ACE_TYPE && header->AceType != ACCESS_DENIED_ACE_TYPE)
        return false;
    // Both kinds are laid out alike.
    const auto* entry = reinterpret_cast<const ACCESS_ALLOWED_ACE*>(header);
    list.push_back({sids.TextOf(&entry->SidStart), entry->Mask,
                    static_cast<std::uint32_t>(header->AceFlags & kDescribedFlags),
                    header->AceType == ACCESS_DENIED_ACE_TYPE});
    return true;
}

std::vector<winsim::AccessEntry> EntriesOf(Capture& capture, PACL acl, const std::string& place)
{
    std::vector<winsim::AccessEntry> list;
    bool isWhole = true;
    for (DWORD i = 0; i < acl->AceCount; ++i)
    {
        void* entry = nullptr;
        isWhole = GetAce(acl, i, &entry) && AppendEntry(capture.sids, static_cast<ACE_HEADER*>(entry), list) && isWhole;
    }
    if (!isWhole)
        capture.notes.Add(place, "its access list has entries of a kind that a description cannot say");
    return list;
}

// What GetTokenInformation tells of this process, as the bytes of Windows' record; empty if it cannot be read.
std::vector<BYTE> TokenRecord(HANDLE token, TOKEN_INFORMATION_CLASS kind)
{
    DWORD size = 0;
    GetTokenInformation(token, kind, nullptr, 0, &size);
    std::vector<BYTE> record(size);
    if (size == 0 || !GetTokenInformation(token, kind, record.data(), size, &size))
        return {};
    return record;
}

bool IsAdministrator()
{
    SID_IDENTIFIER_AUTHORITY authority = {SECURITY_NT_AUTHORITY};
    PSID administrators = nullptr;
    BOOL isMember = FALSE;
    if (!AllocateAndInitializeSid(&authority, 2, SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS, 0, 0, 0, 0, 0, 0,
                                  &administrators))
        return false;
    CheckTokenMembership(nullptr, administrators, &isMember);
    FreeSid(administrators);
    return isMember != FALSE;
}

void ReadGroups(Capture& capture, const std::vector<BYTE>& record)
{
    const auto* groups = reinterpret_cast<const TOKEN_GROUPS*>(record.data());
    for (DWORD i = 0; i < groups->GroupCount; ++i)
    {
        const SID_AND_ATTRIBUTES& group = groups->Groups[i];
        // The identifier of a logon is a group too, and a new one each time.
        if ((group.Attributes & SE_GROUP_ENABLED) != 0 && (group.Attributes & SE_GROUP_LOGON_ID) != SE_GROUP_LOGON_ID)
            capture.machine.token.groups.push_back(capture.sids.TextOf(group.Sid));
    }
}

void ReadPrivileges(Capture& capture, const std::vector<BYTE>& record)
{
    const auto* privileges = reinterpret_cast<const TOKEN_PRIVILEGES*>(record.data());
    for (DWORD i = 0; i < privileges->PrivilegeCount; ++i)
    {
        LUID_AND_ATTRIBUTES privilege = privileges->Privileges[i];
        wchar_t name[64] = {};
        DWORD length = static_cast<DWORD>(std::size(name));
        if (!LookupPrivilegeNameW(nullptr, &privilege.Luid, name, &length))
            continue;
        const std::string text = FromWide(name);
        if (winsim::FindPrivilege(text) == nullptr)
        {
            capture.notes.Add("token.privileges", text + ", which descriptions do not know");
            continue;
        }
        capture.machine.token.privileges.push_back(text);
        if ((privilege.Attributes & SE_PRIVILEGE_ENABLED) != 0)
            capture.machine.token.enabled.push_back(text);
    }
}

} // namespace

void ReadSecurity(Capture& capture, HANDLE object, SE_OBJECT_TYPE type, const std::string& place,
                  winsim::Security& security)
{
    PSID owner = nullptr;
    PACL acl = nullptr;
    UniqueLocalMemory<void> descriptor;
    const DWORD error = GetSecurityInfo(object, type, OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, &owner,
                                        nullptr, &acl, nullptr, descriptor.Put());
    if (error != ERROR_SUCCESS)
        return capture.notes.AddError(place + ".access", error);
    if (owner != nullptr)
        security.owner = capture.sids.TextOf(owner);
    // Without a list, everybody may do everything.
    if (acl != nullptr)
        security.access = EntriesOf(capture, acl, place);
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    if (GetSecurityDescriptorControl(descriptor.Get(), &control, &revision))
        security.isProtected = (control & SE_DACL_PROTECTED) != 0;
}

void ReadToken(Capture& capture)
{
    capture.isElevated = IsAdministrator();
    if (!capture.isElevated)
        return capture.notes.Add("token", "not read, because KeloDescribe was not started as administrator");
    UniqueKernelHandle token;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.Put()))
        return capture.notes.AddError("token", GetLastError());
    const std::vector<BYTE> user = TokenRecord(token.Get(), TokenUser);
    const std::vector<BYTE> groups = TokenRecord(token.Get(), TokenGroups);
    const std::vector<BYTE> privileges = TokenRecord(token.Get(), TokenPrivileges);
    if (user.empty() || groups.empty() || privileges.empty())
        return capture.notes.Add("token", "not read");
    capture.machine.token = {};
    capture.machine.token.user = capture.sids.TextOf(reinterpret_cast<const TOKEN_USER*>(user.data())->User.Sid);
    ReadGroups(capture, groups);
    ReadPrivileges(capture, privileges);
}

} // namespace describe
