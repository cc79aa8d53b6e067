// Security identifiers, access lists, privileges and access rights, for the simulated machine.
#pragma once

#include "winsim_types.h"

using PSID = PVOID;
using PSECURITY_DESCRIPTOR = PVOID;
using SECURITY_INFORMATION = DWORD;

struct SID_IDENTIFIER_AUTHORITY
{
    BYTE Value[6];
};
using PSID_IDENTIFIER_AUTHORITY = SID_IDENTIFIER_AUTHORITY*;

// A macro, because only a braced list can initialise an array.
#define SECURITY_NT_AUTHORITY                                                                                          \
    {                                                                                                                  \
        0, 0, 0, 0, 0, 5                                                                                               \
    }

inline constexpr DWORD SECURITY_LOCAL_SYSTEM_RID = 18;
inline constexpr DWORD SECURITY_LOCAL_SERVICE_RID = 19;
inline constexpr DWORD SECURITY_NETWORK_SERVICE_RID = 20;
inline constexpr DWORD SECURITY_BUILTIN_DOMAIN_RID = 32;
inline constexpr DWORD DOMAIN_ALIAS_RID_ADMINS = 544;
inline constexpr DWORD DOMAIN_ALIAS_RID_USERS = 545;

inline constexpr BYTE SID_REVISION = 1;
inline constexpr BYTE SID_MAX_SUB_AUTHORITIES = 15;

struct ACL
{
    BYTE AclRevision;
    BYTE Sbz1;
    WORD AclSize;
    WORD AceCount;
    WORD Sbz2;
};
using PACL = ACL*;
inline constexpr BYTE ACL_REVISION = 2;

struct ACE_HEADER
{
    BYTE AceType;
    BYTE AceFlags;
    WORD AceSize;
};
inline constexpr BYTE ACCESS_ALLOWED_ACE_TYPE = 0;
inline constexpr BYTE ACCESS_DENIED_ACE_TYPE = 1;

struct ACCESS_ALLOWED_ACE
{
    ACE_HEADER Header;
    ACCESS_MASK Mask;
    DWORD SidStart;
};

inline constexpr DWORD OBJECT_INHERIT_ACE = 0x1;
inline constexpr DWORD CONTAINER_INHERIT_ACE = 0x2;
inline constexpr DWORD NO_PROPAGATE_INHERIT_ACE = 0x4;
inline constexpr DWORD INHERIT_ONLY_ACE = 0x8;
inline constexpr DWORD INHERITED_ACE = 0x10;

struct SECURITY_DESCRIPTOR_RELATIVE
{
    BYTE Revision;
    BYTE Sbz1;
    WORD Control;
    DWORD Owner;
    DWORD Group;
    DWORD Sacl;
    DWORD Dacl;
};
inline constexpr WORD SE_DACL_PRESENT = 0x0004;
inline constexpr WORD SE_DACL_PROTECTED = 0x1000;
inline constexpr WORD SE_SELF_RELATIVE = 0x8000;

inline constexpr SECURITY_INFORMATION OWNER_SECURITY_INFORMATION = 0x00000001;
inline constexpr SECURITY_INFORMATION GROUP_SECURITY_INFORMATION = 0x00000002;
inline constexpr SECURITY_INFORMATION DACL_SECURITY_INFORMATION = 0x00000004;
inline constexpr SECURITY_INFORMATION SACL_SECURITY_INFORMATION = 0x00000008;
inline constexpr SECURITY_INFORMATION UNPROTECTED_DACL_SECURITY_INFORMATION = 0x20000000;
inline constexpr SECURITY_INFORMATION PROTECTED_DACL_SECURITY_INFORMATION = 0x80000000;

inline constexpr ACCESS_MASK FILE_READ_DATA = 0x0001;
inline constexpr ACCESS_MASK FILE_LIST_DIRECTORY = 0x0001;
inline constexpr ACCESS_MASK FILE_WRITE_DATA = 0x0002;
inline constexpr ACCESS_MASK FILE_ADD_FILE = 0x0002;
inline constexpr ACCESS_MASK FILE_APPEND_DATA = 0x0004;
inline constexpr ACCESS_MASK FILE_ADD_SUBDIRECTORY = 0x0004;
inline constexpr ACCESS_MASK FILE_EXECUTE = 0x0020;
inline constexpr ACCESS_MASK FILE_TRAVERSE = 0x0020;
inline constexpr ACCESS_MASK FILE_DELETE_CHILD = 0x0040;
inline constexpr ACCESS_MASK FILE_READ_ATTRIBUTES = 0x0080;
inline constexpr ACCESS_MASK FILE_WRITE_ATTRIBUTES = 0x0100;
inline constexpr ACCESS_MASK DELETE = 0x00010000;
inline constexpr ACCESS_MASK READ_CONTROL = 0x00020000;
inline constexpr ACCESS_MASK WRITE_DAC = 0x00040000;
inline constexpr ACCESS_MASK WRITE_OWNER = 0x00080000;
inline constexpr ACCESS_MASK MAXIMUM_ALLOWED = 0x02000000;
inline constexpr ACCESS_MASK GENERIC_ALL = 0x10000000;
inline constexpr ACCESS_MASK GENERIC_EXECUTE = 0x20000000;
inline constexpr ACCESS_MASK GENERIC_WRITE = 0x40000000;
inline constexpr ACCESS_MASK GENERIC_READ = 0x80000000;

struct LUID
{
    DWORD LowPart;
    LONG HighPart;
};
using PLUID = LUID*;

struct LUID_AND_ATTRIBUTES
{
    LUID Luid;
    DWORD Attributes;
};

struct TOKEN_PRIVILEGES
{
    DWORD PrivilegeCount;
    LUID_AND_ATTRIBUTES Privileges[1];
};
using PTOKEN_PRIVILEGES = TOKEN_PRIVILEGES*;

enum TOKEN_INFORMATION_CLASS
{
    TokenUser = 1
};

inline constexpr std::size_t SECURITY_MAX_SID_SIZE = 68;

struct SID_AND_ATTRIBUTES
{
    PSID Sid;
    DWORD Attributes;
};

struct TOKEN_USER
{
    SID_AND_ATTRIBUTES User;
};
using PTOKEN_USER = TOKEN_USER*;

inline constexpr DWORD SE_PRIVILEGE_ENABLED = 0x2;
inline constexpr char SE_TAKE_OWNERSHIP_NAME[] = "SeTakeOwnershipPrivilege";
inline constexpr DWORD TOKEN_QUERY = 0x0008;
inline constexpr DWORD TOKEN_ADJUST_PRIVILEGES = 0x0020;

static_assert(sizeof(ACL) == 8 && sizeof(ACCESS_ALLOWED_ACE) == 12 && sizeof(TOKEN_PRIVILEGES) == 16 &&
              sizeof(TOKEN_USER) == 16 && sizeof(SECURITY_DESCRIPTOR_RELATIVE) == 20);
