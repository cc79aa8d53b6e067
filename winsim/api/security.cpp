// Access lists, and the security of named objects.
#include "winsim/api/file_access.h"
#include "winsim/api/local_memory.h"
#include "winsim/api/sids.h"
#include "winsim/base/sid.h"
#include "winsim/base/text.h"
#include "winsim/machine/inheritance.h"
#include "winsim/process/gate.h"
#include "winsim/process/open_files.h"
#include "winsim/process/simulation.h"

#include "aclapi.h"

#include <algorithm>
#include <cstring>

using winsim::AccessEntry;
using winsim::Call;
using winsim::Json;
using winsim::ObjectKind;
using winsim::Security;
using winsim::Simulation;

namespace
{

Json NotedEntries(ULONG count, const EXPLICIT_ACCESS_W* entries)
{
    Json list = Json::array();
    for (ULONG i = 0; i < count; ++i)
    {
        const TRUSTEE_W& trustee = entries[i].Trustee;
        const bool isSid = trustee.TrusteeForm == TRUSTEE_IS_SID;
        list.push_back({{"grfAccessPermissions", entries[i].grfAccessPermissions},
                        {"grfAccessMode", static_cast<int>(entries[i].grfAccessMode)},
                        {"grfInheritance", entries[i].grfInheritance},
                        {"Trustee",
                         {{"TrusteeForm", static_cast<int>(trustee.TrusteeForm)},
                          {"TrusteeType", static_cast<int>(trustee.TrusteeType)},
                          {"ptstrName", isSid ? winsim::NotedSid(trustee.ptstrName) : Json()}}}});
    }
    return list;
}

// Makes an access list of explicit entries. Returns a Win32 error.
DWORD ToAccessEntries(const Call& call, ULONG count, const EXPLICIT_ACCESS_W* entries, std::vector<AccessEntry>& list)
{
    for (ULONG i = 0; i < count; ++i)
    {
        const EXPLICIT_ACCESS_W& entry = entries[i];
        const bool isDenial = entry.grfAccessMode == DENY_ACCESS;
        if (!isDenial && entry.grfAccessMode != SET_ACCESS && entry.grfAccessMode != GRANT_ACCESS)
            return ERROR_INVALID_PARAMETER;
        if (entry.Trustee.TrusteeForm != TRUSTEE_IS_SID)
            return call.NotSimulated("trustees by their names");
        const auto sid = winsim::SidText(call, entry.Trustee.ptstrName);
        if (!sid)
            return ERROR_INVALID_SID;
        const AccessEntry one{*sid, entry.grfAccessPermissions, entry.grfInheritance, isDenial};
        // In a list that Windows makes, denials come first.
        const auto firstGrant =
            std::find_if(list.begin(), list.end(), [](const AccessEntry& other) { return !other.isDenial; });
        list.insert(isDenial ? firstGrant : list.end(), one);
    }
    return ERROR_SUCCESS;
}

// ---- Named objects --------------------------------------------------------------------------------------------------

// A named object: its security, the security of its container, and its kind; or a Win32 error.
struct NamedObject
{
    Security* security = nullptr;
    const Security* container = nullptr;
    const ObjectKind* kind = nullptr;
    bool isDenied = false;
    DWORD error = ERROR_SUCCESS;
};

struct RootName
{
    const char* name; // in objects' names
    const char* root; // in the machine's paths of keys; null: not simulated
};

constexpr RootName kRoots[] = {
    {"MACHINE", "HKLM"},
    {"CURRENT_USER", "HKCU"},
    {"CLASSES_ROOT", nullptr},
    {"USERS", nullptr},
};

NamedObject FindKey(const Call& call, const std::string& name)
{
    const std::size_t rootEnd = std::min(name.find('\\'), name.size());
    for (const RootName& known : kRoots)
    {
        if (!winsim::SameName(name.substr(0, rootEnd), known.name))
            continue;
        if (known.root == nullptr)
            return {.error = call.NotSimulated("HKEY_CLASSES_ROOT and HKEY_USERS")};
        winsim::Registry& registry = Simulation::Current().machine.registry;
        const std::string path = known.root + name.substr(rootEnd);
        auto* key = registry.Find(path);
        if (key == nullptr)
            return {.error = ERROR_FILE_NOT_FOUND};
        const auto* parent = registry.Find(path.substr(0, path.rfind('\\')));
        return {&key->security, parent == key || parent == nullptr ? nullptr : &parent->security, &winsim::kKeyKind};
    }
    return {.error = ERROR_INVALID_PARAMETER};
}

// The object of a file or directory; `path` may be any of its names.
NamedObject ObjectOf(winsim::File& file, const std::string& path)
{
    const winsim::File* parent = Simulation::Current().machine.files.Find(winsim::Files::ParentOf(path));
    return {&file.security, parent == nullptr ? nullptr : &parent->security,
            file.isDirectory ? &winsim::kDirectoryKind : &winsim::kFileKind, file.isDenied};
}

NamedObject FindFile(LPCWSTR name)
{
    const winsim::FileName path = winsim::FileNameOf(name);
    if (path.error != ERROR_SUCCESS)
        return {.error = path.error};
    winsim::File* file = Simulation::Current().machine.files.Find(path.path);
    if (file == nullptr)
        return {.error = winsim::MissingError(path.path)};
    return ObjectOf(*file, path.path);
}

// The object with a name, if the process is granted these rights on it; otherwise an error.
NamedObject Open(const Call& call, LPCWSTR name, SE_OBJECT_TYPE type, DWORD rights)
{
    NamedObject object{.error = ERROR_INVALID_PARAMETER};
    if (name == nullptr)
        return object;
    if (type == SE_REGISTRY_KEY)
        object = FindKey(call, winsim::Utf8(name));
    else if (type == SE_FILE_OBJECT)
        object = FindFile(name);
    else
        object.error = call.NotSimulated("the security of objects other than keys and files");
    const bool isOpen = object.error == ERROR_SUCCESS;
    if (isOpen && (object.isDenied ||
                   !object.security->Grants(Simulation::Current().machine.token, rights, object.kind->generic)))
        object.error = ERROR_ACCESS_DENIED;
    return object;
}

// A security descriptor in a single block with Windows' layout, and pointers to the parts that the caller asked for.
struct Descriptor
{
    PSECURITY_DESCRIPTOR block = nullptr;
    PSID owner = nullptr;
    PACL list = nullptr;
};

Descriptor MakeDescriptor(const Security& security, SECURITY_INFORMATION wanted)
{
    SECURITY_DESCRIPTOR_RELATIVE header{};
    header.Revision = 1;
    header.Control = SE_SELF_RELATIVE;
    std::vector<std::uint8_t> owner;
    if ((wanted & OWNER_SECURITY_INFORMATION) != 0)
        owner = winsim::BytesOfSid(security.Owner());
    std::vector<std::uint8_t> list;
    if ((wanted & DACL_SECURITY_INFORMATION) != 0)
    {
        header.Control |= SE_DACL_PRESENT | (security.isProtected ? SE_DACL_PROTECTED : WORD{0});
        if (security.access)
            list = winsim::BytesOfAcl(*security.access);
    }
    if (!owner.empty())
        header.Owner = sizeof header;
    if (!list.empty())
        header.Dacl = static_cast<DWORD>(sizeof header + owner.size());

    const std::size_t size = sizeof header + owner.size() + list.size();
    auto* bytes = static_cast<std::uint8_t*>(Simulation::Current().handles.Allocate<winsim::LocalBlock>(size));
    std::memcpy(bytes, &header, sizeof header);
    std::copy(owner.begin(), owner.end(), bytes + sizeof header);
    std::copy(list.begin(), list.end(), bytes + sizeof header + owner.size());
    return {bytes, owner.empty() ? nullptr : bytes + header.Owner,
            list.empty() ? nullptr : reinterpret_cast<PACL>(bytes + header.Dacl)};
}

// The rights that are needed to change the parts that `information` names.
DWORD RightsToChange(SECURITY_INFORMATION information)
{
    DWORD rights = 0;
    if ((information & (OWNER_SECURITY_INFORMATION | GROUP_SECURITY_INFORMATION)) != 0)
        rights |= WRITE_OWNER;
    if ((information & DACL_SECURITY_INFORMATION) != 0)
        rights |= WRITE_DAC;
    return rights;
}

DWORD ChangeOwner(const Call& call, Security& security, PSID owner)
{
    const auto sid = winsim::SidText(call, owner);
    if (!sid)
        return ERROR_INVALID_SID;
    // Without the restore privilege, a process can make only its user or one of its groups the owner.
    const winsim::Token& token = Simulation::Current().machine.token;
    if (!token.Holds(*sid) && !token.IsEnabled("SeRestorePrivilege"))
        return ERROR_INVALID_OWNER;
    security.owner = *sid;
    return ERROR_SUCCESS;
}

void ChangeList(const NamedObject& object, SECURITY_INFORMATION information, PACL list)
{
    Security& security = *object.security;
    if ((information & PROTECTED_DACL_SECURITY_INFORMATION) != 0)
        security.isProtected = true;
    if ((information & UNPROTECTED_DACL_SECURITY_INFORMATION) != 0)
        security.isProtected = false;
    security.deniedAccess = 0;
    if (list == nullptr)
        security.access.reset();
    else
        winsim::ReplaceList(security, winsim::EntriesOfAcl(list), object.container, *object.kind);
}

DWORD ChangeSecurity(const Call& call, const NamedObject& object, SECURITY_INFORMATION information, PSID owner,
                     PACL list)
{
    if ((information & OWNER_SECURITY_INFORMATION) != 0)
    {
        if (const DWORD error = ChangeOwner(call, *object.security, owner); error != ERROR_SUCCESS)
            return error;
    }
    if ((information & DACL_SECURITY_INFORMATION) != 0)
        ChangeList(object, information, list);
    return ERROR_SUCCESS;
}

// The object of an open handle, if the handle has these rights; otherwise an error.
NamedObject OpenedWith(const Call& call, DWORD rights, HANDLE handle, SE_OBJECT_TYPE type)
{
    if (type != SE_FILE_OBJECT)
        return {.error = call.NotSimulated("the security of open objects other than files")};
    Simulation& simulation = Simulation::Current();
    const auto* open = call.Find<winsim::OpenFile>(handle);
    if (open == nullptr)
        return {.error = ERROR_INVALID_HANDLE};
    winsim::File* file = simulation.machine.files.FindByIdentity(open->file);
    if (file == nullptr || (open->access & rights) != rights)
        return {.error = ERROR_ACCESS_DENIED};
    return ObjectOf(*file, file->path);
}

// The caller's output parameters; all but `descriptor` may be null.
struct Wanted
{
    PSID* owner;
    PSID* group;
    PACL* list;
    PACL* auditList;
    PSECURITY_DESCRIPTOR* descriptor;
};

DWORD Tell(Call& call, const Security& security, SECURITY_INFORMATION information, const Wanted& wanted)
{
    const Descriptor descriptor = MakeDescriptor(security, information);
    *wanted.descriptor = descriptor.block;
    if (wanted.owner != nullptr)
        *wanted.owner = descriptor.owner;
    if (wanted.group != nullptr)
        *wanted.group = nullptr;
    if (wanted.list != nullptr)
        *wanted.list = descriptor.list;
    if (wanted.auditList != nullptr)
        *wanted.auditList = nullptr;
    if (!call.IsRecording())
        return ERROR_SUCCESS;
    if (wanted.owner != nullptr)
        call.Out("ppsidOwner", descriptor.owner == nullptr ? Json() : Json(winsim::TextOfSid(descriptor.owner)));
    if (wanted.list != nullptr)
        call.Out("ppDacl", winsim::NotedAcl(descriptor.list));
    call.Out("ppSecurityDescriptor", descriptor.block);
    return ERROR_SUCCESS;
}

// A query about the security of the object that `open` finds with some rights.
template <typename Open>
DWORD GetSecurity(Call& call, SE_OBJECT_TYPE type, SECURITY_INFORMATION information, const Wanted& wanted, Open open)
{
    call.In("ObjectType", static_cast<int>(type)).In("SecurityInfo", information);
    return call.StatusOf([&]() -> DWORD {
        const NamedObject object = open(READ_CONTROL);
        return object.error != ERROR_SUCCESS ? object.error : Tell(call, *object.security, information, wanted);
    });
}

// The caller's owner, group and lists for an object.
struct Given
{
    PSID owner;
    PSID group;
    PACL list;
    PACL auditList;
};

// A change of the security of the object that `open` finds with some rights.
template <typename Open>
DWORD SetSecurity(Call& call, SE_OBJECT_TYPE type, SECURITY_INFORMATION information, const Given& given, Open open)
{
    call.In("ObjectType", static_cast<int>(type))
        .In("SecurityInfo", information)
        .In("psidOwner", winsim::NotedSid(given.owner))
        .In("psidGroup", winsim::NotedSid(given.group))
        .In("pDacl", winsim::NotedAcl(given.list))
        .In("pSacl", winsim::NotedAcl(given.auditList));
    return call.StatusOf([&]() -> DWORD {
        const NamedObject object = open(RightsToChange(information));
        return object.error != ERROR_SUCCESS ? object.error
                                             : ChangeSecurity(call, object, information, given.owner, given.list);
    });
}

} // namespace

