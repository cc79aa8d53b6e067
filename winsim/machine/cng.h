// A simulated machine's CNG configuration: the registered providers, and which of them serve a function.
#pragma once

#include "winsim/base/description.h"
#include "winsim/base/text.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace winsim
{

// An interface in a provider's registration.
struct CngInterface
{
    std::uint32_t interface = 0; // NCRYPT_KEY_STORAGE_INTERFACE, ...
    std::uint32_t flags = 0;     // CRYPT_LOCAL, CRYPT_DOMAIN
    std::vector<std::string> functions;

    bool operator==(const CngInterface&) const = default;
};

struct CngImage
{
    std::string image; // the library's file name
    std::vector<CngInterface> interfaces;

    bool operator==(const CngImage&) const = default;
};

struct CngProvider
{
    std::vector<std::string> aliases;
    std::optional<CngImage> userMode;
    std::optional<CngImage> kernelMode;

    bool operator==(const CngProvider&) const = default;
};

// A function in a context, and its providers in order of preference.
struct CngContextFunction
{
    std::uint32_t table = 0;
    std::string context;
    std::uint32_t interface = 0;
    std::string function;
    std::vector<std::string> providers;

    bool operator==(const CngContextFunction&) const = default;
};

struct Cng
{
    std::map<std::string, CngProvider, NameOrder> providers;
    std::vector<CngContextFunction> contextFunctions;

    CngContextFunction* FindFunction(std::uint32_t table, const std::string& context, std::uint32_t interface,
                                     const std::string& function);

    bool operator==(const Cng&) const = default;
};

} // namespace winsim
