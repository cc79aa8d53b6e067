// The description of owners and access lists, which is part of that of a key, a file or a directory.
#pragma once

#include "winsim/base/fields.h"
#include "winsim/machine/security.h"

namespace winsim
{

// A SID, as text.
struct SidForm
{
    void Read(const Reader& reader, std::string& sid) const;
    Json Save(const std::string& sid) const { return sid; }
    Json Schema(Json&) const { return Definition("sid"); }
};

// A mask of rights: a number, or a list of the rights' names.
struct RightsForm
{
    void Read(const Reader& reader, std::uint32_t& mask) const;
    Json Save(std::uint32_t mask) const { return mask; }
    Json Schema(Json& definitions) const;
};

// Which objects inherit an entry. Another key, InheritedField, says that the entry itself was inherited.
struct InheritanceField
{
    void Read(const Reader& reader, AccessEntry& entry) const;
    std::optional<Json> Save(const AccessEntry& entry, const AccessEntry& usual) const;
    Json Schema(Json&) const;
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
        visit(Key{"trustee", "SID of whom it is about; must be there", "", "no trustee"},
              Always(&AccessEntry::trustee, SidForm()));
        visit(Key{"mask", "the rights", "`0`"}, Always(&AccessEntry::mask, RightsForm()));
        visit(
            Key{"inheritance",
                "what it is handed down to, a mask: 1 files, 2 directories and keys, 4 only one level down, 8 not for "
                "the object itself",
                "`0`"},
            InheritanceField());
        visit(Key{"type", "`\"allow\"` or `\"deny\"`", "`\"allow\"`"}, Always(&AccessEntry::isDenial, EntryTypeForm()));
        visit(Key{"inherited", "whether it was handed down from above", "`false`"}, InheritedField());
    }
};

template <>
struct Fields<Security>
{
    template <typename Visitor>
    static void Visit(Visitor& visit)
    {
        visit(Key{"owner", "the owner's SID; the owner may always read and replace the access list", "`S-1-5-18`"},
              Member(&Security::owner, SidForm()));
        visit(Key{"access", "the access list: a list of entries, see below; not described, everybody may do everything",
                  "none"},
              Member(&Security::access));
        visit(Key{"protected", "whether it inherits nothing from above when its list is replaced", "`false`"},
              Member(&Security::isProtected));
        visit(Key{"deniedAccess", "rights that the program is refused for as long as the access list is not replaced",
                  "`0`"},
              Member(&Security::deniedAccess, RightsForm()));
    }
};

} // namespace winsim