DWORD WINAPI SetEntriesInAclW(ULONG cCountOfExplicitEntries, PEXPLICIT_ACCESS_W pListOfExplicitEntries, PACL OldAcl,
                              PACL* NewAcl)
{
    Call call{__func__};
    call.In("cCountOfExplicitEntries", cCountOfExplicitEntries).Needs(NewAcl);
    if (call.IsRecording())
        call.In("pListOfExplicitEntries", NotedEntries(cCountOfExplicitEntries, pListOfExplicitEntries))
            .In("OldAcl", winsim::NotedAcl(OldAcl));
    *NewAcl = nullptr;
    return call.StatusOf([&]() -> DWORD {
        if (OldAcl != nullptr)
            return call.NotSimulated("merging two access lists");
        std::vector<AccessEntry> list;
        if (const DWORD error = ToAccessEntries(call, cCountOfExplicitEntries, pListOfExplicitEntries, list);
            error != ERROR_SUCCESS)
            return error;
        const std::vector<std::uint8_t> bytes = winsim::BytesOfAcl(list);
        *NewAcl = static_cast<PACL>(Simulation::Current().handles.Allocate<winsim::LocalBlock>(bytes.size()));
        std::memcpy(*NewAcl, bytes.data(), bytes.size());
        if (call.IsRecording())
            call.Out("NewAcl", winsim::NotedAcl(*NewAcl));
        return ERROR_SUCCESS;
    });
}

