// What a new key, file or directory is given: its owner, and the entries that the container it is made in hands down.
#pragma once

#include "winsim/machine/security.h"

#include <cstdint>
#include <string>
#include <vector>

namespace winsim
{

// A kind of object: what the generic rights stand for on it, and whether it holds others.
struct ObjectKind
{
    GenericRights generic;
    bool isContainer;
};

inline constexpr ObjectKind kKeyKind = {kKeyRights, true};
inline constexpr ObjectKind kDirectoryKind = {kFileRights, true};
inline constexpr ObjectKind kFileKind = {kFileRights, false};

// A mask with its generic rights replaced by those that they stand for.
std::uint32_t MappedRights(std::uint32_t mask, const GenericRights& generic);

// The security of an object that a process with this token makes. The owner is the process's user, or the group of
// administrators when the user belongs to it. The list is what the container hands down; when that is nothing, the
// token's default list; none when the container's is not described.
Security SecurityOfNew(const Security& container, const Token& creator, const ObjectKind& kind);

// Gives an object a list of its own. Unless the object is protected, what the container hands down follows; what a
// container without a described list hands down shows in the list that is replaced. In a protected list, what was
// inherited elsewhere is the object's own.
void ReplaceList(Security& security, std::vector<AccessEntry> list, const Security* container, const ObjectKind& kind);

} // namespace winsim
