// Reads numbers that descriptions give by Windows' names.
#include "winsim/machine/windows_names.h"

#include <fmt/format.h>

namespace winsim
{

namespace
{

using Tables = std::span<const NamedValue>;

constexpr Tables kForObjects[] = {kGenericRightNames, kStandardRightNames, kKeyRightNames, kFileRightNames};
constexpr Tables kForServices[] = {kGenericRightNames, kStandardRightNames, kServiceRightNames};
constexpr Tables kForProcesses[] = {kGenericRightNames, kStandardRightNames, kProcessRightNames};
constexpr Tables kForInheritance[] = {kInheritanceFlagNames};
constexpr Tables kForControls[] = {kControlNames};
constexpr Tables kForAttributes[] = {kAttributeNames};
const Tables kForErrors[] = {NamesOf(ErrorKind::Win32)};

} // namespace

const NameGroup kObjectRights{"objectRight", "a right such as WRITE_DAC", kForObjects};
const NameGroup kServiceRights{"serviceRight", "a right such as SERVICE_START", kForServices};
const NameGroup kProcessRights{"processRight", "a right such as PROCESS_TERMINATE", kForProcesses};
const NameGroup kInheritanceFlags{"inheritanceFlag", "a flag such as CONTAINER_INHERIT_ACE", kForInheritance};
const NameGroup kAcceptedControls{"acceptedControl", "a control such as SERVICE_ACCEPT_STOP", kForControls};
const NameGroup kFileAttributes{"fileAttribute", "an attribute such as FILE_ATTRIBUTE_READONLY", kForAttributes};
const NameGroup kWin32Errors{"win32Error", "an error such as ERROR_ACCESS_DENIED", kForErrors, false};

std::uint32_t NameGroup::NumberOf(const Reader& reader) const
{
    const std::string text = reader.Text();
    for (const Tables& table : tables)
    {
        for (const NamedValue& one : table)
        {
            if (text == one.name)
                return one.value;
        }
    }
    reader.Fail(std::string("not ") + what);
}

Json NameGroup::Define(Json& definitions) const
{
    Json names = Json::array();
    for (const Tables& table : tables)
    {
        for (const NamedValue& one : table)
            names.push_back({{"const", one.name},
                             {"description", isMask ? fmt::format("{:#010x}", one.value) : std::to_string(one.value)}});
    }
    definitions[definition] = {{"anyOf", std::move(names)}};
    return Definition(definition);
}

void MaskForm::Read(const Reader& reader, std::uint32_t& mask) const
{
    if (reader.Value().is_number())
    {
        mask = reader.As<std::uint32_t>();
        return;
    }
    if (reader.Value().is_string())
    {
        mask = names.NumberOf(reader);
        return;
    }
    mask = 0;
    reader.Elements([&](const Reader& name) { mask |= names.NumberOf(name); });
}

Json MaskForm::Schema(Json& definitions) const
{
    const Json name = names.Define(definitions);
    return {{"anyOf", {Definition("dword"), name, {{"type", "array"}, {"items", name}}}}};
}

void ErrorForm::Read(const Reader& reader, std::uint32_t& error) const
{
    error = reader.Value().is_string() ? kWin32Errors.NumberOf(reader) : reader.As<std::uint32_t>();
}

Json ErrorForm::Schema(Json& definitions) const
{
    return {{"anyOf", {Definition("dword"), kWin32Errors.Define(definitions)}}};
}

} // namespace winsim