DWORD WINAPI GetNamedSecurityInfoW(LPCWSTR pObjectName, SE_OBJECT_TYPE ObjectType, SECURITY_INFORMATION SecurityInfo,
                                   PSID* ppsidOwner, PSID* ppsidGroup, PACL* ppDacl, PACL* ppSacl,
                                   PSECURITY_DESCRIPTOR* ppSecurityDescriptor)
{
    Call call{__func__};
    call.In("pObjectName", pObjectName);
    return GetSecurity(call, ObjectType, SecurityInfo, {ppsidOwner, ppsidGroup, ppDacl, ppSacl, ppSecurityDescriptor},
                       [&](DWORD rights) { return Open(call, pObjectName, ObjectType, rights); });
}

DWORD WINAPI SetNamedSecurityInfoW(LPWSTR pObjectName, SE_OBJECT_TYPE ObjectType, SECURITY_INFORMATION SecurityInfo,
                                   PSID psidOwner, PSID psidGroup, PACL pDacl, PACL pSacl)
{
    Call call{__func__};
    call.In("pObjectName", pObjectName);
    return SetSecurity(call, ObjectType, SecurityInfo, {psidOwner, psidGroup, pDacl, pSacl},
                       [&](DWORD rights) { return Open(call, pObjectName, ObjectType, rights); });
}

DWORD WINAPI GetSecurityInfo(HANDLE handle, SE_OBJECT_TYPE ObjectType, SECURITY_INFORMATION SecurityInfo,
                             PSID* ppsidOwner, PSID* ppsidGroup, PACL* ppDacl, PACL* ppSacl,
                             PSECURITY_DESCRIPTOR* ppSecurityDescriptor)
{
    Call call{__func__};
    call.In("handle", handle);
    return GetSecurity(call, ObjectType, SecurityInfo, {ppsidOwner, ppsidGroup, ppDacl, ppSacl, ppSecurityDescriptor},
                       [&](DWORD rights) { return OpenedWith(call, rights, handle, ObjectType); });
}

DWORD WINAPI SetSecurityInfo(HANDLE handle, SE_OBJECT_TYPE ObjectType, SECURITY_INFORMATION SecurityInfo,
                             PSID psidOwner, PSID psidGroup, PACL pDacl, PACL pSacl)
{
    Call call{__func__};
    call.In("handle", handle);
    return SetSecurity(call, ObjectType, SecurityInfo, {psidOwner, psidGroup, pDacl, pSacl},
                       [&](DWORD rights) { return OpenedWith(call, rights, handle, ObjectType); });
}
