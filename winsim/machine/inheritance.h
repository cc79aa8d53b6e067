// The owner of a new key, file or directory, and the access entries that it inherits from its container.
#pragma once

#include "winsim/machine/security.h"

#include <cstdint>
#include <string>
#include <vector>

namespace winsim
{

// A kind of object: what the generic rights mean on it, and whether it can contain others.
struct ObjectKind
{
    GenericRights generic;
    bool isContainer;
};

inline constexpr ObjectKind kKeyKind = {kKeyRights, true};
inline constexpr ObjectKind kDirectoryKind = {kFileRights, true};
inline constexpr ObjectKind kFileKind = {kFileRights, false};

// The security of an object that a process with this token makes in a container.
// Owner: the administrators' group if the token has it, otherwise the user.
// List: none if the container's is not described; otherwise the inherited entries or, if there are none, the token's
// default list.
Security SecurityOfNew(const Security& container, const Token& creator, const ObjectKind& kind);

// Replaces an object's list. An object that is not protected also gets inherited entries, after its own: those of the
// container or, if the container's list is not described, those of the list that is replaced. In a protected object the
// entries of the new list that are marked as inherited become its own. The generic rights of entries that are for the
// object itself are mapped.
void ReplaceList(Security& security, std::vector<AccessEntry> list, const Security* container, const ObjectKind& kind);

} // namespace winsim
