// Keeps the configuration of a simulated machine's cryptography, and its JSON form.
#include "winsim/machine/cng.h"

#include <algorithm>

namespace winsim
{

namespace
{

std::vector<std::string> ReadTexts(const Reader& reader)
{
    std::vector<std::string> texts;
    reader.Elements([&](const Reader& text) { texts.push_back(text.Text()); });
    return texts;
}

CngInterface ReadInterface(const Reader& reader)
{
    CngInterface interface;
    ObjectReader object{reader};
    object.Read("interface", interface.interface);
    object.Read("flags", interface.flags);
    object.With("functions", [&](const Reader& functions) { interface.functions = ReadTexts(functions); });
    object.Done();
    return interface;
}

Json JsonOf(const CngInterface& interface)
{
    return {{"interface", interface.interface}, {"flags", interface.flags}, {"functions", interface.functions}};
}

CngImage ReadImage(const Reader& reader)
{
    CngImage image;
    ObjectReader object{reader};
    object.Read("image", image.image);
    object.With("interfaces", [&](const Reader& interfaces) {
        interfaces.Elements([&](const Reader& interface) { image.interfaces.push_back(ReadInterface(interface)); });
    });
    object.Done();
    return image;
}

Json JsonOf(const CngImage& image)
{
    Json interfaces = Json::array();
    for (const CngInterface& interface : image.interfaces)
        interfaces.push_back(JsonOf(interface));
    return {{"image", image.image}, {"interfaces", std::move(interfaces)}};
}

CngProvider ReadProvider(const Reader& reader)
{
    CngProvider provider;
    ObjectReader object{reader};
    object.With("aliases", [&](const Reader& aliases) { provider.aliases = ReadTexts(aliases); });
    object.With("userMode", [&](const Reader& image) { provider.userMode = ReadImage(image); });
    object.With("kernelMode", [&](const Reader& image) { provider.kernelMode = ReadImage(image); });
    object.Done();
    return provider;
}

Json JsonOf(const CngProvider& provider)
{
    Json json = Json::object();
    if (!provider.aliases.empty())
        json["aliases"] = provider.aliases;
    if (provider.userMode)
        json["userMode"] = JsonOf(*provider.userMode);
    if (provider.kernelMode)
        json["kernelMode"] = JsonOf(*provider.kernelMode);
    return json;
}

CngContextFunction ReadFunction(const Reader& reader)
{
    CngContextFunction function;
    ObjectReader object{reader};
    object.Read("table", function.table);
    object.Read("context", function.context);
    object.Read("interface", function.interface);
    object.Read("function", function.function);
    object.With("providers", [&](const Reader& providers) { function.providers = ReadTexts(providers); });
    object.Done();
    return function;
}

Json JsonOf(const CngContextFunction& function)
{
    return {{"table", function.table},
            {"context", function.context},
            {"interface", function.interface},
            {"function", function.function},
            {"providers", function.providers}};
}

} // namespace

CngContextFunction* Cng::FindFunction(std::uint32_t table, const std::string& context, std::uint32_t interface,
                                      const std::string& function)
{
    const auto found = std::ranges::find_if(contextFunctions, [&](const CngContextFunction& one) {
        return one.table == table && SameName(one.context, context) && one.interface == interface &&
               SameName(one.function, function);
    });
    return found == contextFunctions.end() ? nullptr : &*found;
}

void Cng::Load(const Reader& reader)
{
    ObjectReader object{reader};
    object.With("providers", [&](const Reader& members) {
        members.Members(
            [&](const std::string& name, const Reader& provider) { providers[name] = ReadProvider(provider); });
    });
    object.With("contextFunctions", [&](const Reader& elements) {
        elements.Elements([&](const Reader& function) { contextFunctions.push_back(ReadFunction(function)); });
    });
    object.Done();
}

Json Cng::ToJson() const
{
    Json json{{"providers", Json::object()}, {"contextFunctions", Json::array()}};
    for (const auto& [name, provider] : providers)
        json["providers"][name] = JsonOf(provider);
    for (const CngContextFunction& function : contextFunctions)
        json["contextFunctions"].push_back(JsonOf(function));
    return json;
}

} // namespace winsim
