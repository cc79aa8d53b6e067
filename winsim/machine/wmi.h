// WMI on a simulated machine: namespaces with classes, their instances and methods.
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
    std::map<std::string, std::uint16_t, NameOrder> parameters; // the input parameters and their VARIANT types
    std::uint32_t returnValue = 0; // ReturnValue in the method's output, apart from the call's result
    Json effects;                  // what it changes on the machine: a merge patch on the description; null: nothing

    bool operator==(const WmiMethod&) const = default;
};

struct WmiClass
{
    std::vector<std::string> instances; // their keys; "@" for the instance of a singleton class
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
    bool autoProvisioning = false; // whether Windows provisions the TPM automatically
    std::map<std::string, WmiNamespace, NameOrder> namespaces;
    // The HRESULTs of calls that fail, by calls such as "IWbemServices::ExecMethod".
    std::map<std::string, std::uint32_t, std::less<>> failures;

    const WmiNamespace* FindNamespace(const std::string& path) const;
    // The class with this name, or of the instance with this path; null if there is none.
    const WmiClass* FindClass(const std::string& space, const std::string& path) const;
    const WmiClass* FindInstance(const std::string& space, const std::string& path) const;

    bool operator==(const Wmi&) const = default;
};

} // namespace winsim
