// Windows' names for the bits of masks, for errors and for accounts: descriptions may use them, and reports show them.
#pragma once

#include "winsim/base/error_names.h"
#include "winsim/base/fields.h"

#include <initializer_list>
#include <span>

namespace winsim
{

// Wider rights come before those that they include.
inline constexpr NamedValue kGenericRightNames[] = {
    {0x10000000, "GENERIC_ALL"},
    {0x80000000, "GENERIC_READ"},
    {0x40000000, "GENERIC_WRITE"},
    {0x20000000, "GENERIC_EXECUTE"},
};
inline constexpr NamedValue kStandardRightNames[] = {
    {0x10000, "DELETE"},      {0x20000, "READ_CONTROL"}, {0x40000, "WRITE_DAC"},
    {0x80000, "WRITE_OWNER"}, {0x100000, "SYNCHRONIZE"},
};
inline constexpr NamedValue kKeyRightNames[] = {
    {0xF003F, "KEY_ALL_ACCESS"},     {0x20019, "KEY_READ"},  {0x20006, "KEY_WRITE"},
    {0x1, "KEY_QUERY_VALUE"},        {0x2, "KEY_SET_VALUE"}, {0x4, "KEY_CREATE_SUB_KEY"},
    {0x8, "KEY_ENUMERATE_SUB_KEYS"}, {0x10, "KEY_NOTIFY"},   {0x20, "KEY_CREATE_LINK"},
};
inline constexpr NamedValue kFileRightNames[] = {
    {0x1F01FF, "FILE_ALL_ACCESS"},    {0x120089, "FILE_GENERIC_READ"},
    {0x120116, "FILE_GENERIC_WRITE"}, {0x1200A0, "FILE_GENERIC_EXECUTE"},
    {0x1, "FILE_READ_DATA"},          {0x2, "FILE_WRITE_DATA"},
    {0x4, "FILE_APPEND_DATA"},        {0x8, "FILE_READ_EA"},
    {0x10, "FILE_WRITE_EA"},          {0x20, "FILE_EXECUTE"},
    {0x40, "FILE_DELETE_CHILD"},      {0x80, "FILE_READ_ATTRIBUTES"},
    {0x100, "FILE_WRITE_ATTRIBUTES"},
};
inline constexpr NamedValue kServiceRightNames[] = {
    {0xF01FF, "SERVICE_ALL_ACCESS"},
    {0x1, "SERVICE_QUERY_CONFIG"},
    {0x2, "SERVICE_CHANGE_CONFIG"},
    {0x4, "SERVICE_QUERY_STATUS"},
    {0x8, "SERVICE_ENUMERATE_DEPENDENTS"},
    {0x10, "SERVICE_START"},
    {0x20, "SERVICE_STOP"},
    {0x40, "SERVICE_PAUSE_CONTINUE"},
    {0x80, "SERVICE_INTERROGATE"},
    {0x100, "SERVICE_USER_DEFINED_CONTROL"},
};
inline constexpr NamedValue kProcessRightNames[] = {
    {0x1FFFFF, "PROCESS_ALL_ACCESS"},
    {0x1, "PROCESS_TERMINATE"},
    {0x2, "PROCESS_CREATE_THREAD"},
    {0x8, "PROCESS_VM_OPERATION"},
    {0x10, "PROCESS_VM_READ"},
    {0x20, "PROCESS_VM_WRITE"},
    {0x40, "PROCESS_DUP_HANDLE"},
    {0x80, "PROCESS_CREATE_PROCESS"},
    {0x100, "PROCESS_SET_QUOTA"},
    {0x200, "PROCESS_SET_INFORMATION"},
    {0x400, "PROCESS_QUERY_INFORMATION"},
    {0x800, "PROCESS_SUSPEND_RESUME"},
    {0x1000, "PROCESS_QUERY_LIMITED_INFORMATION"},
};
inline constexpr NamedValue kInheritanceFlagNames[] = {
    {0x1, "OBJECT_INHERIT_ACE"},
    {0x2, "CONTAINER_INHERIT_ACE"},
    {0x4, "NO_PROPAGATE_INHERIT_ACE"},
    {0x8, "INHERIT_ONLY_ACE"},
};
inline constexpr NamedValue kControlNames[] = {
    {0x1, "SERVICE_ACCEPT_STOP"},        {0x2, "SERVICE_ACCEPT_PAUSE_CONTINUE"}, {0x4, "SERVICE_ACCEPT_SHUTDOWN"},
    {0x8, "SERVICE_ACCEPT_PARAMCHANGE"}, {0x100, "SERVICE_ACCEPT_PRESHUTDOWN"},
};
inline constexpr NamedValue kAttributeNames[] = {
    {0x1, "FILE_ATTRIBUTE_READONLY"},   {0x2, "FILE_ATTRIBUTE_HIDDEN"},  {0x4, "FILE_ATTRIBUTE_SYSTEM"},
    {0x20, "FILE_ATTRIBUTE_ARCHIVE"},   {0x80, "FILE_ATTRIBUTE_NORMAL"}, {0x100, "FILE_ATTRIBUTE_TEMPORARY"},
    {0x1000, "FILE_ATTRIBUTE_OFFLINE"},
};

struct Account
{
    const char* sid;
    const char* name;
};
inline constexpr Account kAccounts[] = {
    {"S-1-1-0", "Everyone"},
    {"S-1-3-0", "Creator Owner"},
    {"S-1-5-11", "Authenticated Users"},
    {"S-1-5-18", "LocalSystem"},
    {"S-1-5-19", "LocalService"},
    {"S-1-5-20", "NetworkService"},
    {"S-1-5-32-544", "Administrators"},
    {"S-1-5-32-545", "Users"},
    {"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464", "TrustedInstaller"},
};

// Names that may stand for numbers in one place of a description.
struct NameGroup
{
    const char* definition; // in the schema
    const char* what;       // a name has to be, with an example
    std::span<const std::span<const NamedValue>> tables;
    bool isMask = true;

    // Throws DescriptionError for a text that is none of the names.
    std::uint32_t NumberOf(const Reader& reader) const;
    // Defines the group in the schema: each name, with its number as the description.
    Json Define(Json& definitions) const;
};

extern const NameGroup kObjectRights; // of keys and files
extern const NameGroup kServiceRights;
extern const NameGroup kProcessRights;
extern const NameGroup kInheritanceFlags;
extern const NameGroup kAcceptedControls;
extern const NameGroup kFileAttributes;
extern const NameGroup kWin32Errors;

// A mask: a number, a name, or a list of names. Saved as a number.
struct MaskForm
{
    const NameGroup& names;

    void Read(const Reader& reader, std::uint32_t& mask) const;
    Json Save(std::uint32_t mask) const { return mask; }
    Json Schema(Json& definitions) const;
};

// A Win32 error: a number or a name. Saved as a number.
struct ErrorForm
{
    void Read(const Reader& reader, std::uint32_t& error) const;
    Json Save(std::uint32_t error) const { return error; }
    Json Schema(Json& definitions) const;
};

} // namespace winsim
