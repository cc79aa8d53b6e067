// Tells the loader to take the image's imports from the system folder. Windows obeys this since 10.0.14393.
#include <windows.h>

namespace
{

constexpr WORD kSearchSystemFolder = 0x800; // LOAD_LIBRARY_SEARCH_SYSTEM32

constexpr IMAGE_LOAD_CONFIG_DIRECTORY64 MakeConfiguration()
{
    IMAGE_LOAD_CONFIG_DIRECTORY64 configuration{};
    configuration.Size = sizeof configuration;
    configuration.Reserved1 = kSearchSystemFolder; // DependentLoadFlags, by its older name
    return configuration;
}

} // namespace

// The image's load configuration directory, after set_load_configuration.py has entered it in the image's header.
extern "C" constexpr IMAGE_LOAD_CONFIG_DIRECTORY64 _load_config_used = MakeConfiguration();
