// The management instrumentation (WMI) of a simulated machine: namespaces with classes, their instances and methods.
#pragma once

#include "winsim/base/description.h"
#include "winsim/base/text.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace winsim
{

struct WmiMethod
{
    std::map<std::string, std::uint16_t, NameOrder> parameters; // that go in, with their VARIANT types
    std::uint32_t returnValue = 0;                              // in its output, beside the call's own result
    Json effects; // what it changes on the machine: a merge patch on the description; null for nothing

    bool operator==(const WmiMethod&) const = default;
};

struct WmiClass
{
    std::vector<std::string> instances; // their keys; "@" for the only one
    std::map<std::string, WmiMethod, NameOrder> methods;

    bool operator==(const WmiClass&) const = default;
};

struct WmiNamespace
{
    std::map<std::string, WmiClass, NameOrder> classes;

    bool operator==(const WmiNamespace&) const = default;
};

struct Wmi
{
    bool autoProvisioning = false; // whether Windows provisions the TPM by itself
    std::map<std::string, WmiNamespace, NameOrder> namespaces;
    // Calls that fail, such as "IWbemServices::ExecMethod", and their HRESULTs.
    std::map<std::string, std::uint32_t, std::less<>> failures;

    const WmiNamespace* FindNamespace(const std::string& path) const;
    // A class by its name, or by the path of an instance; null when there is no such one.
    const WmiClass* FindClass(const std::string& space, const std::string& path) const;
    const WmiClass* FindInstance(const std::string& space, const std::string& path) const;

    void Load(const Reader& reader);
    Json ToJson() const;
    bool operator==(const Wmi&) const = default;
};

} // namespace winsim
