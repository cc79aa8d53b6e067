// The description of owners and access lists, which is part of that of a key, a file or a directory.
#pragma once

#include "winsim/base/fields.h"
#include "winsim/machine/security.h"
#include "winsim/machine/windows_names.h"

namespace winsim
{

// A SID: as text, or the name of a well-known account. Saved as text.
struct SidForm
{
    void Read(const Reader& reader, std::string& sid) const;
    Json Save(const std::string& sid) const { return sid; }
    Json Schema(Json& definitions) const;
};

// Which objects inherit an entry. Another key, InheritedField, says that the entry itself was inherited.
struct InheritanceField
{
    void Read(const Reader& reader, AccessEntry& entry) const;
    std::optional<Json> Save(const AccessEntry& entry, const AccessEntry& usual) const;
    Json Schema(Json& definitions) const;
};
struct InheritedField
{
    void Read(const Reader& reader, AccessEntry& entry) const;
    std::optional<Json> Save(const AccessEntry& entry, const AccessEntry& usual) const;
    Json Schema(Json&) const { return {{"type", "boolean"}}; }
};

// Whether an entry allows or denies.
struct EntryTypeForm
{
    void Read(const Reader& reader, bool& isDenial) const;
    Json Save(bool isDenial) const { return isDenial ? "deny" : "allow"; }
    Json Schema(Json&) const { return {{"enum", {"allow", "deny"}}}; }
};

template <>
struct Fields<AccessEntry>
{
    static constexpr char kName[] = "accessEntry";

    template <typename Visitor>
    static void Visit(Visitor& visit)
    {
        visit(Key{"trustee", "SID or account name of the user or group that the entry is for; required", "",
                  "no trustee"},
              Always(&AccessEntry::trustee, SidForm()));
        visit(Key{"mask", "rights that the entry allows or denies: a mask", "`0`"},
              Always(&AccessEntry::mask, MaskForm{kObjectRights}));
        visit(Key{"inheritance",
                  "what inherits the entry, a mask: `OBJECT_INHERIT_ACE` (1) files, `CONTAINER_INHERIT_ACE` (2) "
                  "directories and keys, `NO_PROPAGATE_INHERIT_ACE` (4) only one level down, `INHERIT_ONLY_ACE` (8) "
                  "not for the object itself",
                  "`0`"},
              InheritanceField());
        visit(Key{"type", "`\"allow\"` or `\"deny\"`", "`\"allow\"`"}, Always(&AccessEntry::isDenial, EntryTypeForm()));
        visit(Key{"inherited", "whether the entry was itself inherited", "`false`"}, InheritedField());
    }
};

template <>
struct Fields<Security>
{
    template <typename Visitor>
    static void Visit(Visitor& visit)
    {
        visit(Key{"owner", "SID or account name of the owner, who may always read and replace the access list",
                  "`\"LocalSystem\"`"},
              Member(&Security::owner, SidForm()));
        visit(Key{"access", "access list: a list of entries, see below", "none, everybody may do everything"},
              Member(&Security::access));
        visit(Key{"protected", "whether nothing is inherited when the access list is replaced", "`false`"},
              Member(&Security::isProtected));
        visit(Key{"deniedAccess", "rights that the program is denied until the access list is replaced: a mask", "`0`"},
              Member(&Security::deniedAccess, MaskForm{kObjectRights}));
    }
};

} // namespace winsim
