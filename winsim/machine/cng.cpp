// A simulated machine's CNG configuration, and its JSON form.
#include "winsim/machine/cng.h"

#include "winsim/base/fields.h"
#include "winsim/machine/areas.h"

#include <algorithm>

namespace winsim
{

template <>
struct Fields<CngInterface>
{
    static constexpr char kName[] = "cngInterface";

    template <typename Visitor>
    static void Visit(Visitor& visit)
    {
        visit(Key{"interface", "number of the interface; 65537 is key storage", "`0`"},
              Always(&CngInterface::interface));
        visit(Key{"flags", "flags (a mask); 1 is local", "`0`"}, Always(&CngInterface::flags));
        visit(Key{"functions", "names of the functions: a list", "none"}, Always(&CngInterface::functions));
    }
};

template <>
struct Fields<CngImage>
{
    static constexpr char kName[] = "cngImage";

    template <typename Visitor>
    static void Visit(Visitor& visit)
    {
        visit(Key{"image", "file name of the library", "`\"\"`"}, Always(&CngImage::image));
        visit(Key{"interfaces",
                  "interfaces that it offers: a list of objects with `interface`, `flags` and `functions`", "none"},
              Always(&CngImage::interfaces));
    }
};

template <>
struct Fields<CngProvider>
{
    static constexpr char kName[] = "cngProvider";

    // A provider may lack an image, so effects may remove it with null.
    struct Image : Plain<CngImage>
    {
        Json Schema(Json& definitions) const { return OrNull(Plain<CngImage>::Schema(definitions)); }
    };

    template <typename Visitor>
    static void Visit(Visitor& visit)
    {
        visit(Key{"aliases", "its other names: a list", "none"}, Member(&CngProvider::aliases));
        visit(Key{"userMode", "image for programs", "none"}, Member(&CngProvider::userMode, Image()));
        visit(Key{"kernelMode", "image for the kernel", "none"}, Member(&CngProvider::kernelMode, Image()));
    }
};

template <>
struct Fields<CngContextFunction>
{
    static constexpr char kName[] = "cngContextFunction";

    template <typename Visitor>
    static void Visit(Visitor& visit)
    {
        visit(Key{"table", "number of the configuration table; 1 is local", "`0`"}, Always(&CngContextFunction::table));
        visit(Key{"context", "name of the context", "`\"\"`"}, Always(&CngContextFunction::context));
        visit(Key{"interface", "number of the interface; 65537 is key storage", "`0`"},
              Always(&CngContextFunction::interface));
        visit(Key{"function", "name of the function", "`\"\"`"}, Always(&CngContextFunction::function));
        visit(Key{"providers", "names of the providers, the preferred one first: a list", "none"},
              Always(&CngContextFunction::providers));
    }
};

template <>
struct Fields<Cng>
{
    static constexpr char kName[] = "cng";

    template <typename Visitor>
    static void Visit(Visitor& visit)
    {
        visit(Key{"providers", "registered providers by name", "Microsoft's three key storage providers"},
              Always(&Cng::providers));
        visit(Key{"contextFunctions", "functions, each with the providers that serve it: a list",
                  "key storage with those three"},
              Always(&Cng::contextFunctions));
    }
};

template struct AreaOfFields<Cng>;

CngContextFunction* Cng::FindFunction(std::uint32_t table, const std::string& context, std::uint32_t interface,
                                      const std::string& function)
{
    const auto found = std::ranges::find_if(contextFunctions, [&](const CngContextFunction& one) {
        return one.table == table && SameName(one.context, context) && one.interface == interface &&
               SameName(one.function, function);
    });
    return found == contextFunctions.end() ? nullptr : &*found;
}

} // namespace winsim
