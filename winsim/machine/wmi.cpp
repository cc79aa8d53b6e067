// Keeps the management instrumentation of a simulated machine, and its JSON form.
#include "winsim/machine/wmi.h"

#include "wbemcli.h"
#include "winsim/base/named_values.h"

#include <algorithm>

namespace winsim
{

namespace
{

constexpr NamedValue kTypes[] = {
    {VT_BOOL, "boolean"},
    {VT_I4, "uint32"},
    {VT_BSTR, "string"},
};

constexpr std::uint32_t Number(HRESULT result)
{
    return static_cast<std::uint32_t>(result);
}

constexpr NamedValue kResults[] = {
    {Number(E_FAIL), "E_FAIL"},
    {Number(E_OUTOFMEMORY), "E_OUTOFMEMORY"},
    {Number(REGDB_E_CLASSNOTREG), "REGDB_E_CLASSNOTREG"},
    {Number(WBEM_E_NOT_FOUND), "WBEM_E_NOT_FOUND"},
    {Number(WBEM_E_ACCESS_DENIED), "WBEM_E_ACCESS_DENIED"},
    {Number(WBEM_E_PROVIDER_LOAD_FAILURE), "WBEM_E_PROVIDER_LOAD_FAILURE"},
    {Number(WBEM_E_INVALID_NAMESPACE), "WBEM_E_INVALID_NAMESPACE"},
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

std::uint16_t ReadType(const Reader& reader)
{
    if (reader.Value().is_number())
        return reader.As<std::uint16_t>();
    return static_cast<std::uint16_t>(ReadNamed(reader, kTypes, "a type"));
}

WmiMethod ReadMethod(const Reader& reader)
{
    WmiMethod method;
    ObjectReader object{reader};
    object.With("parameters", [&](const Reader& parameters) {
        parameters.Members(
            [&](const std::string& name, const Reader& type) { method.parameters[name] = ReadType(type); });
    });
    object.Read("returnValue", method.returnValue);
    object.With("effects", [&](const Reader& effects) {
        if (!effects.Value().is_object())
            effects.Fail("not an object");
        method.effects = effects.Value();
    });
    object.Done();
    return method;
}

Json JsonOf(const WmiMethod& method)
{
    Json json = Json::object();
    for (const auto& [name, type] : method.parameters)
        json["parameters"][name] = NameOf(type, kTypes);
    if (method.returnValue != 0)
        json["returnValue"] = method.returnValue;
    if (!method.effects.is_null())
        json["effects"] = method.effects;
    return json;
}

WmiClass ReadClass(const Reader& reader)
{
    WmiClass one;
    ObjectReader object{reader};
    object.With("instances", [&](const Reader& keys) {
        keys.Elements([&](const Reader& key) { one.instances.push_back(key.Text()); });
    });
    object.With("methods", [&](const Reader& methods) {
        methods.Members([&](const std::string& name, const Reader& method) { one.methods[name] = ReadMethod(method); });
    });
    object.Done();
    return one;
}

Json JsonOf(const WmiClass& one)
{
    Json json{{"instances", one.instances}, {"methods", Json::object()}};
    for (const auto& [name, method] : one.methods)
        json["methods"][name] = JsonOf(method);
    return json;
}

WmiNamespace ReadNamespace(const Reader& reader)
{
    WmiNamespace space;
    ObjectReader object{reader};
    object.With("classes", [&](const Reader& classes) {
        classes.Members([&](const std::string& name, const Reader& one) { space.classes[name] = ReadClass(one); });
    });
    object.Done();
    return space;
}

Json JsonOf(const WmiNamespace& space)
{
    Json json{{"classes", Json::object()}};
    for (const auto& [name, one] : space.classes)
        json["classes"][name] = JsonOf(one);
    return json;
}

} // namespace

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

void Wmi::Load(const Reader& reader)
{
    ObjectReader object{reader};
    object.Read("autoProvisioning", autoProvisioning);
    object.With("namespaces", [&](const Reader& members) {
        members.Members([&](const std::string& path, const Reader& space) { namespaces[path] = ReadNamespace(space); });
    });
    object.With("failures", [&](const Reader& members) {
        members.Members([&](const std::string& call, const Reader& result) {
            if (std::ranges::find(kCalls, call) == std::end(kCalls))
                result.Fail("not a call that can be described to fail");
            failures[call] = ReadNamed(result, kResults, "an HRESULT");
        });
    });
    object.Done();
}

Json Wmi::ToJson() const
{
    Json json{{"autoProvisioning", autoProvisioning}, {"namespaces", Json::object()}};
    for (const auto& [path, space] : namespaces)
        json["namespaces"][path] = JsonOf(space);
    for (const auto& [call, result] : failures)
        json["failures"][call] = NameOf(result, kResults);
    return json;
}

} // namespace winsim
