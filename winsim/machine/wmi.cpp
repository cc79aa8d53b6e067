// WMI on a simulated machine, and its JSON form.
#include "winsim/machine/wmi.h"

#include "winsim/base/fields.h"
#include "winsim/machine/areas.h"

#include <algorithm>

namespace winsim
{

namespace
{

// VARIANT types.
constexpr NamedValue kVariantTypes[] = {
    {11, "boolean"},
    {3, "uint32"},
    {8, "string"},
};

constexpr NamedValue kResults[] = {
    {0x80004005, "E_FAIL"},
    {0x8007000E, "E_OUTOFMEMORY"},
    {0x80040154, "REGDB_E_CLASSNOTREG"},
    {0x80041002, "WBEM_E_NOT_FOUND"},
    {0x80041003, "WBEM_E_ACCESS_DENIED"},
    {0x80041013, "WBEM_E_PROVIDER_LOAD_FAILURE"},
    {0x8004100E, "WBEM_E_INVALID_NAMESPACE"},
};

constexpr const char* kCalls[] = {
    "CoCreateInstance",
    "IWbemLocator::ConnectServer",
    "CoSetProxyBlanket",
    "IWbemServices::GetObject",
    "IWbemServices::ExecMethod",
    "IWbemClassObject::GetMethod",
    "IWbemClassObject::SpawnInstance",
    "IWbemClassObject::Put",
};

using Types = decltype(WmiMethod::parameters);
using Failures = decltype(Wmi::failures);

struct FailuresForm
{
    static constexpr Named kForm{kResults, "an HRESULT"};

    void Read(const Reader& reader, Failures& failures) const
    {
        reader.Members([&](const std::string& call, const Reader& result) {
            if (std::ranges::find(kCalls, call) == std::end(kCalls))
                result.Fail("not a call that a description can have fail");
            kForm.Read(result, failures[call]);
        });
    }
    Json Save(const Failures& failures) const { return ByName<Failures, Named>{kForm}.Save(failures); }
    Json Schema(Json&) const
    {
        return {{"type", "object"},
                {"additionalProperties", {{"anyOf", {{{"type", "string"}}, Definition("dword"), {{"type", "null"}}}}}}};
    }
};

} // namespace

template <>
struct Fields<WmiMethod>
{
    static constexpr char kName[] = "wmiMethod";

    template <typename Visitor>
    static void Visit(Visitor& visit)
    {
        visit(Key{"parameters", "parameters by name, each with its type: `\"boolean\"`, `\"uint32\"` or `\"string\"`",
                  "none"},
              Member(&WmiMethod::parameters, ByName<Types, Named>{{kVariantTypes, "a type"}}));
        visit(Key{"returnValue", "the return value in its output", "`0`"}, Member(&WmiMethod::returnValue));
        visit(Key{"effects", "how a call changes the machine: a description", "not at all"},
              Member(&WmiMethod::effects, EffectsForm()));
    }
};

template <>
struct Fields<WmiClass>
{
    static constexpr char kName[] = "wmiClass";

    template <typename Visitor>
    static void Visit(Visitor& visit)
    {
        visit(
            Key{"instances", "instances by key: a list; `\"@\"` is the instance of a class that has only one", "none"},
            Always(&WmiClass::instances));
        visit(Key{"methods", "methods by name", "none"}, Always(&WmiClass::methods));
    }
};

template <>
struct Fields<WmiNamespace>
{
    static constexpr char kName[] = "wmiNamespace";

    template <typename Visitor>
    static void Visit(Visitor& visit)
    {
        visit(Key{"classes", "classes by name", "none"}, Always(&WmiNamespace::classes));
    }
};

template <>
struct Fields<Wmi>
{
    static constexpr char kName[] = "wmi";

    template <typename Visitor>
    static void Visit(Visitor& visit)
    {
        visit(Key{"autoProvisioning", "whether Windows provisions the TPM automatically", "`true`"},
              Always(&Wmi::autoProvisioning));
        visit(
            Key{"namespaces", "namespaces by path", R"(`root\CIMV2\Security\MicrosoftTpm` with the class `Win32_TPM`)"},
            Always(&Wmi::namespaces));
        visit(Key{"failures",
                  "calls that fail, each with its HRESULT, such as `{\"IWbemServices::ExecMethod\": \"E_FAIL\"}`: a "
                  "number, or a name such as `\"WBEM_E_ACCESS_DENIED\"`",
                  "none"},
              Member(&Wmi::failures, FailuresForm()));
    }
};

template struct AreaOfFields<Wmi>;

const WmiNamespace* Wmi::FindNamespace(const std::string& path) const
{
    const auto space = namespaces.find(path);
    return space == namespaces.end() ? nullptr : &space->second;
}

const WmiClass* Wmi::FindClass(const std::string& space, const std::string& path) const
{
    const WmiNamespace* in = FindNamespace(space);
    if (in == nullptr)
        return nullptr;
    const auto one = in->classes.find(path.substr(0, path.find('=')));
    return one == in->classes.end() ? nullptr : &one->second;
}

const WmiClass* Wmi::FindInstance(const std::string& space, const std::string& path) const
{
    const WmiClass* one = FindClass(space, path);
    const std::size_t equals = path.find('=');
    if (one == nullptr || equals == std::string::npos)
        return nullptr;
    const std::string key = path.substr(equals + 1);
    return std::ranges::find(one->instances, key) == one->instances.end() ? nullptr : one;
}

} // namespace winsim
